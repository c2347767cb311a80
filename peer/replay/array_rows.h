// The rows of vertex arrays as the host keeps them, in step with the guest: the data of a draw carry no tags.
#pragma once

#include <cstdint>
#include <memory>

#include "peer/replay/host_buffer.h"
#include "wire/array_format.h"
#include "wire/gl_api.h"

namespace qv::peer {

struct ArrayRow {
  uint32_t pointer = 0;  // low half of what the guest gave; without a buffer it only says whether there is an array
  uint32_t size = 4;
  GLenum type = GL_FLOAT;
  uint32_t elementSize = 16;
  uint32_t relativeOffset = 0;
  uint8_t bindingIndex = 0;  // among the bindings of the row's kind
  bool normalized = false, integer = false, wide = false;
  bool drawable = true;  // false: GL refuses the format
};

struct ArrayBinding {
  uint32_t offset = 0;
  uint32_t stride = 0;  // 0: all vertices have the same element
  uint32_t divisor = 0;
  bool buffered = false;  // the guest has named a buffer, which need not be there
  std::shared_ptr<HostBuffer> buffer;
};

// Where the data of draws stand in the stream buffer: each kind of data has a region of its own. As long as the regions are large
// enough an array keeps its place from draw to draw, and GL need not be told again.
struct StreamLayout {
  struct Region {
    uint64_t base = 0;          // of the data's byte 0 in the buffer
    uint64_t from = 0, to = 0;  // the bytes for which there is room
  };
  // An array as GL has it.
  struct Pointer {
    uint64_t offset = 0;  // of its element 0
    uint32_t size = 0;
    GLenum type = 0;
    uint32_t elementSize = 0;
    bool normalized = false, integer = false, wide = false;
    bool operator==(const Pointer&) const = default;
  };

  Region regions[kArrayRows + 1];  // for each row, then for indices
  Pointer pointers[kArrayRows];
  uint32_t pointed = 0;     // rows that GL has as `pointers` say
  uint64_t end = 0;         // of the last region
  uint32_t generation = 0;  // of the stream buffer in which the regions are
};
inline constexpr uint32_t kIndexRegion = kArrayRows;

// What GL has bound. Not only its name: another context may have deleted it, and GL have given the name again. Nor only the buffer:
// another context may have given it another name.
struct RealBuffer {
  std::shared_ptr<HostBuffer> buffer;  // null for the stream buffer, too
  GLuint name = 0;                     // GL's
  MemoryShare share;                   // in the store that GL has there
  bool operator==(const RealBuffer& other) const { return buffer == other.buffer && name == other.name; }
};

// A vertex array object of the guest.
struct ArrayObject {
  ArrayObject();

  ArrayBinding& bindingOf(uint32_t row) { return bindings[rows[row].bindingIndex + (row < kArrayKinds ? 0 : kArrayKinds)]; }

  ArrayRow rows[kArrayRows];
  ArrayBinding bindings[kArrayRows];
  uint32_t enabledRows = 0;              // a bit for each row that is enabled
  std::shared_ptr<HostBuffer> elements;  // bound to GL_ELEMENT_ARRAY_BUFFER

  // --- of GL's object ---
  GLuint real = 0;           // GL's name; 0 before its first use, and for the object 0 of a core context
  uint32_t applied = 0;      // rows that GL has from their buffers as they are here
  uint32_t realEnabled = 0;  // rows that GL has enabled
  const void* realBuffers[kArrayRows] =
      {};  // what each row's elements come from: a HostBuffer, or the stream buffer; never nothing
  GLuint realNames[kArrayRows] = {};        // of the buffers, for rows in `applied`
  MemoryShare realShares[kArrayRows];       // in their stores
  uint32_t realDivisors[kArrayKinds] = {};  // of the generic rows
  RealBuffer realElements;                  // what is bound there
  StreamLayout stream;
};

// Where a row's elements lie in a buffer.
struct ArrayPlace {
  GLuint buffer = 0;  // GL's name
  uint64_t offset = 0;
  uint32_t stride = 0;
};

// Bytes of an element as GL counts them: the guest counts none for some formats.
uint32_t realElementSize(const ArrayRow& row);
// Whether GL takes such a format for the row. `stride` is the one of a pointer call.
bool isDrawableFormat(uint32_t row, uint32_t size, GLenum type, uint32_t stride, bool normalized, bool integer, bool wide);
// Gives GL a row with its place. The place's buffer is bound to GL_ARRAY_BUFFER.
void pointRow(uint32_t number, const ArrayRow& row, const ArrayPlace& place);
// Calls GL's pointer function with arguments that it refuses, for the error.
void refusePointer(uint32_t number, uint32_t size, GLenum type, bool normalized, bool integer, bool wide, uint32_t stride);
// Enables or disables a row in GL's bound vertex array object.
void switchRow(uint32_t number, bool on);
float halfToFloat(uint16_t half);
// Gives the element at `data` to GL as the current value, or as the vertex if it is a position.
void giveElement(uint32_t number, const ArrayRow& row, const uint8_t* data);

}  // namespace qv::peer
