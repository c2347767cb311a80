// The GL types of uniforms and attributes: how many values an element has and how many bytes.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

// Samplers and images, whose value is the number of a unit.
constexpr bool isOpaqueType(GLenum type) {
  const auto between = [type](GLenum first, GLenum last) { return type >= first && type <= last; };
  return between(GL_SAMPLER_1D, GL_SAMPLER_2D_RECT_SHADOW) || between(GL_SAMPLER_1D_ARRAY, GL_SAMPLER_CUBE_SHADOW) ||
         between(GL_INT_SAMPLER_1D, GL_UNSIGNED_INT_SAMPLER_BUFFER) ||
         between(GL_SAMPLER_CUBE_MAP_ARRAY, GL_UNSIGNED_INT_SAMPLER_CUBE_MAP_ARRAY) ||
         between(GL_IMAGE_1D, GL_UNSIGNED_INT_IMAGE_2D_MULTISAMPLE_ARRAY) ||
         between(GL_SAMPLER_2D_MULTISAMPLE, GL_UNSIGNED_INT_SAMPLER_2D_MULTISAMPLE_ARRAY);
}

// Bytes of one element; `components` gets its number of values. An unknown type leaves `components` as it is and counts four
// bytes for each. A bool takes four bytes if `boolIsWide`, else one.
constexpr int32_t uniformElementSize(GLenum type, bool boolIsWide, int32_t* components) {
  int32_t bytes = 4;  // of one value
  switch (type) {
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
      *components = 1;
      break;
    case GL_DOUBLE:
      *components = 1;
      bytes = 8;
      break;
    case GL_FLOAT_VEC2:
    case GL_INT_VEC2:
    case GL_UNSIGNED_INT_VEC2:
      *components = 2;
      break;
    case GL_FLOAT_VEC3:
    case GL_INT_VEC3:
    case GL_UNSIGNED_INT_VEC3:
      *components = 3;
      break;
    case GL_FLOAT_VEC4:
    case GL_INT_VEC4:
    case GL_UNSIGNED_INT_VEC4:
      *components = 4;
      break;
    case GL_DOUBLE_VEC2:
      *components = 2;
      bytes = 8;
      break;
    case GL_DOUBLE_VEC3:
      *components = 3;
      bytes = 8;
      break;
    case GL_DOUBLE_VEC4:
      *components = 4;
      bytes = 8;
      break;
    case GL_BOOL:
    case GL_BOOL_VEC2:
    case GL_BOOL_VEC3:
    case GL_BOOL_VEC4:
      static_assert(GL_BOOL_VEC4 - GL_BOOL == 3);
      *components = static_cast<int32_t>(type - GL_BOOL) + 1;
      bytes = boolIsWide ? 4 : 1;
      break;
    case GL_FLOAT_MAT2:
      *components = 4;
      break;
    case GL_FLOAT_MAT3:
      *components = 9;
      break;
    case GL_FLOAT_MAT4:
      *components = 16;
      break;
    case GL_FLOAT_MAT2x3:
    case GL_FLOAT_MAT3x2:
      *components = 6;
      break;
    case GL_FLOAT_MAT2x4:
    case GL_FLOAT_MAT4x2:
      *components = 8;
      break;
    case GL_FLOAT_MAT3x4:
    case GL_FLOAT_MAT4x3:
      *components = 12;
      break;
    case GL_DOUBLE_MAT2:
      *components = 4;
      bytes = 8;
      break;
    case GL_DOUBLE_MAT3:
      *components = 9;
      bytes = 8;
      break;
    case GL_DOUBLE_MAT4:
      *components = 16;
      bytes = 8;
      break;
    case GL_DOUBLE_MAT2x3:
    case GL_DOUBLE_MAT3x2:
      *components = 6;
      bytes = 8;
      break;
    case GL_DOUBLE_MAT2x4:
    case GL_DOUBLE_MAT4x2:
      *components = 8;
      bytes = 8;
      break;
    case GL_DOUBLE_MAT3x4:
    case GL_DOUBLE_MAT4x3:
      *components = 12;
      bytes = 8;
      break;
    default:
      if (isOpaqueType(type)) *components = 1;
  }
  return bytes * *components;
}

}  // namespace qv
