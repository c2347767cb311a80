// Sizes of vertex array elements. Guest and host must find the same ones: the data of a draw carry no tags.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

// Bytes of one component. Type 0 is that of edge flags; a type that is not listed has none.
constexpr uint32_t arrayComponentBytes(GLenum type) {
  switch (type) {
    case 0:
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
      return 1;
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_HALF_FLOAT:
      return 2;
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
    case GL_FIXED:
      return 4;
    case GL_DOUBLE:
      return 8;
    default:
      return 0;
  }
}

constexpr bool isPackedArrayType(GLenum type) { return type == GL_INT_2_10_10_10_REV || type == GL_UNSIGNED_INT_2_10_10_10_REV; }

struct ArrayFormat {
  uint32_t size = 4;  // components, or GL_BGRA
  uint32_t elementSize = 16;
};

// What is kept of a format: a packed type has four components. A size out of GL's range is taken as it comes, modulo 2^32.
constexpr ArrayFormat arrayFormat(uint32_t size, GLenum type) {
  if (size == GL_BGRA) return {size, 4};
  if (isPackedArrayType(type)) return {4, 4};
  return {size, arrayComponentBytes(type) * size};
}

// Rows of arrays: the conventional arrays, then the generic ones.
inline constexpr uint32_t kArrayKinds = 16, kArrayRows = 2 * kArrayKinds;

// Rows of the conventional arrays. The tags of vertex runs use the same numbers.
enum ConventionalArray : uint32_t {
  kArrayVertex = 0,
  kArrayWeight = 1,
  kArrayNormal = 2,
  kArrayColor = 3,
  kArraySecondaryColor = 4,
  kArrayFogCoord = 5,
  kArrayIndex = 6,
  kArrayEdgeFlag = 7,
  kArrayTexCoord0 = 8,  // eight rows, one for each client texture unit
};
inline constexpr uint32_t kClientUnits = 8;

inline constexpr uint32_t kNoArrayRow = ~0u;

// The conventional row of a client array's token; kNoArrayRow for another token.
constexpr uint32_t conventionalRow(GLenum array, uint32_t clientUnit) {
  switch (array) {
    case GL_VERTEX_ARRAY:
      return kArrayVertex;
    case GL_WEIGHT_ARRAY_ARB:
      return kArrayWeight;
    case GL_NORMAL_ARRAY:
      return kArrayNormal;
    case GL_COLOR_ARRAY:
      return kArrayColor;
    case GL_SECONDARY_COLOR_ARRAY:
      return kArraySecondaryColor;
    case GL_FOG_COORD_ARRAY:
      return kArrayFogCoord;
    case GL_INDEX_ARRAY:
      return kArrayIndex;
    case GL_EDGE_FLAG_ARRAY:
      return kArrayEdgeFlag;
    case GL_TEXTURE_COORD_ARRAY:
      return kArrayTexCoord0 + clientUnit;
    default:
      return kNoArrayRow;
  }
}

struct ConventionalDefault {
  uint32_t size;
  GLenum type;
};
// What a conventional row holds before any pointer is set.
constexpr ConventionalDefault conventionalDefault(uint32_t row) {
  switch (row) {
    case kArrayNormal:
    case kArraySecondaryColor:
      return {3, GL_FLOAT};
    case kArrayFogCoord:
    case kArrayIndex:
      return {1, GL_FLOAT};
    case kArrayEdgeFlag:
      return {1, GL_UNSIGNED_BYTE};
    default:
      return {4, GL_FLOAT};
  }
}

// Elements of per-instance data that `instances` instances use. The divisor is not 0.
constexpr uint64_t instanceElements(uint32_t instances, uint32_t divisor) {
  return (uint64_t{instances} + divisor - 1) / divisor;
}

// Bytes of an index; 0 for a type that is none.
constexpr uint32_t indexBytesOf(GLenum type) {
  switch (type) {
    case GL_UNSIGNED_BYTE:
      return 1;
    case GL_UNSIGNED_SHORT:
      return 2;
    case GL_UNSIGNED_INT:
      return 4;
    default:
      return 0;
  }
}

}  // namespace qv
