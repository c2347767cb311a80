// The set of live contexts, behind one lock that is never held over a call of the driver.
#include "loader/opengl32/contexts.h"

#include <memory>
#include <mutex>
#include <unordered_map>

namespace qv::loader {
namespace {

std::mutex mutex;
// Handles are looked up before they are followed, since a program may pass one that is long gone.
std::unordered_map<HGLRC, std::unique_ptr<RenderingContext>>& contexts() {
  // Never destroyed: threads may still end after the library's own static state is gone.
  static auto* const map = new std::unordered_map<HGLRC, std::unique_ptr<RenderingContext>>;
  return *map;
}

}  // namespace

RenderingContext* findContext(HGLRC handle) {
  const std::lock_guard hold(mutex);
  const auto at = contexts().find(handle);
  return at == contexts().end() ? nullptr : at->second.get();
}

HGLRC addContext(DHGLRC driverContext, int pixelFormat) {
  auto context = std::make_unique<RenderingContext>();
  context->driverContext = driverContext;
  context->pixelFormat = pixelFormat;
  HGLRC const handle = reinterpret_cast<HGLRC>(context.get());
  const std::lock_guard hold(mutex);
  contexts().emplace(handle, std::move(context));
  return handle;
}

void removeContext(HGLRC handle) {
  const std::lock_guard hold(mutex);
  contexts().erase(handle);
}

bool claimContext(HGLRC handle, DWORD thread) {
  const std::lock_guard hold(mutex);
  const auto at = contexts().find(handle);
  if (at == contexts().end()) return false;
  if (at->second->owner && at->second->owner != thread) return false;
  at->second->owner = thread;
  return true;
}

void disclaimContext(HGLRC handle) {
  const std::lock_guard hold(mutex);
  const auto at = contexts().find(handle);
  if (at != contexts().end()) at->second->owner = 0;
}

size_t currentElsewhere(DWORD thread) {
  const std::lock_guard hold(mutex);
  size_t count = 0;
  for (const auto& [handle, context] : contexts()) count += context->owner && context->owner != thread;
  return count;
}

void forgetContexts() {
  const std::lock_guard hold(mutex);
  contexts().clear();
}

}  // namespace qv::loader
