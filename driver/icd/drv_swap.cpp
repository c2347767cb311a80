// The exports that end a frame.
#include "driver/base/current_context.h"
#include "driver/base/pixel_formats.h"
#include "driver/host/present.h"
#include "driver/icd/context_registry.h"
#include "driver/icd/drv_exports.h"
#include "driver/state/gl_context.h"
#include "driver/stream/flush.h"

namespace {

// The context whose frame a swap of `hdc` ends, or null. A context that is not current on this thread may be in use on another,
// and no lock guards it: required oddity 61.
qv::GlContext* contextOfSwap(HDC hdc) {
  qv::GlContext* const current = qv::currentContext();
  if (hdc == nullptr) return current;
  const HWND window = WindowFromDC(hdc);
  if (window == nullptr) return nullptr;
  if (current != nullptr && current->window == window) return current;
  return qv::findContextOfWindow(window);
}

}  // namespace

BOOL APIENTRY DrvSwapBuffers(HDC hdc) {
  qv::GlContext* const context = contextOfSwap(hdc);
  if (context == nullptr) return 0;
  qv::markFrameEnd(context);
  qv::flushStream(context, qv::isDoubleBuffered(context->pixelFormatIndex) ? GL_BACK : GL_FRONT, nullptr, 0, nullptr, 0);
  context->flushCount = 0;
  return 1;
}

BOOL APIENTRY DrvSwapLayerBuffers(HDC hdc, UINT) { return DrvSwapBuffers(hdc); }

// Called from within the composition callback, so that the private data is the cookie of the present under way.
BOOL APIENTRY DrvPresentBuffers(HDC, PRESENTBUFFERS* buffers) {
  const auto* const cookie = static_cast<const qv::PresentCookie*>(buffers->pPrivData);
  const uint32_t shareHandle = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(buffers->hSurface));
  qv::presentBuffers(cookie->record, cookie->context, shareHandle, buffers->PresentToken);
  return 1;
}
