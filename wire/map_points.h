// Control points of evaluators: how many values lie behind the pointer of a glMap call.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

// The orders that a map may have, as far as guest and host read it.
inline constexpr int32_t kMostMapOrder = 64;

struct MapShape {
  int32_t components, dimensions;  // both 0 for an enum that is no map
};

constexpr MapShape mapShape(GLenum target) {
  // In the order of the enums, which are consecutive from GL_MAP1_COLOR_4 and from GL_MAP2_COLOR_4.
  constexpr int32_t kComponents[] = {4, 1, 3, 1, 2, 3, 4, 3, 4};
  static_assert(GL_MAP1_VERTEX_4 - GL_MAP1_COLOR_4 == 8 && GL_MAP2_VERTEX_4 - GL_MAP2_COLOR_4 == 8);
  if (target >= GL_MAP1_COLOR_4 && target <= GL_MAP1_VERTEX_4) return {kComponents[target - GL_MAP1_COLOR_4], 1};
  if (target >= GL_MAP2_COLOR_4 && target <= GL_MAP2_VERTEX_4) return {kComponents[target - GL_MAP2_COLOR_4], 2};
  return {0, 0};
}

// The points of one direction: `order` of them, `stride` values from one to the next.
struct MapDirection {
  int32_t stride, order;
};

// Values from the first to the last that a map of one or two directions reads; 0 when OpenGL refuses the map for its target, an
// order or a stride, or when an order is beyond kMostMapOrder.
template <typename... Direction>
constexpr uint64_t mapSpan(GLenum target, Direction... directions) {
  const MapShape shape = mapShape(target);
  if (shape.dimensions != sizeof...(directions)) return 0;
  uint64_t span = static_cast<uint64_t>(shape.components);
  bool good = true;
  const auto extend = [&](MapDirection direction) {
    if (direction.order < 1 || direction.order > kMostMapOrder || direction.stride < shape.components) {
      good = false;
    } else {
      span += static_cast<uint64_t>(direction.order - 1) * static_cast<uint64_t>(direction.stride);
    }
  };
  (extend(directions), ...);
  return good ? span : 0;
}

}  // namespace qv
