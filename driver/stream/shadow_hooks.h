// The shadow step of stamped entry points: what each does to the context once its command is written.
#pragma once

#include "driver/objects/share_group.h"
#include "driver/pixels/textures.h"
#include "driver/state/capabilities.h"
#include "driver/state/gl_context.h"
#include "driver/state/matrix.h"
#include "driver/stream/entry_table.h"

namespace qv {

// Declared and not defined: a row that names a shadow step and has none here does not compile.
template <typename Row>
struct Shadow;

#define QV_SHADOW(name) \
  template <>           \
  struct Shadow<op::name>

// --- enables ---

QV_SHADOW(glEnable) {
  static void apply(GlContext* c, GLenum capability) { setCapability(c, capability, 1); }
};
QV_SHADOW(glDisable) {
  static void apply(GlContext* c, GLenum capability) { setCapability(c, capability, 0); }
};
QV_SHADOW(glEnableClientState) {
  static void apply(GlContext* c, GLenum array) { setClientState(c, array, 1); }
};
QV_SHADOW(glDisableClientState) {
  static void apply(GlContext* c, GLenum array) { setClientState(c, array, 0); }
};

inline void setIndexedCapability(GlContext* c, GLenum capability, GLuint index, uint8_t value) {
  if (!setUnitCapability(c, capability, index, value) && index == 0) setCapability(c, capability, value);
}
QV_SHADOW(glEnablei) {
  static void apply(GlContext* c, GLenum capability, GLuint index) { setIndexedCapability(c, capability, index, 1); }
};
QV_SHADOW(glDisablei) {
  static void apply(GlContext* c, GLenum capability, GLuint index) { setIndexedCapability(c, capability, index, 0); }
};
QV_SHADOW(glEnableIndexedEXT) : Shadow<op::glEnablei> {};
QV_SHADOW(glDisableIndexedEXT) : Shadow<op::glDisablei> {};

// --- matrices ---

QV_SHADOW(glMatrixMode) {
  static void apply(GlContext* c, GLenum mode) { setMatrixMode(c, mode); }
};
QV_SHADOW(glLoadIdentity) {
  static void apply(GlContext* c) { loadIdentity(c); }
};
QV_SHADOW(glLoadMatrixf) {
  static void apply(GlContext* c, const GLfloat* m) { loadMatrix(c, m); }
};
QV_SHADOW(glLoadMatrixd) {
  static void apply(GlContext* c, const GLdouble* m) { loadMatrix(c, m); }
};
QV_SHADOW(glLoadTransposeMatrixf) {
  static void apply(GlContext* c, const GLfloat* m) { loadTransposeMatrix(c, m); }
};
QV_SHADOW(glLoadTransposeMatrixd) {
  static void apply(GlContext* c, const GLdouble* m) { loadTransposeMatrix(c, m); }
};
QV_SHADOW(glMultMatrixf) {
  static void apply(GlContext* c, const GLfloat* m) { multMatrix(c, m); }
};
QV_SHADOW(glMultMatrixd) {
  static void apply(GlContext* c, const GLdouble* m) { multMatrix(c, m); }
};
QV_SHADOW(glMultTransposeMatrixf) {
  static void apply(GlContext* c, const GLfloat* m) { multTransposeMatrix(c, m); }
};
QV_SHADOW(glMultTransposeMatrixd) {
  static void apply(GlContext* c, const GLdouble* m) { multTransposeMatrix(c, m); }
};
QV_SHADOW(glFrustum) {
  static void apply(GlContext* c, double l, double r, double b, double t, double n, double f) { frustum(c, l, r, b, t, n, f); }
};
QV_SHADOW(glOrtho) {
  static void apply(GlContext* c, double l, double r, double b, double t, double n, double f) { ortho(c, l, r, b, t, n, f); }
};
QV_SHADOW(glRotated) {
  static void apply(GlContext* c, double a, double x, double y, double z) { rotate(c, a, x, y, z); }
};
QV_SHADOW(glRotatef) {
  static void apply(GlContext* c, float a, float x, float y, float z) { rotate(c, a, x, y, z); }
};
QV_SHADOW(glScaled) {
  static void apply(GlContext* c, double x, double y, double z) { scale(c, x, y, z); }
};
QV_SHADOW(glScalef) {
  static void apply(GlContext* c, float x, float y, float z) { scale(c, x, y, z); }
};
QV_SHADOW(glTranslated) {
  static void apply(GlContext* c, double x, double y, double z) { translate(c, x, y, z); }
};
QV_SHADOW(glTranslatef) {
  static void apply(GlContext* c, float x, float y, float z) { translate(c, x, y, z); }
};
QV_SHADOW(glPushMatrix) {
  static void apply(GlContext* c) { pushMatrix(c); }
};
QV_SHADOW(glPopMatrix) {
  static void apply(GlContext* c) { popMatrix(c); }
};

// --- single values of the attribute groups ---

QV_SHADOW(glCullFace) {
  static void apply(GlContext* c, GLenum mode) { c->polygon.current().cullMode = mode; }
};
QV_SHADOW(glFrontFace) {
  static void apply(GlContext* c, GLenum mode) { c->polygon.current().frontFace = mode; }
};
QV_SHADOW(glShadeModel) {
  static void apply(GlContext* c, GLenum mode) { c->lighting.current().shadeModel = mode; }
};
QV_SHADOW(glPolygonMode) {
  static void apply(GlContext* c, GLenum face, GLenum mode) {
    PolygonState& state = c->polygon.current();
    if (face == GL_FRONT || face == GL_FRONT_AND_BACK) state.frontMode = mode;
    if (face == GL_BACK || face == GL_FRONT_AND_BACK) state.backMode = mode;
  }
};
QV_SHADOW(glPolygonOffset) {
  static void apply(GlContext* c, GLfloat factor, GLfloat units) {
    c->polygon.current().offsetFactor = factor;
    c->polygon.current().offsetUnits = units;
  }
};
QV_SHADOW(glDepthFunc) {
  static void apply(GlContext* c, GLenum func) { c->depth.current().func = func; }
};
QV_SHADOW(glDepthMask) {
  static void apply(GlContext* c, GLboolean mask) { c->depth.current().writeMask = mask; }
};
QV_SHADOW(glClearDepth) {
  static void apply(GlContext* c, GLclampd value) { c->depth.current().clearValue = value; }
};
QV_SHADOW(glClearDepthf) {
  static void apply(GlContext* c, GLfloat value) { c->depth.current().clearValue = static_cast<double>(value); }
};
QV_SHADOW(glDepthRange) {
  static void apply(GlContext* c, GLclampd nearValue, GLclampd farValue) {
    c->viewport.current().nearValue = nearValue;
    c->viewport.current().farValue = farValue;
  }
};
QV_SHADOW(glDepthRangef) {
  static void apply(GlContext* c, GLfloat nearValue, GLfloat farValue) {
    c->viewport.current().nearValue = static_cast<double>(nearValue);
    c->viewport.current().farValue = static_cast<double>(farValue);
  }
};
QV_SHADOW(glViewport) {
  static void apply(GlContext* c, GLint x, GLint y, GLsizei width, GLsizei height) {
    ViewportState& state = c->viewport.current();
    state.x = x;
    state.y = y;
    state.width = width;
    state.height = height;
  }
};
QV_SHADOW(glBlendFunc) {
  static void apply(GlContext* c, GLenum source, GLenum destination) {
    ColorBufferState& state = c->colorBuffer.current();
    state.blendSrc = state.blendSrcRgb = state.blendSrcAlpha = source;
    state.blendDst = state.blendDstRgb = state.blendDstAlpha = destination;
  }
};
QV_SHADOW(glBlendFuncSeparate) {
  static void apply(GlContext* c, GLenum sourceRgb, GLenum destinationRgb, GLenum sourceAlpha, GLenum destinationAlpha) {
    ColorBufferState& state = c->colorBuffer.current();
    // GL_BLEND_SRC and GL_BLEND_DST name the RGB factors since separate factors exist.
    state.blendSrc = state.blendSrcRgb = sourceRgb;
    state.blendDst = state.blendDstRgb = destinationRgb;
    state.blendSrcAlpha = sourceAlpha;
    state.blendDstAlpha = destinationAlpha;
  }
};
QV_SHADOW(glListBase) {
  static void apply(GlContext* c, GLuint base) { c->list.current().listBase = base; }
};
QV_SHADOW(glDrawBuffer) {
  static void apply(GlContext* c, GLenum mode) {
    c->drawBufferMode = mode;
    // Once set it stays until the frame ends.
    if (mode == GL_FRONT) c->frontDirty = 1;
  }
};

// --- fog: values that are no fog parameter leave the shadow alone and are the host's to refuse ---

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
      state.mode = static_cast<uint32_t>(values[0]);
      break;
    case GL_FOG_COORD_SRC:
      state.coordinateSource = static_cast<uint32_t>(values[0]);
      break;
    case GL_FOG_COLOR:
      for (int i = 0; i < 4; ++i) state.color[i] = values[i];
      break;
    default:
      break;
  }
}
QV_SHADOW(glFogfv) {
  static void apply(GlContext* c, GLenum pname, const GLfloat* values) { setFog(c, pname, values); }
};
QV_SHADOW(glFogf) {
  static void apply(GlContext* c, GLenum pname, GLfloat value) {
    if (pname != GL_FOG_COLOR) setFog(c, pname, &value);
  }
};
QV_SHADOW(glFogi) {
  static void apply(GlContext* c, GLenum pname, GLint value) {
    const float converted = static_cast<float>(value);
    if (pname != GL_FOG_COLOR) setFog(c, pname, &converted);
  }
};
QV_SHADOW(glFogiv) {
  static void apply(GlContext* c, GLenum pname, const GLint* values) {
    float converted[4] = {};
    // Integer colours map linearly to -1..1, as GL defines for this call.
    if (pname == GL_FOG_COLOR) {
      for (int i = 0; i < 4; ++i) converted[i] = static_cast<float>((2.0 * values[i] + 1.0) / 4294967295.0);
    } else {
      converted[0] = static_cast<float>(values[0]);
    }
    setFog(c, pname, converted);
  }
};

