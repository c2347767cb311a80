// The guest's own copy of the matrix stacks, kept so that matrices and stack depths are answered without the host.
// All arithmetic is in double precision; float arguments are widened first. None of it has an influence on rendering.
#pragma once

#include <cstdint>

#include "driver/state/gl_context.h"

namespace qv {

// Stores the mode, whatever its value, and makes currentMatrixStack the stack of the mode, or null for no valid mode.
void setMatrixMode(GlContext* context, uint32_t mode);

// dst = transpose of src: GL's matrices are column-major, those of the shadow row-major. glLoadMatrixf is called often; unrolled,
// the copy takes a third of the time of the loops.
template <typename T>
inline void loadTransposed(Matrix& dst, const T* src) {
#pragma GCC unroll 4
  for (uint32_t r = 0; r < 4; ++r) {
#pragma GCC unroll 4
    for (uint32_t c = 0; c < 4; ++c) dst.m[4 * r + c] = static_cast<double>(src[4 * c + r]);
  }
}
template <typename T>
inline void loadPlain(Matrix& dst, const T* src) {
  for (uint32_t i = 0; i < 16; ++i) dst.m[i] = static_cast<double>(src[i]);
}

// a = a x b, each element summed over rising k from 0.0.
void multiply(Matrix& a, const Matrix& b);

// The operations of the entry points on the top of the current stack; nothing happens while there is no current stack.
inline void loadIdentity(GlContext* context) {
  if (context->currentMatrixStack != nullptr) context->currentMatrixStack->current() = Matrix{};
}
inline void loadMatrix(GlContext* context, const float* m) {
  if (context->currentMatrixStack != nullptr) loadTransposed(context->currentMatrixStack->current(), m);
}
inline void loadMatrix(GlContext* context, const double* m) {
  if (context->currentMatrixStack != nullptr) loadTransposed(context->currentMatrixStack->current(), m);
}
inline void loadTransposeMatrix(GlContext* context, const float* m) {
  if (context->currentMatrixStack != nullptr) loadPlain(context->currentMatrixStack->current(), m);
}
inline void loadTransposeMatrix(GlContext* context, const double* m) {
  if (context->currentMatrixStack != nullptr) loadPlain(context->currentMatrixStack->current(), m);
}
void multMatrix(GlContext* context, const float* m);
void multMatrix(GlContext* context, const double* m);
void multTransposeMatrix(GlContext* context, const float* m);
void multTransposeMatrix(GlContext* context, const double* m);
void frustum(GlContext* context, double left, double right, double bottom, double top, double nearValue, double farValue);
void ortho(GlContext* context, double left, double right, double bottom, double top, double nearValue, double farValue);
void rotate(GlContext* context, double angle, double x, double y, double z);
void scale(GlContext* context, double x, double y, double z);
void translate(GlContext* context, double x, double y, double z);
// The first push of a stack asks for its limit. Past the limit nothing happens: the host reports the overflow.
template <typename AskLimit>
inline void pushMatrix(GlContext* context, AskLimit&& askLimit) {
  if (context->currentMatrixStack != nullptr) context->currentMatrixStack->push(askLimit);
}
inline void popMatrix(GlContext* context) {
  if (context->currentMatrixStack != nullptr) context->currentMatrixStack->pop();
}

}  // namespace qv
