// Configurations from the driver's pixel formats, and their places on a screen's visuals.
#include "loader/glx/screens.h"

#include <X11/Xutil.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

#include "driver/base/wgl_api.h"
#include "loader/glx/driver_session.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader {
namespace {

constexpr int kFirstConfigId = 0x100;

// In which order formats are given a visual of their own when there are not enough: what programs ask for most comes first.
constexpr int kVisualOrder[] = {4, 3, 2, 1, 8, 7, 10, 9, 12, 11, 14, 13};

FbConfig configOfFormat(int format, int screen) {
  PIXELFORMATDESCRIPTOR row{};
  wglDescribePixelFormat(nullptr, format, sizeof row, &row);
  FbConfig config;
  config.format = format;
  config.id = kFirstConfigId + format;
  config.screen = screen;
  config.doubleBuffer = row.dwFlags & PFD_DOUBLEBUFFER;
  config.window = row.dwFlags & PFD_DRAW_TO_WINDOW;
  config.bufferSize = row.cColorBits;
  config.red = row.cRedBits;
  config.green = row.cGreenBits;
  config.blue = row.cBlueBits;
  config.alpha = row.cAlphaBits;
  config.depth = row.cDepthBits;
  config.stencil = row.cStencilBits;
  config.accum = row.cAccumRedBits;
  config.auxBuffers = row.cAuxBuffers;

  // The rest is told by attribute only, to whoever has a device context.
  const auto query = reinterpret_cast<PFNWGLGETPIXELFORMATATTRIBIVARBPROC>(
      reinterpret_cast<void*>(driverProcAddress("wglGetPixelFormatAttribivARB")));
  const int attributes[] = {WGL_SAMPLES_ARB, WGL_FRAMEBUFFER_SRGB_CAPABLE_ARB, WGL_PIXEL_TYPE_ARB};
  int values[3] = {};
  if (query && query(anyDeviceContext(), format, 0, 3, attributes, values)) {
    config.samples = values[0];
    config.srgb = values[1];
    config.floating = values[2] == WGL_TYPE_RGBA_FLOAT_ARB;
  }
  return config;
}

// Visuals whose pixels are what allocations hold: the default visual first, then as the server lists them.
std::vector<XVisualInfo> usableVisuals(Display* display, int screen, const XServer& server) {
  XVisualInfo pattern{};
  pattern.screen = screen;
  pattern.c_class = TrueColor;
  int count = 0;
  XVisualInfo* const all = XGetVisualInfo(display, VisualScreenMask | VisualClassMask, &pattern, &count);
  std::vector<XVisualInfo> usable;
  for (int i = 0; i < count; ++i) {
    const XVisualInfo& visual = all[i];
    if (visual.red_mask != 0xFF0000 || visual.green_mask != 0xFF00 || visual.blue_mask != 0xFF) continue;
    if ((visual.depth == 24 || visual.depth == 32) && server.takesPixels(visual.depth)) usable.push_back(visual);
  }
  if (all) XFree(all);
  const VisualID preferred = XVisualIDFromVisual(DefaultVisual(display, screen));
  std::stable_sort(usable.begin(), usable.end(), [&](const XVisualInfo& a, const XVisualInfo& b) {
    if ((a.visualid == preferred) != (b.visualid == preferred)) return a.visualid == preferred;
    return a.depth < b.depth;
  });
  return usable;
}

std::unique_ptr<GlxScreen> describe(Display* display, int number, XServer* server) {
  const std::vector<XVisualInfo> visuals = usableVisuals(display, number, *server);
  if (visuals.empty()) return nullptr;
  auto screen = std::make_unique<GlxScreen>();
  screen->number = number;
  screen->server = server;
  const int count = wglDescribePixelFormat(nullptr, 1, 0, nullptr);
  // One array that is never freed: handles are addresses in it.
  FbConfig* const configs = new FbConfig[static_cast<size_t>(count)];
  for (int format = 1; format <= count; ++format) configs[format - 1] = configOfFormat(format, number);

  size_t next = 0;
  for (const int format : kVisualOrder) {
    if (format > count || !configs[format - 1].window) continue;
    FbConfig& config = configs[format - 1];
    // Where visuals run out, a window of the first one does for the remaining formats too.
    const bool own = next < visuals.size();
    const XVisualInfo& visual = visuals[own ? next : 0];
    config.ownsVisual = own;
    config.visualId = visual.visualid;
    config.visualDepth = visual.depth;
    if (own) screen->visuals.emplace_back(visual.visualid, &config);
    ++next;
  }
  const FbConfig* const usual = screen->visuals.front().second;
  for (; next < visuals.size(); ++next) screen->visuals.emplace_back(visuals[next].visualid, usual);
  for (int format = 1; format <= count; ++format) screen->configs.push_back(&configs[format - 1]);
  return screen;
}

std::mutex mutex;

std::map<std::pair<std::string, int>, std::unique_ptr<GlxScreen>>& screens() {
  // Never destroyed: programs may use handles until the process ends.
  static auto* const known = new std::map<std::pair<std::string, int>, std::unique_ptr<GlxScreen>>;
  return *known;
}

}  // namespace

const FbConfig* GlxScreen::configOfVisual(VisualID visual) const {
  const auto at = std::find_if(visuals.begin(), visuals.end(), [&](const auto& entry) { return entry.first == visual; });
  return at == visuals.end() ? nullptr : at->second;
}

XServer* serverOf(Display* display) { return XServer::get(DisplayString(display)); }

const GlxScreen* glxScreen(Display* display, int number) {
  if (number < 0 || number >= ScreenCount(display)) return nullptr;
  const std::pair<std::string, int> key(DisplayString(display), number);
  const std::lock_guard hold(mutex);
  const auto known = screens().find(key);
  if (known != screens().end()) return known->second.get();
  XServer* const server = serverOf(display);
  if (!server || !startDriver(display)) return nullptr;
  return (screens()[key] = describe(display, number, server)).get();
}

bool isFbConfig(const void* handle) {
  const std::lock_guard hold(mutex);
  for (const auto& [key, screen] : screens()) {
    if (!screen) continue;
    for (const FbConfig* config : screen->configs) {
      if (config == handle) return true;
    }
  }
  return false;
}

}  // namespace qv::loader