// --- texture units ---

QV_SHADOW(glActiveTexture) {
  static void apply(GlContext* c, GLenum texture) {
    const uint32_t unit = texture - GL_TEXTURE0;
    if (unit >= kTextureUnits) return;
    c->texture.current().activeUnit = unit;
    c->activeTextureUnit = unit;
    setMatrixMode(c, c->transform.current().matrixMode);
  }
};
QV_SHADOW(glClientActiveTexture) {
  static void apply(GlContext* c, GLenum texture) {
    constexpr uint32_t kClientUnits = 8;  // eight units, not sixteen
    const uint32_t unit = texture - GL_TEXTURE0;
    if (unit < kClientUnits) c->clientActiveUnit = unit;
  }
};

// --- bindings and names ---

QV_SHADOW(glBindTexture) {
  static void apply(GlContext* c, GLenum target, GLuint texture) { bindTextureName(c, target, texture); }
};

QV_SHADOW(glPrimitiveRestartIndex) {
  static void apply(GlContext* c, GLuint index) { c->restartIndex = index; }
};
QV_SHADOW(glBindFramebuffer) {
  static void apply(GlContext* c, GLenum target, GLuint framebuffer) {
    if (target == GL_DRAW_FRAMEBUFFER || target == GL_FRAMEBUFFER) c->drawFramebuffer = framebuffer;
    if (target == GL_READ_FRAMEBUFFER || target == GL_FRAMEBUFFER) c->readFramebuffer = framebuffer;
  }
};
QV_SHADOW(glBindFramebufferEXT) : Shadow<op::glBindFramebuffer> {};

