// VertexArrayObject: the guest's full copy of vertex array state.
#pragma once

#include <cstdint>

#include "driver/objects/tracked_object.h"
#include "wire/array_format.h"
#include "wire/gl_api.h"

namespace qv {

struct VertexArrayObject;

struct VertexBindingRecord {
  uint64_t offset = 0;  // client pointer or offset into the buffer
  uint32_t stride = 0;  // effective: the stride given, or the element's size if that was 0
  uint32_t divisor = 0;
  uint32_t buffer = 0;  // 0: client memory
};

struct VertexAttribRecord {
  uint64_t pointer = 0;  // client pointer or offset into the buffer
  uint8_t enabled = 0;   // changed by setEnabled()
  uint32_t stride = 0;        // as the application gave it; 0: tight
  uint32_t elementSize = 16;  // bytes of one element
  uint32_t size = 4;          // components, or GL_BGRA
  uint32_t type = GL_FLOAT;
  uint8_t normalized = 0;
  uint32_t relativeOffset = 0;
  uint8_t isInteger = 0, isLong = 0;  // set by the I or the L family of calls
  uint8_t bindingIndex = 0;           // the binding is bindings[bindingIndex], or 16 above it for a generic row
  uint8_t isGeneric = 0;
  uint8_t index = 0;  // the row's own number, 0..15
  VertexArrayObject* owner = nullptr;

  uint32_t row() const { return index + (isGeneric ? kArrayKinds : 0); }
  void setFormat(uint32_t newSize, GLenum newType, GLboolean newNormalized, uint32_t newRelativeOffset, bool integer, bool wide);
  // The row's own binding becomes the source.
  void setPointer(uint32_t newSize, GLenum newType, uint32_t newStride, const void* newPointer, uint32_t bufferName,
                  GLboolean newNormalized, bool integer, bool wide);
  void setEnabled(bool on);
};

struct VertexArrayObject final : TrackedObject {
  static constexpr uint32_t kRows = kArrayKinds;

  VertexArrayObject();
  ~VertexArrayObject() override;

  VertexBindingRecord& bindingOf(const VertexAttribRecord& attrib) {
    return bindings[attrib.bindingIndex + (attrib.isGeneric ? kRows : 0)];
  }
  // Conventional rows, then generic ones.
  VertexAttribRecord& row(uint32_t number) { return number < kRows ? conventional[number] : generic[number - kRows]; }

  uint32_t elementArrayBuffer = 0;
  uint32_t enabledRows = 0;                 // a bit for each row that is enabled
  VertexBindingRecord bindings[2 * kRows];  // the conventional rows', then the generic rows'
  VertexAttribRecord conventional[kRows];
  VertexAttribRecord generic[kRows];
  char* label = nullptr;  // from malloc; null until one is set
};

}  // namespace qv
