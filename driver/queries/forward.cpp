// Commands of the query calls.
#include "driver/queries/forward.h"

#include "driver/diagnostics/record_error.h"
#include "driver/queries/limit_cache.h"
#include "driver/queries/value_count.h"
#include "driver/stream/flush.h"
#include "driver/stream/vertex_run.h"

namespace qv {

namespace {

// Writes a command of `words`, and of one word more unless `last` is null.
void writeCommand(GlContext* context, uint32_t opcode, std::initializer_list<uint32_t> words, const uint32_t* last) {
  if (context->runOpen) closeRun(context, kRunBroken);
  context->lastOpcode = static_cast<int32_t>(opcode);
  uint8_t* at = beginCommand(*context, opcode, 4 * (words.size() + (last != nullptr)));
  for (const uint32_t word : words) {
    put(at, word);
    at += 4;
  }
  if (last != nullptr) put(at, *last);
}

}  // namespace

void askHost(GlContext* context, uint32_t opcode, std::initializer_list<uint32_t> words, void* reply, uint32_t replySize) {
  writeCommand(context, opcode, words, nullptr);
  flushStream(context, 0, reply, replySize, nullptr, 0);
}

bool forwardGet(GlContext* context, uint32_t opcode, std::initializer_list<uint32_t> words, GLenum pname, void* out,
                uint32_t valueSize) {
  const bool binaryFormats = pname == GL_SHADER_BINARY_FORMATS;
  const int32_t count = binaryFormats ? shaderBinaryFormatCount(context) : valueCount(context->contextVersion, pname);
  if (count < 1) {
    if (!binaryFormats) recordError(context, GL_INVALID_ENUM, 0, kErrorText);
    context->lastOpcode = static_cast<int32_t>(opcode);
    return false;
  }
  const uint32_t values = static_cast<uint32_t>(count);
  writeCommand(context, opcode, words, &values);
  flushStream(context, 0, out, values * valueSize, nullptr, 0);
  return true;
}

}  // namespace qv
