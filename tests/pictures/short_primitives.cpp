// Many short strips, fans, loops and polygons, a glBegin each, in the states that tell them from separate primitives.
#include "picture.h"

namespace {

void primitive(GLenum mode, float x, float y, int vertices) {
  glBegin(mode);
  for (int i = 0; i < vertices; ++i) {
    const float part = static_cast<float>(i) / static_cast<float>(vertices);
    glColor3f(part, 1.0f - part, 0.3f);
    if (mode == GL_TRIANGLE_FAN || mode == GL_LINE_LOOP || mode == GL_POLYGON) {
      glVertex2f(x + 16.0f * (part < 0.5f ? 2.0f * part : 2.0f - 2.0f * part), y + (part < 0.25f || part > 0.75f ? 0.0f : 14.0f));
    } else {
      glVertex2f(x + 5.0f * static_cast<float>(i / 2), y + 13.0f * static_cast<float>(i % 2));
    }
  }
  glEnd();
}

void rowsOf(GLenum mode, float y) {
  for (int i = 0; i < 12; ++i) primitive(mode, 4.0f + 19.3f * static_cast<float>(i), y, 5 + i % 2);
}

void draw(int) {
  glClearColor(0.9f, 0.9f, 1.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0.0, 240.0, 0.0, 180.0, -1.0, 1.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  const GLenum modes[] = {GL_TRIANGLE_STRIP, GL_TRIANGLE_FAN, GL_LINE_STRIP, GL_LINE_LOOP, GL_QUAD_STRIP, GL_POLYGON};
  float y = 2.0f;
  for (const GLenum mode : modes) rowsOf(mode, y), y += 16.0f;
  glShadeModel(GL_FLAT);
  for (int i = 0; i < 4; ++i) rowsOf(modes[i], y), y += 16.0f;
  glShadeModel(GL_SMOOTH);
  glEnable(GL_LINE_STIPPLE);
  glLineStipple(1, 0x3F07);
  rowsOf(GL_LINE_LOOP, y);
  glDisable(GL_LINE_STIPPLE);
}

}  // namespace

extern const Picture kPicture{.frames = 2, .init = nullptr, .draw = draw};
