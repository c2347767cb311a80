// The register of drawables, by id and by window.
#include "loader/glx/drawables.h"

#include <X11/Xlib.h>

#include <map>
#include <mutex>
#include <unordered_map>

#include "loader/glx/screens.h"
#include "loader/glx/x_error.h"
#include "loader/opengl32/opengl32.h"
#include "platform/simulated/control.h"

namespace qv::loader {
namespace {

std::mutex mutex;
struct Register {
  std::map<std::pair<XServer*, GLXDrawable>, DrawablePtr> byId;
  std::unordered_map<HWND, DrawablePtr> byWindow;
};
// Never destroyed: presents may come until the process ends.
Register& drawables() {
  static auto* const known = new Register;
  return *known;
}

RECT rectOf(const WindowGeometry& geometry) {
  return {geometry.x, geometry.y, geometry.x + static_cast<LONG>(geometry.width),
          geometry.y + static_cast<LONG>(geometry.height)};
}

// Makes the window and enters the drawable. Null when the driver refuses the format.
DrawablePtr enter(std::shared_ptr<Drawable> drawable, const WindowGeometry& geometry) {
  sim::WindowOptions options;
  options.client = rectOf(geometry);
  // A window that is not visible is never presented by a flush; pictures of a pixmap have to get there all the same.
  options.visible = drawable->kind != DrawableKind::Pbuffer && geometry.mapped;
  // X windows belong to no thread.
  options.anyThread = true;
  drawable->window = sim::createWindow(options);
  drawable->hdc = GetDC(drawable->window);
  drawable->width = geometry.width;
  drawable->height = geometry.height;
  if (!wglSetPixelFormat(drawable->hdc, drawable->config->format, nullptr)) {
    ReleaseDC(drawable->window, drawable->hdc);
    sim::destroyWindow(drawable->window);
    return nullptr;
  }
  const std::lock_guard hold(mutex);
  drawables().byId[{drawable->server, drawable->id}] = drawable;
  drawables().byWindow[drawable->window] = drawable;
  return drawable;
}

}  // namespace

DrawablePtr findDrawable(XServer* server, GLXDrawable id) {
  const std::lock_guard hold(mutex);
  const auto at = drawables().byId.find({server, id});
  return at == drawables().byId.end() ? nullptr : at->second;
}

DrawablePtr drawableOfWindow(HWND window) {
  const std::lock_guard hold(mutex);
  const auto at = drawables().byWindow.find(window);
  return at == drawables().byWindow.end() ? nullptr : at->second;
}

namespace {

DrawablePtr makeForTarget(Display* display, GLXDrawable id, DrawableKind kind, xcb_drawable_t target, const FbConfig* config) {
  XServer* const server = serverOf(display);
  if (!server) return nullptr;
  // What the program has asked of the server so far, the creation of this drawable perhaps, must have been done when our own
  // connection asks about it.
  XSync(display, False);
  auto drawable = std::make_shared<Drawable>();
  drawable->id = id;
  drawable->kind = kind;
  drawable->server = server;
  drawable->target = target;
  drawable->config = config;
  WindowGeometry geometry;
  xcb_visualid_t visual = 0;
  if (!server->query(target, &geometry, &drawable->depth, &visual)) return nullptr;
  if (!server->takesPixels(drawable->depth)) return nullptr;
  if (kind == DrawableKind::Window && (!visual || !server->watch(target, &geometry))) return nullptr;
  return enter(std::move(drawable), geometry);
}

}  // namespace

DrawablePtr adoptWindow(Display* display, GLXDrawable id, const FbConfig* config) {
  return makeForTarget(display, id, DrawableKind::Window, static_cast<xcb_drawable_t>(id), config);
}

DrawablePtr createForTarget(Display* display, DrawableKind kind, xcb_drawable_t target, const FbConfig* config) {
  return makeForTarget(display, allocateId(display), kind, target, config);
}

DrawablePtr createPbuffer(Display* display, const FbConfig* config, uint32_t width, uint32_t height) {
  auto drawable = std::make_shared<Drawable>();
  drawable->id = allocateId(display);
  drawable->kind = DrawableKind::Pbuffer;
  drawable->server = serverOf(display);
  drawable->config = config;
  WindowGeometry geometry;
  geometry.width = width;
  geometry.height = height;
  return drawable->server ? enter(std::move(drawable), geometry) : nullptr;
}

void destroyDrawable(const DrawablePtr& drawable) {
  {
    const std::lock_guard hold(mutex);
    drawables().byId.erase({drawable->server, drawable->id});
    if (!drawables().byWindow.erase(drawable->window)) return;
  }
  if (drawable->kind == DrawableKind::Window) drawable->server->unwatch(drawable->target);
  // The driver hears of it by the message that the window's end sends, and a context that still has it current finds out when
  // it next flushes.
  sim::destroyWindow(drawable->window);
}

bool refreshDrawable(Display* display, const DrawablePtr& drawable) {
  if (drawable->kind != DrawableKind::Window) return true;
  WindowGeometry geometry;
  if (drawable->requestsSeen.load(std::memory_order_relaxed) != NextRequest(display)) {
    // One round trip on the program's connection, so that the server has done what was asked there, and one on ours, so that
    // its events are here.
    XSync(display, False);
    drawable->server->synchronise();
    drawable->requestsSeen.store(NextRequest(display), std::memory_order_relaxed);
  }
  if (!drawable->server->takeChange(drawable->target, &geometry)) return sim::isAlive(drawable->window);
  if (!geometry.exists) {
    destroyDrawable(drawable);
    return false;
  }
  drawable->width = geometry.width;
  drawable->height = geometry.height;
  sim::placeWindow(drawable->window, rectOf(geometry));
  sim::showWindow(drawable->window, geometry.mapped);
  return true;
}

}  // namespace qv::loader
