// The elements of the attribute stacks with their defaults, field by field in the order of GL's attribute groups.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

inline constexpr uint32_t kTextureUnits = 16;

struct DepthState {
  uint8_t testEnabled = 0;
  uint32_t func = GL_LESS;
  double clearValue = 1.0;
  uint8_t writeMask = 1;
};

struct ViewportState {
  int32_t x = 0, y = 0;
  int32_t width = -1, height = -1;  // -1: not known before the first make-current with a window
  double nearValue = 0.0, farValue = 1.0;
};

struct LightingState {
  uint8_t lightingEnabled = 0;
  uint8_t lightEnabled[8] = {};
  uint32_t shadeModel = GL_SMOOTH;
  uint8_t colorMaterialEnabled = 0;
};

// 24 single capabilities, then five texture targets for each unit. Indices in driver/state/capabilities.h.
struct EnableState {
  static constexpr uint32_t kMultisample = 23;
  static constexpr uint32_t kFirstUnit = 24;
  static constexpr uint32_t kPerUnit = 5;
  uint8_t flags[kFirstUnit + kPerUnit * kTextureUnits] = {};
  EnableState() { flags[kMultisample] = 1; }
};
static_assert(sizeof(EnableState) == 104);

struct FogState {
  uint8_t enabled = 0;
  float color[4] = {0, 0, 0, 0};
  float start = 0.0f, end = 1.0f, density = 1.0f, index = 0.0f;
  uint32_t mode = GL_EXP;
  uint32_t coordinateSource = GL_FRAGMENT_DEPTH;
};

struct PolygonState {
  uint8_t cullEnabled = 0;
  uint32_t cullMode = GL_BACK;
  uint32_t frontFace = GL_CCW;
  uint32_t frontMode = GL_FILL, backMode = GL_FILL;
  uint8_t smooth = 0, stipple = 0, offsetFill = 0, offsetLine = 0, offsetPoint = 0;
  float offsetFactor = 0.0f, offsetUnits = 0.0f;
};

// The names bound to a unit's tracked targets, and which of them are enabled.
struct TextureUnitRecord {
  static constexpr uint32_t kTargets = 5;
  uint8_t enabled[kTargets] = {};
  uint32_t binding1D = 0, binding2D = 0, binding3D = 0, bindingCubeMap = 0, bindingRectangle = 0;

  inline uint32_t& binding(uint32_t target);
};

// The targets that a unit's record tracks, in the order of its enable bytes.
struct TextureTarget {
  GLenum target, bindingName;
  uint32_t TextureUnitRecord::*binding;
};
inline constexpr TextureTarget kTextureTargets[TextureUnitRecord::kTargets] = {
    {GL_TEXTURE_1D, GL_TEXTURE_BINDING_1D, &TextureUnitRecord::binding1D},
    {GL_TEXTURE_2D, GL_TEXTURE_BINDING_2D, &TextureUnitRecord::binding2D},
    {GL_TEXTURE_3D, GL_TEXTURE_BINDING_3D, &TextureUnitRecord::binding3D},
    {GL_TEXTURE_CUBE_MAP, GL_TEXTURE_BINDING_CUBE_MAP, &TextureUnitRecord::bindingCubeMap},
    {GL_TEXTURE_RECTANGLE, GL_TEXTURE_BINDING_RECTANGLE, &TextureUnitRecord::bindingRectangle},
};

inline uint32_t& TextureUnitRecord::binding(uint32_t target) { return this->*kTextureTargets[target].binding; }

// The place of a target, or of the name of its binding, in the table above; -1 for another enum.
constexpr int32_t textureTargetByte(GLenum target) {
  for (uint32_t i = 0; i < TextureUnitRecord::kTargets; ++i) {
    if (kTextureTargets[i].target == target) return static_cast<int32_t>(i);
  }
  return -1;
}
constexpr int32_t textureBindingByte(GLenum pname) {
  for (uint32_t i = 0; i < TextureUnitRecord::kTargets; ++i) {
    if (kTextureTargets[i].bindingName == pname) return static_cast<int32_t>(i);
  }
  return -1;
}

struct TextureState {
  TextureUnitRecord units[kTextureUnits] = {};
  uint32_t activeUnit = 0;
};

struct LineState {
  uint8_t stippleEnabled = 0, smoothEnabled = 0;
};

struct ColorBufferState {
  uint8_t alphaTestEnabled = 0, blendEnabled = 0;
  uint32_t blendSrc = GL_ONE, blendSrcRgb = GL_ONE, blendSrcAlpha = GL_ONE;
  uint32_t blendDst = GL_ZERO, blendDstRgb = GL_ZERO, blendDstAlpha = GL_ZERO;
};

struct TransformState {
  uint8_t normalizeEnabled = 0;
  uint32_t matrixMode = GL_MODELVIEW;
};

// The stack of the pixel group only keeps count; its element is never read.
struct PixelGroupState {
  uint8_t unused = 0;
};

struct ListState {
  uint32_t listBase = 0;
};

struct MultisampleState {
  uint8_t enabled = 1;
};

// Row-major: element (row r, column c) at 4r + c, the transpose of what GL takes and gives. Starts as the identity.
struct Matrix {
  double m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

}  // namespace qv
