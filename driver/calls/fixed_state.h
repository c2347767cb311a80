// The shadow of single values of the attribute groups, and of fog.
#pragma once

#include "driver/base/conversion.h"
#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

// Every step stores its arguments as given, neither checked nor clamped: required oddity 17.
inline void shadow(op::glCullFace, GlContext* c, GLenum mode) { c->polygon.current().cullMode = mode; }
inline void shadow(op::glFrontFace, GlContext* c, GLenum mode) { c->polygon.current().frontFace = mode; }
inline void shadow(op::glShadeModel, GlContext* c, GLenum mode) { c->lighting.current().shadeModel = mode; }
inline void shadow(op::glPolygonMode, GlContext* c, GLenum face, GLenum mode) {
  PolygonState& state = c->polygon.current();
  if (face == GL_FRONT || face == GL_FRONT_AND_BACK) state.frontMode = mode;
  if (face == GL_BACK || face == GL_FRONT_AND_BACK) state.backMode = mode;
}
inline void shadow(op::glPolygonOffset, GlContext* c, GLfloat factor, GLfloat units) {
  c->polygon.current().offsetFactor = factor;
  c->polygon.current().offsetUnits = units;
}
inline void shadow(op::glDepthFunc, GlContext* c, GLenum func) { c->depth.current().func = func; }
inline void shadow(op::glDepthMask, GlContext* c, GLboolean mask) { c->depth.current().writeMask = mask; }
inline void shadow(op::glClearDepth, GlContext* c, GLclampd value) { c->depth.current().clearValue = value; }
inline void shadow(op::glClearDepthf, GlContext* c, GLfloat value) { c->depth.current().clearValue = static_cast<double>(value); }
inline void shadow(op::glDepthRange, GlContext* c, GLclampd nearValue, GLclampd farValue) {
  c->viewport.current().nearValue = nearValue;
  c->viewport.current().farValue = farValue;
}
inline void shadow(op::glDepthRangef, GlContext* c, GLfloat nearValue, GLfloat farValue) {
  c->viewport.current().nearValue = static_cast<double>(nearValue);
  c->viewport.current().farValue = static_cast<double>(farValue);
}
inline void shadow(op::glViewport, GlContext* c, GLint x, GLint y, GLsizei width, GLsizei height) {
  ViewportState& state = c->viewport.current();
  state.x = x;
  state.y = y;
  state.width = width;
  state.height = height;
}
// The calls with an index have no step here, whatever the index: required oddity 89.
inline void shadow(op::glBlendFunc, GlContext* c, GLenum source, GLenum destination) {
  ColorBufferState& state = c->colorBuffer.current();
  state.blendSrc = state.blendSrcRgb = state.blendSrcAlpha = source;
  state.blendDst = state.blendDstRgb = state.blendDstAlpha = destination;
}
inline void shadow(op::glBlendFuncSeparate, GlContext* c, GLenum sourceRgb, GLenum destinationRgb, GLenum sourceAlpha,
                   GLenum destinationAlpha) {
  ColorBufferState& state = c->colorBuffer.current();
  // With separate factors GL_BLEND_SRC and GL_BLEND_DST are the RGB factors.
  state.blendSrc = state.blendSrcRgb = sourceRgb;
  state.blendDst = state.blendDstRgb = destinationRgb;
  state.blendSrcAlpha = sourceAlpha;
  state.blendDstAlpha = destinationAlpha;
}
inline void shadow(op::glDrawBuffer, GlContext* c, GLenum mode) {
  c->drawBufferMode = mode;
  // frontDirty stays set until the frame ends. No other front buffer counts: required oddity 18.
  if (mode == GL_FRONT) c->frontDirty = 1;
}

// Any other pname leaves the shadow alone; the host refuses it.
inline void setFog(GlContext* c, GLenum pname, const float* values) {
  FogState& state = c->fog.current();
  switch (pname) {
    case GL_FOG_DENSITY:
      state.density = values[0];
      break;
    case GL_FOG_START:
      state.start = values[0];
      break;
    case GL_FOG_END:
      state.end = values[0];
      break;
    case GL_FOG_INDEX:
      state.index = values[0];
      break;
    case GL_FOG_MODE:
      state.mode = static_cast<uint32_t>(truncateTo<int64_t>(static_cast<double>(values[0])));
      break;
    case GL_FOG_COORD_SRC:
      state.coordinateSource = static_cast<uint32_t>(truncateTo<int64_t>(static_cast<double>(values[0])));
      break;
    case GL_FOG_COLOR:
      for (int i = 0; i < 4; ++i) state.color[i] = values[i];
      break;
    default:
      break;
  }
}
inline void shadow(op::glFogfv, GlContext* c, GLenum pname, const GLfloat* values) { setFog(c, pname, values); }
inline void shadow(op::glFogf, GlContext* c, GLenum pname, GLfloat value) {
  if (pname != GL_FOG_COLOR) setFog(c, pname, &value);
}
inline void shadow(op::glFogi, GlContext* c, GLenum pname, GLint value) {
  const float converted = static_cast<float>(value);
  if (pname != GL_FOG_COLOR) setFog(c, pname, &converted);
}
inline void shadow(op::glFogiv, GlContext* c, GLenum pname, const GLint* values) {
  float converted[4] = {};
  // Integer colours map linearly to -1..1, as GL defines for this call.
  if (pname == GL_FOG_COLOR) {
    for (int i = 0; i < 4; ++i) converted[i] = static_cast<float>((2.0 * values[i] + 1.0) / 4294967295.0);
  } else {
    converted[0] = static_cast<float>(values[0]);
  }
  setFog(c, pname, converted);
}

inline void shadow(op::glPrimitiveRestartIndex, GlContext* c, GLuint index) { c->restartIndex = index; }

}  // namespace qv
