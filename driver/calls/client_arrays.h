// The arrays in the program's memory that a draw uses: their sizes in its command, and their data.
#pragma once

#include <cstdint>

#include "driver/state/gl_context.h"

namespace qv {

// What a draw takes from arrays in the program's memory.
struct ClientArrays {
  uint64_t vertexBytes = 0;    // of all arrays without a divisor, for one vertex
  uint64_t instanceBytes = 0;  // of all arrays with one, for all instances

  bool any() const { return vertexBytes != 0 || instanceBytes != 0; }
  // Bytes of a vertex in the block. The word that tells it has 16 bits: what exceeds them is cut off, here and there: required
  // oddity 105.
  uint32_t blockVertexBytes() const { return static_cast<uint32_t>(vertexBytes) & 0xFFFF; }
  // Whether a section follows. Its length has 32 bits.
  uint32_t sectionData() const { return static_cast<uint32_t>(instanceBytes); }
  uint32_t flags() const;
};

// Sizes for a draw of `instances` instances; 0 counts as 1.
ClientArrays measureClientArrays(GlContext* context, uint32_t instances);

// Elements of the arrays without a divisor that a draw uses.
struct VertexRange {
  int64_t first = 0;
  uint32_t count = 0;
  bool readable = true;  // false: the program has no such elements, and the block is zero
};

// The bytes of block and section behind the fixed part and the indices.
uint64_t clientDataBytes(const ClientArrays& arrays, uint32_t vertexCount);
// Writes block and section to `to`, which has room for clientDataBytes(). What the arrays do not fill is zero.
void copyClientArrays(GlContext* context, const ClientArrays& arrays, const VertexRange& range, uint32_t instances, uint8_t* to);

}  // namespace qv
