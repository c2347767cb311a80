// The defaults of a vertex array object.
#include "driver/objects/vertex_array_object.h"

#include <cstdlib>
#include <initializer_list>

namespace qv {

namespace {

// Default component counts of the conventional arrays; the texture coordinate rows have four, like the generic ones.
constexpr uint8_t kDefaultSize[kArrayTexCoord0] = {4, 4, 3, 4, 3, 1, 1, 1};

}  // namespace

VertexArrayObject::VertexArrayObject() {
  for (uint8_t row = 0; row < kRows; ++row) {
    VertexAttribRecord& attrib = conventional[row];
    if (row < kArrayTexCoord0) attrib.size = kDefaultSize[row];
    if (row == kArrayEdgeFlag) attrib.type = GL_UNSIGNED_BYTE;
    attrib.elementSize = attrib.size * (row == kArrayEdgeFlag ? 1 : 4);
    generic[row].isGeneric = 1;
    for (VertexAttribRecord* const each : {&attrib, &generic[row]}) {
      each->index = row;
      each->bindingIndex = row;
      each->owner = this;
      bindingOf(*each).stride = each->elementSize;
    }
  }
}

VertexArrayObject::~VertexArrayObject() { std::free(label); }

}  // namespace qv
