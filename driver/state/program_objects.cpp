// Searches for programs and pipelines.
#include "driver/state/program_objects.h"

namespace qv {

ProgramRecord* searchProgram(GlContext* context, uint32_t program) {
  const ShareLock held(context->shareGroup);
  // A table holds the base of its objects.
  auto* const record =
      static_cast<ProgramRecord*>(context->shareGroup->table(ShareSlot::kPrograms).findAs<TrackedObject>(program));
  if (record != nullptr)
    context->knownProgram = {context->shareGroup->programsGeneration.load(std::memory_order_relaxed), program, record};
  return record;
}

bool programExists(GlContext* context, uint32_t program) {
  const ShareLock held(context->shareGroup);
  return context->shareGroup->table(ShareSlot::kPrograms).contains(program);
}

PipelineRecord* usesPipeline(GlContext* context, uint32_t pipeline, bool create) {
  const ShareLock held(context->shareGroup);
  NameTable& pipelines = context->shareGroup->table(ShareSlot::kPipelines);
  PipelineRecord* record = pipelines.findAs<PipelineRecord>(pipeline);
  if (record != nullptr || !create || pipeline == 0) return record;
  record = new PipelineRecord;
  pipelines.set(pipeline, record);
  return record;
}

uint32_t usesCurrentProgram(GlContext* context) {
  if (context->currentProgram != 0) return context->currentProgram;
  if (context->boundPipeline == 0) return 0;
  const PipelineRecord* const pipeline = usesPipeline(context, context->boundPipeline, false);
  return pipeline == nullptr ? 0 : pipeline->activeProgram;
}

}  // namespace qv
