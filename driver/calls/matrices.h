// The shadow of the matrix calls.
#pragma once

#include "driver/queries/limit_cache.h"
#include "driver/state/matrix.h"
#include "wire/entry_table.h"

namespace qv {

inline void shadow(op::glMatrixMode, GlContext* c, GLenum mode) { setMatrixMode(c, mode); }
inline void shadow(op::glLoadIdentity, GlContext* c) { loadIdentity(c); }
inline void shadow(op::glLoadMatrixf, GlContext* c, const GLfloat* m) { loadMatrix(c, m); }
inline void shadow(op::glLoadMatrixd, GlContext* c, const GLdouble* m) { loadMatrix(c, m); }
inline void shadow(op::glLoadTransposeMatrixf, GlContext* c, const GLfloat* m) { loadTransposeMatrix(c, m); }
inline void shadow(op::glLoadTransposeMatrixd, GlContext* c, const GLdouble* m) { loadTransposeMatrix(c, m); }
inline void shadow(op::glMultMatrixf, GlContext* c, const GLfloat* m) { multMatrix(c, m); }
inline void shadow(op::glMultMatrixd, GlContext* c, const GLdouble* m) { multMatrix(c, m); }
inline void shadow(op::glMultTransposeMatrixf, GlContext* c, const GLfloat* m) { multTransposeMatrix(c, m); }
inline void shadow(op::glMultTransposeMatrixd, GlContext* c, const GLdouble* m) { multTransposeMatrix(c, m); }
inline void shadow(op::glFrustum, GlContext* c, double l, double r, double b, double t, double n, double f) {
  frustum(c, l, r, b, t, n, f);
}
inline void shadow(op::glOrtho, GlContext* c, double l, double r, double b, double t, double n, double f) {
  ortho(c, l, r, b, t, n, f);
}
inline void shadow(op::glRotated, GlContext* c, double a, double x, double y, double z) { rotate(c, a, x, y, z); }
inline void shadow(op::glRotatef, GlContext* c, float a, float x, float y, float z) { rotate(c, a, x, y, z); }
inline void shadow(op::glScaled, GlContext* c, double x, double y, double z) { scale(c, x, y, z); }
inline void shadow(op::glScalef, GlContext* c, float x, float y, float z) { scale(c, x, y, z); }
inline void shadow(op::glTranslated, GlContext* c, double x, double y, double z) { translate(c, x, y, z); }
inline void shadow(op::glTranslatef, GlContext* c, float x, float y, float z) { translate(c, x, y, z); }
inline void shadow(op::glPushMatrix, GlContext* c) { pushMatrix(c, queryStackLimit); }
inline void shadow(op::glPopMatrix, GlContext* c) { popMatrix(c); }

}  // namespace qv
