// Drawing: the driver with a current context on a window of the simulated Windows, for benchmarks.
#pragma once

#include <cstdlib>

#include "loader/opengl32/opengl32.h"
#include "platform/simulated/control.h"

namespace qv::bench {

class Drawing {
 public:
  // In front of `link`.
  explicit Drawing(sim::GpuLink* link, const sim::WindowOptions& window = {}) {
    sim::reset();
    sim::setGpuLink(link);
    if (!loader::loadDriver()) std::abort();
    hdc = GetDC(sim::createWindow(window));
    loader::wglSetPixelFormat(hdc, 4, nullptr);
    context_ = loader::wglCreateContext(hdc);
    if (!loader::wglMakeCurrent(hdc, context_)) std::abort();
  }
  ~Drawing() {
    loader::wglMakeCurrent(nullptr, nullptr);
    loader::wglDeleteContext(context_);
    loader::unloadDriver();
    sim::reset();
  }
  HDC hdc;

 private:
  HGLRC context_;
};

}  // namespace qv::bench
