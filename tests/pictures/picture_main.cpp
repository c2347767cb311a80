// Common main of the picture programs: one window, one context, N frames, the last one read back from the X window.
// Usage: PROGRAM OUTPUT.ppm. The GL error flags met after the last frame go to standard output, one per line.
#include "picture.h"
#include "picture_x11.h"

int main(int argc, char** argv) {
  if (argc != 2) fail("usage: PROGRAM OUTPUT.ppm");
  Display* const display = XOpenDisplay(nullptr);
  if (!display) fail("no display");
  XVisualInfo* const visual = chooseVisual(display);
  GLXContext const context = glXCreateContext(display, visual, nullptr, True);
  if (!context) fail("no context");
  const Window window = openWindow(display, visual, 0, 0, kPicture.width, kPicture.height);
  if (!glXMakeCurrent(display, window, context)) fail("glXMakeCurrent failed");

  if (kPicture.init) kPicture.init();
  for (int frame = 0; frame < kPicture.frames; ++frame) {
    kPicture.draw(frame);
    glXSwapBuffers(display, window);
  }
  glXWaitGL();
  printGlErrors();
  writePpm(argv[1], kPicture.width, kPicture.height, windowPixels(display, window, kPicture.width, kPicture.height));
  glXMakeCurrent(display, None, nullptr);
  glXDestroyContext(display, context);
  XDestroyWindow(display, window);
  XFree(visual);
  XCloseDisplay(display);
  return 0;
}
