// State that lists leave behind: matrices, viewports, capabilities and attribute groups, drawn with and asked for after the
// calls.
#include <cmath>

#include "picture.h"

namespace {

GLuint lists = 0;
int drawn = 0;

void show(bool on) {
  const int x = drawn % 40 * 6, y = drawn / 40 * 6;
  ++drawn;
  glEnable(GL_SCISSOR_TEST);
  glScissor(x, y, 5, 5);
  glClearColor(on ? 1.0f : 0.3f, on ? 1.0f : 0.0f, 0.2f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glDisable(GL_SCISSOR_TEST);
}

// A bar as long as the value says.
void showValue(float value) {
  const int length = static_cast<int>(std::lround(std::fabs(value) * 16.0f)) % 100;
  const int y = 40 + drawn % 40 * 3;
  ++drawn;
  glEnable(GL_SCISSOR_TEST);
  glScissor(2, y, 1 + length, 2);
  glClearColor(value < 0 ? 1.0f : 0.0f, 0.5f, 1.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glDisable(GL_SCISSOR_TEST);
}

void init() {
  lists = glGenLists(12);
  glNewList(lists, GL_COMPILE);
  glRotatef(30.0f, 0.0f, 0.0f, 1.0f);
  glTranslated(0.25, 0.5, 0.0);
  glScalef(0.5f, 0.75f, 1.0f);
  glEndList();
  glNewList(lists + 1, GL_COMPILE);
  glViewport(120, 60, 100, 100);
  glEnable(GL_BLEND);
  glShadeModel(GL_FLAT);
  glDepthFunc(GL_ALWAYS);
  glEndList();
  glNewList(lists + 2, GL_COMPILE);  // nested
  glPushAttrib(GL_VIEWPORT_BIT | GL_ENABLE_BIT | GL_LIGHTING_BIT);
  glCallList(lists + 1);
  glPushMatrix();
  glCallList(lists);
  glRectf(-0.5f, -0.5f, 0.5f, 0.5f);
  glPopMatrix();
  glPopAttrib();
  glEndList();
  glNewList(lists + 3, GL_COMPILE);  // opens a primitive
  glBegin(GL_TRIANGLES);
  glVertex2f(0.0f, 0.0f);
  glEndList();
  glNewList(lists + 4, GL_COMPILE);  // closes it
  glVertex2f(0.3f, 0.8f);
  glEnd();
  glEndList();
  glNewList(lists + 5, GL_COMPILE);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(-2.0, 2.0, -2.0, 2.0, -1.0, 1.0);
  glMatrixMode(GL_MODELVIEW);
  glEndList();
  for (GLuint i = 6; i < 12; ++i) {
    glNewList(lists + i, GL_COMPILE);
    glTranslatef(0.1f, 0.02f * static_cast<float>(i), 0.0f);
    glColor3f(0.15f * static_cast<float>(i) - 0.8f, 0.8f, 0.3f);
    glRectf(0.0f, 0.0f, 0.08f, 0.3f);
    glEndList();
  }
}

void showMatrix(GLenum name) {
  GLfloat matrix[16] = {};
  glGetFloatv(name, matrix);
  for (int i = 0; i < 16; i += 3) showValue(matrix[i]);
  showValue(matrix[13]);
}

void draw(int frame) {
  drawn = 0;
  GLint values[4] = {};
  glViewport(0, 0, 240, 180);
  glDisable(GL_BLEND);
  glShadeModel(GL_SMOOTH);
  glDepthFunc(GL_LESS);
  glClearColor(0.0f, 0.0f, 0.1f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glColor3f(0.9f, 0.4f, 0.1f);

  glCallList(lists + 2);
  show(glIsEnabled(GL_BLEND) == GL_TRUE);
  glGetIntegerv(GL_DEPTH_FUNC, values);
  show(values[0] == GL_ALWAYS);
  glGetIntegerv(GL_VIEWPORT, values);
  show(values[0] == 120);
  if (frame == 1) {
    glCallList(lists + 1);
    glGetIntegerv(GL_VIEWPORT, values);
    show(values[0] == 120);
    show(glIsEnabled(GL_BLEND) == GL_TRUE);
    glViewport(0, 0, 240, 180);
  }
  glCallList(lists);
  glCallList(lists);
  showMatrix(GL_MODELVIEW_MATRIX);
  glLoadIdentity();
  glCallList(lists + 5);
  glGetIntegerv(GL_MATRIX_MODE, values);
  show(values[0] == GL_MODELVIEW);
  showMatrix(GL_PROJECTION_MATRIX);

  // A primitive that one list opens and another closes, with a vertex of the program's between.
  glColor3f(0.2f, 0.9f, 0.9f);
  glCallList(lists + 3);
  glVertex2f(0.6f, 0.1f);
  glCallList(lists + 4);
  show(glGetError() == GL_NO_ERROR);
  // State calls of a list inside a primitive are errors.
  glBegin(GL_LINES);
  glVertex2f(-1.0f, 1.0f);
  glVertex2f(-1.5f, 0.5f);
  glCallList(lists + 1);
  glEnd();
  show(glGetError() == GL_INVALID_OPERATION);
  show(glGetError() == GL_NO_ERROR);

  // Names of several types, from a base.
  glListBase(lists);
  const GLubyte bytes[] = {6, 7};
  const GLushort shorts[] = {8, 9};
  const GLfloat floats[] = {10.5f, 11.0f};
  glTranslatef(-1.5f, -1.5f, 0.0f);
  glCallLists(2, GL_UNSIGNED_BYTE, bytes);
  glCallLists(2, GL_UNSIGNED_SHORT, shorts);
  glCallLists(2, GL_FLOAT, floats);
  glListBase(0);
  showMatrix(GL_MODELVIEW_MATRIX);
  show(glGetError() == GL_NO_ERROR);
}

}  // namespace

extern const Picture kPicture{.frames = 2, .init = init, .draw = draw};
