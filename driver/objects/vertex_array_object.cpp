// The defaults of a vertex array object, and the setting of its rows.
#include "driver/objects/vertex_array_object.h"

#include <cstdlib>

namespace qv {

VertexArrayObject::VertexArrayObject() {
  for (uint8_t number = 0; number < kArrayRows; ++number) {
    VertexAttribRecord& attrib = row(number);
    attrib.owner = this;
    attrib.isGeneric = number >= kRows;
    attrib.index = attrib.bindingIndex = number % kRows;
    if (!attrib.isGeneric) {
      const ConventionalDefault start = conventionalDefault(number);
      attrib.setFormat(start.size, start.type, GL_FALSE, 0, false, false);
    }
    bindingOf(attrib).stride = attrib.elementSize;
  }
}

VertexArrayObject::~VertexArrayObject() { std::free(label); }

void VertexAttribRecord::setFormat(uint32_t newSize, GLenum newType, GLboolean newNormalized, uint32_t newRelativeOffset,
                                   bool integer, bool wide) {
  const ArrayFormat format = arrayFormat(newSize, newType);
  size = format.size;
  elementSize = format.elementSize;
  type = newType;
  normalized = newNormalized;
  relativeOffset = newRelativeOffset;
  isInteger = integer;
  isLong = wide;
}

void VertexAttribRecord::setPointer(uint32_t newSize, GLenum newType, uint32_t newStride, const void* newPointer,
                                    uint32_t bufferName, GLboolean newNormalized, bool integer, bool wide) {
  setFormat(newSize, newType, newNormalized, 0, integer, wide);
  bindingIndex = index;
  pointer = reinterpret_cast<uintptr_t>(newPointer);
  stride = newStride;
  VertexBindingRecord& binding = owner->bindingOf(*this);
  binding.buffer = bufferName;
  binding.offset = pointer;
  binding.stride = newStride != 0 ? newStride : elementSize;
}

void VertexAttribRecord::setEnabled(bool on) {
  enabled = on;
  const uint32_t bit = uint32_t{1} << row();
  owner->enabledRows = on ? owner->enabledRows | bit : owner->enabledRows & ~bit;
}

}  // namespace qv
