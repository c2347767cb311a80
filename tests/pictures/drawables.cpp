// Drawables of GLX 1.3: an FB config, a GLXWindow, a GLXPixmap copied into another window, a GLXPbuffer that is drawn to and
// thrown away, and a second connection to the display that draws into the first one's window.
#include <GL/gl.h>

#include <cstdio>

#include "picture_x11.h"

namespace {

constexpr int kSize = 96;

void scene(float red) {
  glViewport(0, 0, kSize, kSize);
  glClearColor(red, 0.2f, 0.3f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glBegin(GL_TRIANGLES);
  glColor3f(1.0f, 1.0f, red);
  glVertex2f(-0.8f, -0.8f);
  glColor3f(0.0f, red, 1.0f);
  glVertex2f(0.8f, -0.6f);
  glColor3f(red, 1.0f, 0.0f);
  glVertex2f(0.0f, 0.9f);
  glEnd();
}

GLXFBConfig chooseConfig(Display* display, int doubleBuffer, int drawableType) {
  const int attributes[] = {GLX_DRAWABLE_TYPE,
                            drawableType,
                            GLX_RENDER_TYPE,
                            GLX_RGBA_BIT,
                            GLX_DOUBLEBUFFER,
                            doubleBuffer,
                            GLX_RED_SIZE,
                            8,
                            GLX_GREEN_SIZE,
                            8,
                            GLX_BLUE_SIZE,
                            8,
                            GLX_DEPTH_SIZE,
                            24,
                            None};
  int count = 0;
  GLXFBConfig* const configs = glXChooseFBConfig(display, DefaultScreen(display), attributes, &count);
  if (!configs || !count) fail("no FB config");
  // The first whose pixels are those of the default visual; wider ones come before it where there are any.
  GLXFBConfig best = nullptr;
  for (int i = count - 1; i >= 0; --i) {
    int red = 0;
    glXGetFBConfigAttrib(display, configs[i], GLX_RED_SIZE, &red);
    if (red == 8) best = configs[i];
  }
  XFree(configs);
  if (!best) fail("no FB config of 8 bits");
  return best;
}

void expect(bool holds, const char* what) {
  if (!holds) std::printf("not so: %s\n", what);
}

unsigned drawableValue(Display* display, GLXDrawable drawable, int attribute) {
  unsigned value = 0;
  glXQueryDrawable(display, drawable, attribute, &value);
  return value;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) fail("usage: PROGRAM OUTPUT.ppm");
  Display* const display = XOpenDisplay(nullptr);
  Display* const other = XOpenDisplay(nullptr);
  if (!display || !other) fail("no display");

  // A GLXWindow.
  GLXFBConfig const config = chooseConfig(display, True, GLX_WINDOW_BIT);
  XVisualInfo* const visual = glXGetVisualFromFBConfig(display, config);
  if (!visual) fail("no visual");
  const Window window = openWindow(display, visual, 0, 0, kSize, kSize);
  const GLXWindow glxWindow = glXCreateWindow(display, config, window, nullptr);
  GLXContext const context = glXCreateNewContext(display, config, GLX_RGBA_TYPE, nullptr, True);
  if (!context || !glXMakeContextCurrent(display, glxWindow, glxWindow, context)) fail("glXMakeContextCurrent failed");
  expect(drawableValue(display, glxWindow, GLX_WIDTH) == kSize, "width of the GLXWindow");
  expect(glXGetCurrentDrawable() == glxWindow, "current drawable");
  scene(0.8f);
  glXSwapBuffers(display, glxWindow);
  glXWaitGL();
  std::string pixels = windowPixels(display, window, kSize, kSize);

  // A pixmap, single-buffered: what is drawn is there after glFlush and glXWaitGL.
  GLXFBConfig const single = chooseConfig(display, False, GLX_PIXMAP_BIT);
  const Window root = DefaultRootWindow(display);
  const Pixmap pixmap =
      XCreatePixmap(display, root, kSize, kSize, static_cast<unsigned>(DefaultDepth(display, DefaultScreen(display))));
  const GLXPixmap glxPixmap = glXCreatePixmap(display, single, pixmap, nullptr);
  GLXContext const pixmapContext = glXCreateNewContext(display, single, GLX_RGBA_TYPE, nullptr, True);
  if (!glXMakeContextCurrent(display, glxPixmap, glxPixmap, pixmapContext)) fail("glXMakeContextCurrent of the pixmap failed");
  expect(drawableValue(display, glxPixmap, GLX_HEIGHT) == kSize, "height of the GLXPixmap");
  scene(0.4f);
  glFlush();
  glXWaitGL();
  XGCValues values{};
  GC const gc = XCreateGC(display, window, 0, &values);
  XCopyArea(display, pixmap, window, gc, 0, 0, kSize, kSize, 0, 0);
  pixels += windowPixels(display, window, kSize, kSize);

  // A pbuffer; nothing of it is seen, but it can be made, asked, drawn to and destroyed.
  GLXFBConfig const off = chooseConfig(display, False, GLX_PBUFFER_BIT);
  const int size[] = {GLX_PBUFFER_WIDTH, 70, GLX_PBUFFER_HEIGHT, 50, None};
  const GLXPbuffer pbuffer = glXCreatePbuffer(display, off, size);
  GLXContext const pbufferContext = glXCreateNewContext(display, off, GLX_RGBA_TYPE, nullptr, True);
  if (!glXMakeContextCurrent(display, pbuffer, pbuffer, pbufferContext)) fail("glXMakeContextCurrent of the pbuffer failed");
  expect(drawableValue(display, pbuffer, GLX_WIDTH) == 70, "width of the GLXPbuffer");
  expect(drawableValue(display, pbuffer, GLX_HEIGHT) == 50, "height of the GLXPbuffer");
  GLint viewport[4] = {};
  glGetIntegerv(GL_VIEWPORT, viewport);
  expect(viewport[2] == 70 && viewport[3] == 50, "viewport of the GLXPbuffer");
  scene(0.1f);
  glFinish();
  printGlErrors();

  // The first window again, through the second connection and as a plain X window.
  GLXFBConfig const same = chooseConfig(other, True, GLX_WINDOW_BIT);
  const Window plain = openWindow(display, visual, kSize, 0, kSize, kSize);
  GLXContext const second = glXCreateNewContext(other, same, GLX_RGBA_TYPE, nullptr, True);
  if (!glXMakeCurrent(other, plain, second)) fail("glXMakeCurrent through the second connection failed");
  scene(0.6f);
  glXSwapBuffers(other, plain);
  glXWaitGL();
  pixels += windowPixels(display, plain, kSize, kSize);
  printGlErrors();
  glXMakeCurrent(other, None, nullptr);
  // Without a context calls do nothing, those for vertices too.
  glBegin(GL_POINTS);
  glColor3f(1.0f, 1.0f, 1.0f);
  glVertex2f(0.0f, 0.0f);
  glEnd();
  glFlush();
  expect(glGetError() == GL_NO_ERROR, "no error without a context");

  glXDestroyContext(other, second);
  glXDestroyContext(display, pbufferContext);
  glXDestroyContext(display, pixmapContext);
  glXDestroyContext(display, context);
  glXDestroyPbuffer(display, pbuffer);
  glXDestroyPixmap(display, glxPixmap);
  glXDestroyWindow(display, glxWindow);
  XSync(display, False);
  writePpm(argv[1], kSize, 3 * kSize, pixels);
  XCloseDisplay(other);
  XCloseDisplay(display);
  return 0;
}
