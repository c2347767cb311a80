// One triangle by glBegin with a colour at each corner.
#include "picture.h"

static void draw(int) {
  glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glBegin(GL_TRIANGLES);
  glColor3f(1.0f, 0.0f, 0.0f);
  glVertex3f(-0.8f, -0.7f, 0.0f);
  glColor3f(0.0f, 1.0f, 0.0f);
  glVertex3f(0.7f, -0.5f, 0.0f);
  glColor3f(0.0f, 0.0f, 1.0f);
  glVertex3f(0.1f, 0.9f, 0.0f);
  glEnd();
}

extern const Picture kPicture{.draw = draw};
