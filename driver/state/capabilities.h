// The shadow of glEnable and its kin. A capability of an attribute group has two homes, the group's field and a byte of the
// EnableState, so that it survives a push of either; both are written at once.
#pragma once

#include <cstdint>

#include "driver/state/gl_context.h"

namespace qv {

// Where a capability is kept.
struct CapabilityHome {
  static constexpr int32_t kNoFlag = -1;
  uint8_t* field = nullptr;  // null: the shadow does not know the capability here
  int32_t flag = kNoFlag;    // index in EnableState::flags
};

inline CapabilityHome unitCapabilityHome(GlContext* context, GLenum capability, uint32_t unit) {
  const int32_t byte = textureTargetByte(capability);
  if (byte < 0 || unit >= kTextureUnits) return {};
  return {&context->texture.current().units[unit].enabled[byte],
          static_cast<int32_t>(EnableState::kFirstUnit + EnableState::kPerUnit * unit) + byte};
}

// Everything that is one byte of this context, without the client arrays and the debug capabilities.
[[gnu::always_inline]] inline CapabilityHome capabilityHome(GlContext* context, GLenum capability) {
  switch (capability) {
    case GL_ALPHA_TEST:
      return {&context->colorBuffer.current().alphaTestEnabled, 0};
    case GL_BLEND:
      return {&context->colorBuffer.current().blendEnabled, 1};
    case GL_LINE_STIPPLE:
      return {&context->line.current().stippleEnabled, 2};
    case GL_LINE_SMOOTH:
      return {&context->line.current().smoothEnabled, 3};
    case GL_LIGHTING:
      return {&context->lighting.current().lightingEnabled, 4};
    case GL_LIGHT0:
    case GL_LIGHT1:
    case GL_LIGHT2:
    case GL_LIGHT3:
    case GL_LIGHT4:
    case GL_LIGHT5:
    case GL_LIGHT6:
    case GL_LIGHT7: {
      const uint32_t light = capability - GL_LIGHT0;
      return {&context->lighting.current().lightEnabled[light], static_cast<int32_t>(5 + light)};
    }
    case GL_COLOR_MATERIAL:
      return {&context->lighting.current().colorMaterialEnabled, 13};
    case GL_NORMALIZE:
      return {&context->transform.current().normalizeEnabled, 14};
    case GL_DEPTH_TEST:
      return {&context->depth.current().testEnabled, 15};
    case GL_FOG:
      return {&context->fog.current().enabled, 16};
    case GL_CULL_FACE:
      return {&context->polygon.current().cullEnabled, 17};
    case GL_POLYGON_SMOOTH:
      return {&context->polygon.current().smooth, 18};
    case GL_POLYGON_STIPPLE:
      return {&context->polygon.current().stipple, 19};
    case GL_POLYGON_OFFSET_FILL:
      return {&context->polygon.current().offsetFill, 20};
    case GL_POLYGON_OFFSET_LINE:
      return {&context->polygon.current().offsetLine, 21};
    case GL_POLYGON_OFFSET_POINT:
      return {&context->polygon.current().offsetPoint, 22};
    case GL_MULTISAMPLE:
      return {&context->multisample.current().enabled, 23};
    case GL_VERTEX_PROGRAM_ARB:
      return {&context->vertexProgramEnabled, CapabilityHome::kNoFlag};
    case GL_FRAGMENT_PROGRAM_ARB:
      return {&context->fragmentProgramEnabled, CapabilityHome::kNoFlag};
    case GL_PRIMITIVE_RESTART:
      return {&context->restartEnabled, CapabilityHome::kNoFlag};
    default:
      return unitCapabilityHome(context, capability, context->activeTextureUnit);
  }
}

inline bool storeCapability(GlContext* context, CapabilityHome home, uint8_t value) {
  if (home.field == nullptr) return false;
  *home.field = value;
  if (home.flag != CapabilityHome::kNoFlag) context->enables.current().flags[home.flag] = value;
  return true;
}

// The enabled byte of a client array in the current vertex array object, or of GL_PRIMITIVE_RESTART_NV in the context; null
// for another enum.
const uint8_t* clientStateByte(GlContext* context, GLenum array);
// Switches it. False for another enum.
bool storeClientState(GlContext* context, GLenum array, bool on);

// False for a unit of 16 or more, and for all but the five texture targets.
inline bool setUnitCapability(GlContext* context, GLenum capability, uint32_t unit, uint8_t value) {
  return storeCapability(context, unitCapabilityHome(context, capability, unit), value);
}

}  // namespace qv
