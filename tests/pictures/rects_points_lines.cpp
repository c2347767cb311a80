// glRect in all its types, points and lines of several sizes and stipples, polygon modes.
#include "picture.h"

namespace {

void draw(int) {
  glClearColor(1.0f, 1.0f, 0.9f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0.0, 240.0, 0.0, 180.0, -1.0, 1.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();

  glColor3f(0.8f, 0.0f, 0.0f);
  glRectf(10.0f, 10.0f, 50.0f, 40.0f);
  glColor3ub(0, 128, 0);
  glRecti(60, 10, 100, 40);
  glColor3us(0, 0, 65535);
  glRects(110, 10, 150, 40);
  glColor4d(0.5, 0.0, 0.5, 1.0);
  glRectd(160.5, 10.5, 200.25, 40.75);
  const GLfloat from[] = {205.0f, 10.0f}, to[] = {235.0f, 40.0f};
  glColor3f(0.0f, 0.5f, 0.5f);
  glRectfv(from, to);
  const GLint a[] = {10, 50}, b[] = {50, 60};
  glRectiv(a, b);

  for (int i = 1; i < 10; ++i) {
    glPointSize(static_cast<float>(i));
    glBegin(GL_POINTS);
    glColor3f(0.1f * static_cast<float>(i), 0.2f, 0.4f);
    glVertex2i(20 * i, 75);
    glVertex2f(20.0f * static_cast<float>(i) + 8.3f, 84.6f);
    glEnd();
  }
  glPointSize(1.0f);
  for (int i = 1; i < 6; ++i) {
    glLineWidth(static_cast<float>(i));
    glColor3f(0.0f, 0.15f * static_cast<float>(i), 0.7f);
    glBegin(GL_LINES);
    glVertex2i(10, 90 + 6 * i);
    glVertex2i(110, 95 + 8 * i);
    glEnd();
  }
  glLineWidth(1.0f);
  glEnable(GL_LINE_STIPPLE);
  glColor3f(0.0f, 0.0f, 0.0f);
  for (int i = 1; i < 6; ++i) {
    glLineStipple(i, static_cast<GLushort>(0x0F35 << i));
    glBegin(GL_LINE_STRIP);
    glVertex2i(120, 90 + 6 * i);
    glVertex2i(180, 100 + 6 * i);
    glVertex2i(235, 92 + 6 * i);
    glEnd();
  }
  glDisable(GL_LINE_STIPPLE);
  for (int i = 0; i < 3; ++i) {
    constexpr GLenum kModes[] = {GL_FILL, GL_LINE, GL_POINT};
    glPolygonMode(GL_FRONT_AND_BACK, kModes[i]);
    glBegin(GL_TRIANGLE_FAN);
    glColor3f(1.0f, 0.3f, 0.0f);
    glVertex2i(40 + 75 * i, 155);
    glVertex2i(70 + 75 * i, 150);
    glVertex2i(55 + 75 * i, 175);
    glVertex2i(25 + 75 * i, 172);
    glVertex2i(12 + 75 * i, 148);
    glEnd();
  }
  glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
}

}  // namespace

extern const Picture kPicture{.frames = 2, .init = nullptr, .draw = draw};