// Removes names one at a time under one holding of the lock.
inline void removeLabels(GlContext* c, ShareSlot slot, GLsizei n, const GLuint* names) {
  const ShareLock lock(c);
  for (GLsizei i = 0; i < n; ++i) c->shareGroup->table(slot).removeNames(1, names + i);
}
QV_SHADOW(glDeleteFramebuffers) {
  static void apply(GlContext* c, GLsizei n, const GLuint* names) { removeLabels(c, ShareSlot::kFramebuffers, n, names); }
};
QV_SHADOW(glDeleteFramebuffersEXT) : Shadow<op::glDeleteFramebuffers> {};
QV_SHADOW(glDeleteRenderbuffers) {
  static void apply(GlContext* c, GLsizei n, const GLuint* names) { removeLabels(c, ShareSlot::kRenderbuffers, n, names); }
};
QV_SHADOW(glDeleteRenderbuffersEXT) : Shadow<op::glDeleteRenderbuffers> {};
QV_SHADOW(glDeleteSamplers) {
  static void apply(GlContext* c, GLsizei n, const GLuint* names) { removeLabels(c, ShareSlot::kSamplers, n, names); }
};
QV_SHADOW(glDeleteTransformFeedbacks) {
  static void apply(GlContext* c, GLsizei n, const GLuint* names) { removeLabels(c, ShareSlot::kTransformFeedbacks, n, names); }
};
QV_SHADOW(glDeleteTextures) {
  static void apply(GlContext* c, GLsizei n, const GLuint* names) {
    const ShareLock lock(c);
    for (GLsizei i = 0; i < n; ++i) deferTextureDelete(c, names[i]);
  }
};
QV_SHADOW(glDeleteQueries) {
  static void apply(GlContext* c, GLsizei n, const GLuint* names) { c->queryTable.removeNames(n, names); }
};

#undef QV_SHADOW

}  // namespace qv
