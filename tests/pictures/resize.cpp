// A window that the program resizes between frames: the frame after the request must have the new size already.
#include <GL/gl.h>

#include "picture_x11.h"

namespace {

void frame(int width, int height, float angle) {
  glViewport(0, 0, width, height);
  glClearColor(0.1f, 0.3f, 0.1f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glLoadIdentity();
  glRotatef(angle, 0.0f, 0.0f, 1.0f);
  glBegin(GL_QUADS);
  glColor3f(1.0f, 1.0f, 0.0f);
  glVertex2f(-0.6f, -0.6f);
  glVertex2f(0.6f, -0.6f);
  glColor3f(0.0f, 0.0f, 1.0f);
  glVertex2f(0.6f, 0.6f);
  glVertex2f(-0.6f, 0.6f);
  glEnd();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) fail("usage: PROGRAM OUTPUT.ppm");
  Display* const display = XOpenDisplay(nullptr);
  if (!display) fail("no display");
  XVisualInfo* const visual = chooseVisual(display);
  GLXContext const context = glXCreateContext(display, visual, nullptr, True);
  const Window window = openWindow(display, visual, 0, 0, 100, 80);
  if (!context || !glXMakeCurrent(display, window, context)) fail("glXMakeCurrent failed");
  // Grown and shrunk; after each change exactly one frame is drawn and kept.
  constexpr int kSizes[][2] = {{100, 80}, {200, 120}, {64, 150}, {220, 40}, {100, 80}};
  std::string pixels;
  int rows = 0;
  for (const auto& [width, height] : kSizes) {
    XMoveResizeWindow(display, window, width % 7, height % 5, static_cast<unsigned>(width), static_cast<unsigned>(height));
    frame(width, height, static_cast<float>(width));
    glXSwapBuffers(display, window);
    glXWaitGL();
    std::string shown = windowPixels(display, window, width, height);
    // One strip of 220 columns per frame.
    for (int y = 0; y < height; ++y, ++rows) {
      pixels += shown.substr(static_cast<size_t>(y * width * 3), static_cast<size_t>(width * 3));
      pixels.append(static_cast<size_t>((220 - width) * 3), '\0');
    }
  }
  printGlErrors();
  writePpm(argv[1], 220, rows, pixels);
  glXMakeCurrent(display, None, nullptr);
  glXDestroyContext(display, context);
  XCloseDisplay(display);
  return 0;
}
