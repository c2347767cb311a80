// Windows, pixels and files of the picture programs.
#include "picture_x11.h"

#include <X11/Xutil.h>

#include <cstdio>
#include <cstdlib>

void fail(const char* what) {
  std::fprintf(stderr, "picture: %s\n", what);
  std::exit(1);
}

XVisualInfo* chooseVisual(Display* display) {
  int attributes[] = {GLX_RGBA,
                      GLX_DOUBLEBUFFER,
                      GLX_RED_SIZE,
                      8,
                      GLX_GREEN_SIZE,
                      8,
                      GLX_BLUE_SIZE,
                      8,
                      GLX_ALPHA_SIZE,
                      8,
                      GLX_DEPTH_SIZE,
                      24,
                      GLX_STENCIL_SIZE,
                      8,
                      None};
  XVisualInfo* const visual = glXChooseVisual(display, DefaultScreen(display), attributes);
  if (!visual) fail("no visual");
  return visual;
}

static Bool isMapNotify(Display*, XEvent* event, XPointer window) {
  return event->type == MapNotify && event->xmap.window == *reinterpret_cast<Window*>(window);
}

Window openWindow(Display* display, const XVisualInfo* visual, int x, int y, int width, int height) {
  XSetWindowAttributes set{};
  set.colormap = XCreateColormap(display, RootWindow(display, visual->screen), visual->visual, AllocNone);
  set.event_mask = StructureNotifyMask;
  set.override_redirect = True;
  Window window = XCreateWindow(display, RootWindow(display, visual->screen), x, y, static_cast<unsigned>(width),
                                static_cast<unsigned>(height), 0, visual->depth, InputOutput, visual->visual,
                                CWColormap | CWEventMask | CWOverrideRedirect, &set);
  XMapWindow(display, window);
  XEvent event;
  XIfEvent(display, &event, isMapNotify, reinterpret_cast<XPointer>(&window));
  return window;
}

std::string windowPixels(Display* display, Window window, int width, int height) {
  XImage* const image =
      XGetImage(display, window, 0, 0, static_cast<unsigned>(width), static_cast<unsigned>(height), AllPlanes, ZPixmap);
  if (!image) fail("XGetImage failed");
  std::string pixels;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const unsigned long pixel = XGetPixel(image, x, y);
      for (int shift = 16; shift >= 0; shift -= 8) pixels += static_cast<char>(pixel >> shift & 255);
    }
  }
  XDestroyImage(image);
  return pixels;
}

void writePpm(const char* path, int width, int height, const std::string& pixels) {
  std::FILE* const file = std::fopen(path, "wb");
  if (!file) fail("cannot write the output file");
  std::fprintf(file, "P6\n%d %d\n255\n", width, height);
  std::fwrite(pixels.data(), 1, pixels.size(), file);
  if (std::fclose(file)) fail("cannot write the output file");
}

void printGlErrors() {
  for (GLenum error = glGetError(); error; error = glGetError()) std::printf("GL error 0x%04x\n", error);
}
