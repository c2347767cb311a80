// Selection and feedback: hit records and feedback values as bars, and the picture behind them.
#include <cmath>

#include "picture.h"

namespace {

GLuint hits[64];
GLfloat values[256];
int row = 0;

void bar(float length, float red, float green, float blue) {
  const int width = static_cast<int>(std::lround(std::fabs(length) * 4.0f)) % 118;
  glEnable(GL_SCISSOR_TEST);
  glScissor(row / 58 * 120 + 1, row % 58 * 3 + 1, 1 + width, 2);
  glClearColor(red, green, blue, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glDisable(GL_SCISSOR_TEST);
  ++row;
}

void triangle(float x, float z) {
  glBegin(GL_TRIANGLES);
  glColor3f(1.0f, 0.5f, 0.0f);
  glVertex3f(x, -0.4f, z);
  glColor3f(0.0f, 0.5f, 1.0f);
  glVertex3f(x + 0.4f, -0.4f, z);
  glVertex3f(x + 0.2f, 0.4f, z);
  glEnd();
}

void scene() {
  for (GLuint name = 0; name < 4; ++name) {
    glPushName(name + 7);
    triangle(-0.9f + 0.4f * static_cast<float>(name), 0.2f * static_cast<float>(name));
    glPushName(100 + name);
    glRectf(-1.0f, -1.0f, -0.8f, -0.8f);
    glPopName();
    glPopName();
  }
}

// Picks and shows the records that belong to the answer, and a few of the words behind them, which must be as they were.
void pick(GLsizei size, float left, float right) {
  for (GLuint& word : hits) word = 5;
  glSelectBuffer(size, hits);
  glRenderMode(GL_SELECT);
  glInitNames();
  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glLoadIdentity();
  glOrtho(left, right, -0.5, 0.5, -1.0, 1.0);
  glMatrixMode(GL_MODELVIEW);
  scene();
  glClear(GL_COLOR_BUFFER_BIT);  // nothing is drawn in this mode
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
  glMatrixMode(GL_MODELVIEW);
  const GLint found = glRenderMode(GL_RENDER);
  bar(static_cast<float>(found), 1.0f, 1.0f, 0.0f);
  GLsizei words = 0;
  for (GLint i = 0; i < found; ++i) words += 3 + static_cast<GLsizei>(hits[words]);
  if (found < 0) words = size;
  for (GLsizei i = 0; i < words + 2 && i < 64; ++i)
    bar(static_cast<float>(hits[i] >> (hits[i] > 1000 ? 28 : 0)), 0.2f, 0.8f, 0.3f);
}

void feedback(GLenum type, GLsizei size) {
  for (GLfloat& value : values) value = 0.25f;
  glFeedbackBuffer(size, type, values);
  glRenderMode(GL_FEEDBACK);
  glPassThrough(11.0f);
  triangle(0.1f, 0.5f);
  glBegin(GL_LINES);
  glVertex2f(-0.5f, 0.0f);
  glVertex2f(0.5f, 0.25f);
  glEnd();
  glPassThrough(3.0f);
  const GLint count = glRenderMode(GL_RENDER);
  bar(static_cast<float>(count), 1.0f, 0.2f, 1.0f);
  const GLint shown = count < 0 ? size : count;
  for (GLint i = 0; i < shown + 1; ++i) bar(values[i] > 1000.0f ? values[i] - 1790.0f : values[i] / 4.0f, 0.3f, 0.4f, 1.0f);
}

void draw(int frame) {
  row = 0;
  glViewport(0, 0, 240, 180);
  glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  scene();
  if (frame == 0) {
    pick(64, -1.0f, 1.0f);
    pick(6, -1.0f, 1.0f);
    pick(64, -0.6f, -0.4f);
    pick(64, 0.95f, 0.99f);
  } else {
    feedback(GL_2D, 256);
    feedback(GL_3D_COLOR, 256);
    feedback(GL_3D, 12);
    bar(glRenderMode(GL_RENDER) == 0 ? 4.0f : 8.0f, 1.0f, 1.0f, 1.0f);
    bar(glGetError() == GL_NO_ERROR ? 4.0f : 8.0f, 1.0f, 1.0f, 1.0f);
    glRenderMode(GL_POINTS);
    bar(glGetError() == GL_INVALID_ENUM ? 4.0f : 8.0f, 1.0f, 1.0f, 1.0f);
  }
}

}  // namespace

extern const Picture kPicture{.frames = 2, .draw = draw};
