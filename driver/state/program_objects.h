// Programs and pipelines of a context's share group, for every family that asks for them.
#pragma once

#include <cstdint>

#include "driver/objects/program_record.h"
#include "driver/objects/share_group.h"
#include "driver/state/gl_context.h"

namespace qv {

// The record of a program, null before its first link (required oddity 110). It is used after the lock is released.
ProgramRecord* searchProgram(GlContext* context, uint32_t program);
// The same without the lock when it is the one that was looked for last and no program has changed since.
inline ProgramRecord* findProgram(GlContext* context, uint32_t program) {
  const KnownProgram& known = context->knownProgram;
  if (known.name == program && known.generation == context->shareGroup->programsGeneration.load(std::memory_order_acquire))
      [[likely]]
    return known.record;
  return searchProgram(context, program);
}
bool programExists(GlContext* context, uint32_t program);  // linked or not

// The record of a pipeline; makes one if there is none and `create` is set. Null for name 0.
PipelineRecord* usesPipeline(GlContext* context, uint32_t pipeline, bool create);

// The name of the program whose uniforms glUniform sets; 0 if there is none.
uint32_t usesCurrentProgram(GlContext* context);

}  // namespace qv
