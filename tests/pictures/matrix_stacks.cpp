// Matrix stacks: nested pushes in modelview and projection, loads and multiplications of both precisions, transposed forms of the
// same matrices by hand, and one push beyond what has been popped.
#include "picture.h"

namespace {

void square(float shade) {
  glColor3f(shade, 1.0f - shade, 0.5f);
  glBegin(GL_QUADS);
  glVertex2f(-0.5f, -0.5f);
  glVertex2f(0.5f, -0.5f);
  glVertex2f(0.5f, 0.5f);
  glVertex2f(-0.5f, 0.5f);
  glEnd();
}

void tree(int depth) {
  square(static_cast<float>(depth) / 6.0f);
  if (!depth) return;
  for (int side = -1; side <= 1; side += 2) {
    glPushMatrix();
    glTranslatef(static_cast<float>(side) * 0.9f, 0.8f, 0.0f);
    glRotatef(static_cast<float>(side) * -25.0f, 0.0f, 0.0f, 1.0f);
    glScalef(0.6f, 0.6f, 1.0f);
    tree(depth - 1);
    glPopMatrix();
  }
}

void draw(int) {
  glClearColor(0.05f, 0.0f, 0.1f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(-3.0, 3.0, -1.5, 3.0, -1.0, 1.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  tree(5);

  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glTranslated(1.5, -0.5, 0.0);
  glMatrixMode(GL_MODELVIEW);
  const GLfloat shear[16] = {1, 0.3f, 0, 0, 0.5f, 1, 0, 0, 0, 0, 1, 0, 0.5f, -0.5f, 0, 1};
  const GLdouble shrink[16] = {0.5, 0, 0, 0, 0, 0.25, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  glPushMatrix();
  glLoadMatrixf(shear);
  square(0.9f);
  glMultMatrixd(shrink);
  square(0.1f);
  glLoadMatrixd(shrink);
  glMultMatrixf(shear);
  glRotated(45.0, 0.0, 0.0, 1.0);
  square(0.4f);
  glPopMatrix();
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
  glMatrixMode(GL_MODELVIEW);
  glTranslatef(-2.2f, -0.8f, 0.0f);
  glScaled(0.7, 0.7, 0.7);
  square(0.7f);
  glPopMatrix();  // one too many: an error, and the matrix stays
  glTranslatef(0.4f, 0.4f, 0.0f);
  square(0.2f);
}

}  // namespace

extern const Picture kPicture{.frames = 2, .init = nullptr, .draw = draw};
