// The register of contexts and the current one of each thread.
#include "loader/glx/contexts.h"

#include <mutex>
#include <unordered_map>

#include "driver/base/wgl_api.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader {
namespace {

std::mutex mutex;
std::unordered_map<GLXContext, std::unique_ptr<GlxContext>>& contexts() {
  // Never destroyed: threads may end after the static state of this library is gone.
  static auto* const known = new std::unordered_map<GLXContext, std::unique_ptr<GlxContext>>;
  return *known;
}

void released(GlxContext* context);

// A thread that ends gives its context back.
struct ThreadCurrent : CurrentGlx {
  // The WGL layer's own record of the thread is touched first, so that it is still there when this one ends.
  ThreadCurrent() { wglGetCurrentContext(); }
  ~ThreadCurrent() {
    if (!context) return;
    wglMakeCurrent(nullptr, nullptr);
    released(context);
  }
};
thread_local ThreadCurrent current;

void setCurrent(Display* display, GlxContext* context, const DrawablePtr& draw) {
  current.display = display;
  current.context = context;
  current.draw = draw;
}

void forget(GlxContext* context) {
  HGLRC const handle = context->handle;
  {
    const std::lock_guard hold(mutex);
    contexts().erase(reinterpret_cast<GLXContext>(context));
  }
  wglDeleteContext(handle);
}

void released(GlxContext* context) {
  if (!context) return;
  bool destroyed = false;
  {
    const std::lock_guard hold(mutex);
    context->current = false;
    destroyed = context->destroyed;
  }
  if (destroyed) forget(context);
}

}  // namespace

GlxContext* findContext(GLXContext handle) {
  const std::lock_guard hold(mutex);
  const auto at = contexts().find(handle);
  return at == contexts().end() ? nullptr : at->second.get();
}

GLXContext addContext(HGLRC handle, const FbConfig* config) {
  auto context = std::make_unique<GlxContext>();
  context->handle = handle;
  context->config = config;
  const auto name = reinterpret_cast<GLXContext>(context.get());
  const std::lock_guard hold(mutex);
  contexts().emplace(name, std::move(context));
  return name;
}

void destroyContext(GLXContext handle) {
  GlxContext* const context = findContext(handle);
  if (!context) return;
  {
    const std::lock_guard hold(mutex);
    context->destroyed = true;
    if (context->current) return;
  }
  forget(context);
}

const CurrentGlx& currentGlx() { return current; }

bool makeCurrent(Display* display, GlxContext* context, const DrawablePtr& draw) {
  GlxContext* const former = current.context;
  if (!context) {
    wglMakeCurrent(nullptr, nullptr);
    setCurrent(nullptr, nullptr, nullptr);
    released(former);
    return true;
  }
  if (!wglMakeCurrent(draw->hdc, context->handle)) {
    // Depending on what failed, the former context may or may not have been released.
    if (former && wglGetCurrentContext() != former->handle) {
      setCurrent(nullptr, nullptr, nullptr);
      released(former);
    }
    return false;
  }
  {
    const std::lock_guard hold(mutex);
    context->current = true;
  }
  setCurrent(display, context, draw);
  if (former != context) released(former);
  if (draw->swapInterval >= 0) setSwapInterval(draw->swapInterval);
  return true;
}

bool setSwapInterval(int interval) {
  const auto set = reinterpret_cast<PFNWGLSWAPINTERVALEXTPROC>(reinterpret_cast<void*>(driverProcAddress("wglSwapIntervalEXT")));
  return set && set(interval);
}

}  // namespace qv::loader
