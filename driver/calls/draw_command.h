// What all draws from arrays have in common: writing their commands.
#pragma once

#include <cstring>

#include "driver/calls/client_arrays.h"
#include "driver/stream/record_command.h"

namespace qv {

struct InlineIndices {
  const void* data = nullptr;
  uint64_t bytes = 0;
};

// Writes the command of a draw: record, indices, `extra` words, then the data of client arrays. A command that would be too long
// for any stream is not written.
template <typename Row, typename Record>
void sendDraw(GlContext* context, const Record& record, const ClientArrays& arrays, const VertexRange& range, uint32_t instances,
              const InlineIndices& indices = {}, std::initializer_list<uint32_t> extra = {}) {
  const uint64_t clientBytes = arrays.any() ? clientDataBytes(arrays, range.count) : 0;
  const uint64_t tail = indices.bytes + 4 * extra.size() + clientBytes;
  if (tail > kLongestPayload - sizeof record) {
    context->lastOpcode = Row::kOpcode;
    return;
  }
  uint8_t* at = sendWithData<Row>(context, record, tail);
  if (indices.bytes != 0) std::memcpy(at, indices.data, static_cast<size_t>(indices.bytes));
  at += indices.bytes;
  for (const uint32_t word : extra) {
    put(at, word);
    at += 4;
  }
  if (clientBytes != 0) copyClientArrays(context, arrays, range, instances, at);
}

}  // namespace qv
