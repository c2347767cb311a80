// Matrix mode and the matrix products of the shadow stacks.
#include "driver/state/matrix.h"

#include <cmath>
#include <cstring>

namespace qv {

namespace {

constexpr Matrix kZero = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};

void multiplyTop(GlContext* context, const Matrix& b) {
  if (context->currentMatrixStack != nullptr) multiply(context->currentMatrixStack->current(), b);
}

}  // namespace

void setMatrixMode(GlContext* context, uint32_t mode) {
  context->transform.current().matrixMode = mode;
  switch (mode) {
    case GL_MODELVIEW:
      context->currentMatrixStack = &context->modelview;
      break;
    case GL_PROJECTION:
      context->currentMatrixStack = &context->projection;
      break;
    case GL_TEXTURE:
      context->currentMatrixStack = context->textureMatrices[context->activeTextureUnit];
      break;
    case GL_COLOR:
      context->currentMatrixStack = &context->color;
      break;
    default:
      context->currentMatrixStack = nullptr;
  }
}

void multiply(Matrix& a, const Matrix& b) {
  // Row i of the product depends on row i of `a` alone, so four running sums replace it in place.
  for (uint32_t i = 0; i < 4; ++i) {
    double sum[4] = {0.0, 0.0, 0.0, 0.0};
    for (uint32_t k = 0; k < 4; ++k) {
      for (uint32_t j = 0; j < 4; ++j) sum[j] += a.m[4 * i + k] * b.m[4 * k + j];
    }
    std::memcpy(a.m + 4 * i, sum, sizeof sum);
  }
}

void multMatrix(GlContext* context, const float* m) {
  Matrix b;
  loadTransposed(b, m);
  multiplyTop(context, b);
}

void multMatrix(GlContext* context, const double* m) {
  Matrix b;
  loadTransposed(b, m);
  multiplyTop(context, b);
}

void multTransposeMatrix(GlContext* context, const float* m) {
  Matrix b;
  loadPlain(b, m);
  multiplyTop(context, b);
}

void multTransposeMatrix(GlContext* context, const double* m) {
  Matrix b;
  loadPlain(b, m);
  multiplyTop(context, b);
}

// No argument of the following is checked: a singular frustum gives infinities here, and the host raises the error.

void frustum(GlContext* context, double l, double r, double b, double t, double n, double f) {
  Matrix p = kZero;
  p.m[0] = 2 * n / (r - l);
  p.m[5] = 2 * n / (t - b);
  p.m[2] = (l + r) / (r - l);
  p.m[6] = (b + t) / (t - b);
  p.m[10] = -(n + f) / (f - n);
  p.m[11] = f * -2.0 * n / (f - n);
  p.m[14] = -1.0;
  multiplyTop(context, p);
}

void ortho(GlContext* context, double l, double r, double b, double t, double n, double f) {
  Matrix p = kZero;
  p.m[0] = 2 / (r - l);
  p.m[5] = 2 / (t - b);
  p.m[10] = -2 / (f - n);
  p.m[3] = -(l + r) / (r - l);
  p.m[7] = -(b + t) / (t - b);
  p.m[11] = -(n + f) / (f - n);
  p.m[15] = 1.0;
  multiplyTop(context, p);
}

void rotate(GlContext* context, double angle, double x, double y, double z) {
  Matrix p;
  const double length = std::sqrt(x * x + y * y + z * z);
  if (length != 0.0) {
    x /= length;
    y /= length;
    z /= length;
    const double s = std::sin(angle * 3.141592653589793 / 180.0);
    const double c = std::cos(angle * 3.141592653589793 / 180.0);
    const double u = 1 - c;
    p.m[0] = x * x * u + c;
    p.m[5] = y * y * u + c;
    p.m[10] = z * z * u + c;
    p.m[1] = y * x * u - s * z;
    p.m[4] = y * x * u + s * z;
    p.m[2] = z * x * u + s * y;
    p.m[8] = z * x * u - s * y;
    p.m[6] = z * y * u - s * x;
    p.m[9] = z * y * u + s * x;
  }
  multiplyTop(context, p);
}

void scale(GlContext* context, double x, double y, double z) {
  Matrix p;
  p.m[0] = x;
  p.m[5] = y;
  p.m[10] = z;
  multiplyTop(context, p);
}

void translate(GlContext* context, double x, double y, double z) {
  Matrix p;
  p.m[3] = x;
  p.m[7] = y;
  p.m[11] = z;
  multiplyTop(context, p);
}

}  // namespace qv
