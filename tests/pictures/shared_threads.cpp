// Two threads, each with a window and a context of its own; the contexts share display lists. One list is made before the threads
// start and one by each thread, and both are called by both. The file has the two windows side by side.
#include <GL/gl.h>

#include <barrier>
#include <thread>

#include "picture_x11.h"

namespace {

constexpr int kWidth = 160, kHeight = 160, kFrames = 40;

void shape(float size, int corners) {
  glBegin(GL_TRIANGLE_FAN);
  for (int i = 0; i < corners; ++i) {
    glColor3f(static_cast<float>(i) / static_cast<float>(corners), 0.5f, 1.0f - size);
    glVertex2f(i % 2 ? size : -size * static_cast<float>(i) / 7.0f, i / 2 % 2 ? size : -size);
  }
  glEnd();
}

struct Shared {
  Display* display;
  GLuint first;  // made by the main thread; the two after it by the threads
  std::barrier<> listsMade{2};
};

void drawAll(Shared* shared, int which, Window window, GLXContext context) {
  if (!glXMakeCurrent(shared->display, window, context)) fail("glXMakeCurrent failed");
  glNewList(shared->first + 1 + static_cast<GLuint>(which), GL_COMPILE);
  shape(0.3f + 0.2f * static_cast<float>(which), 5 + which);
  glEndList();
  // The other thread may call the list only when the commands that made it have been carried out.
  glFinish();
  GLint viewport[4];
  glGetIntegerv(GL_VIEWPORT, viewport);
  glGetError();
  shared->listsMade.arrive_and_wait();
  for (int frame = 0; frame < kFrames; ++frame) {
    glClearColor(0.1f, 0.1f * static_cast<float>(which), 0.2f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    for (int i = 0; i < 3; ++i) {
      glPushMatrix();
      glRotatef(static_cast<float>(5 * frame + 40 * i), 0.0f, 0.0f, 1.0f);
      glTranslatef(0.3f * static_cast<float>(i), 0.1f, 0.0f);
      glCallList(shared->first + static_cast<GLuint>((i + which) % 3));
      glPopMatrix();
    }
    glXSwapBuffers(shared->display, window);
  }
  glXWaitGL();
  glXMakeCurrent(shared->display, None, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) fail("usage: PROGRAM OUTPUT.ppm");
  XInitThreads();
  Display* const display = XOpenDisplay(nullptr);
  if (!display) fail("no display");
  XVisualInfo* const visual = chooseVisual(display);
  GLXContext const first = glXCreateContext(display, visual, nullptr, True);
  GLXContext const second = first ? glXCreateContext(display, visual, first, True) : nullptr;
  if (!second) fail("no context");
  const Window windows[2] = {openWindow(display, visual, 0, 0, kWidth, kHeight),
                             openWindow(display, visual, kWidth, 0, kWidth, kHeight)};
  if (!glXMakeCurrent(display, windows[0], first)) fail("glXMakeCurrent failed");
  Shared shared{display, glGenLists(3)};
  glNewList(shared.first, GL_COMPILE);
  shape(0.2f, 6);
  glEndList();
  printGlErrors();
  glXMakeCurrent(display, None, nullptr);

  std::thread one(drawAll, &shared, 0, windows[0], first);
  std::thread two(drawAll, &shared, 1, windows[1], second);
  one.join();
  two.join();

  const std::string left = windowPixels(display, windows[0], kWidth, kHeight);
  const std::string right = windowPixels(display, windows[1], kWidth, kHeight);
  std::string both;
  for (size_t row = 0; row < kHeight; ++row) {
    both += left.substr(row * kWidth * 3, kWidth * 3);
    both += right.substr(row * kWidth * 3, kWidth * 3);
  }
  writePpm(argv[1], 2 * kWidth, kHeight, both);
  glXDestroyContext(display, second);
  glXDestroyContext(display, first);
  XCloseDisplay(display);
  return 0;
}
