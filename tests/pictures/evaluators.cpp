// Evaluators: a lit Bezier patch as a mesh, curves with strides of their own, maps of colours and in lists, and what GL answers
// of them.
#include "picture.h"

namespace {

constexpr GLfloat kPatch[4][4][3] = {{{-1.5f, -1.5f, 4.0f}, {-0.5f, -1.5f, 2.0f}, {0.5f, -1.5f, -1.0f}, {1.5f, -1.5f, 2.0f}},
                                     {{-1.5f, -0.5f, 1.0f}, {-0.5f, -0.5f, 3.0f}, {0.5f, -0.5f, 0.0f}, {1.5f, -0.5f, -1.0f}},
                                     {{-1.5f, 0.5f, 4.0f}, {-0.5f, 0.5f, 0.0f}, {0.5f, 0.5f, 3.0f}, {1.5f, 0.5f, 4.0f}},
                                     {{-1.5f, 1.5f, -2.0f}, {-0.5f, 1.5f, -2.0f}, {0.5f, 1.5f, 0.0f}, {1.5f, 1.5f, -1.0f}}};
// Positions with two numbers of something else behind each.
constexpr GLdouble kCurve[4][5] = {
    {-1.8, -1.0, 0.0, 9.0, 9.0}, {-0.6, 1.8, 0.0, 9.0, 9.0}, {0.6, -1.8, 0.0, 9.0, 9.0}, {1.8, 1.0, 0.0, 9.0, 9.0}};
constexpr GLfloat kColors[3][4] = {{1.0f, 0.0f, 0.0f, 1.0f}, {0.0f, 1.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f, 1.0f}};
GLuint list = 0;

void init() {
  const GLfloat position[] = {0.0f, 0.0f, 2.0f, 1.0f}, blue[] = {0.4f, 0.5f, 0.9f, 1.0f};
  glLightfv(GL_LIGHT0, GL_POSITION, position);
  glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE, blue);
  glEnable(GL_LIGHT0);
  glEnable(GL_DEPTH_TEST);
  glEnable(GL_AUTO_NORMAL);
  glMap2f(GL_MAP2_VERTEX_3, 0.0f, 1.0f, 3, 4, 0.0f, 1.0f, 12, 4, &kPatch[0][0][0]);
  glMapGrid2f(20, 0.0f, 1.0f, 20, 0.0f, 1.0f);
  glMap1d(GL_MAP1_VERTEX_3, 0.0, 1.0, 5, 4, &kCurve[0][0]);
  glMapGrid1d(30, 0.0, 1.0);
  list = glGenLists(1);
  glNewList(list, GL_COMPILE);
  glMap1f(GL_MAP1_COLOR_4, 0.0f, 1.0f, 4, 3, &kColors[0][0]);
  glEnable(GL_MAP1_COLOR_4);
  glEndList();
}

void box(bool on, int at) {
  glEnable(GL_SCISSOR_TEST);
  glScissor(at * 8, 0, 7, 7);
  glClearColor(on ? 1.0f : 0.2f, 0.7f, 0.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glDisable(GL_SCISSOR_TEST);
}

void draw(int frame) {
  glViewport(0, 0, 240, 180);
  glClearColor(0.05f, 0.05f, 0.1f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(-3.0, 3.0, -2.25, 2.25, -6.0, 6.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glRotatef(50.0f + 20.0f * static_cast<float>(frame), 1.0f, 0.7f, 0.2f);
  glScalef(0.8f, 0.8f, 0.5f);
  glEnable(GL_LIGHTING);
  glEnable(GL_MAP2_VERTEX_3);
  glEvalMesh2(frame == 1 ? GL_LINE : GL_FILL, 0, 20, 0, 20);
  glDisable(GL_MAP2_VERTEX_3);
  glDisable(GL_LIGHTING);
  glLoadIdentity();
  glTranslatef(0.0f, 0.0f, 4.0f);
  glColor3f(1.0f, 1.0f, 0.2f);
  glEnable(GL_MAP1_VERTEX_3);
  if (frame == 2) glCallList(list);
  glBegin(GL_LINE_STRIP);
  for (int i = 0; i <= 30; ++i) glEvalCoord1f(static_cast<GLfloat>(i) / 30.0f);
  glEnd();
  glTranslatef(0.0f, -0.4f, 0.0f);
  glPointSize(3.0f);
  glEvalMesh1(GL_POINT, 0, 15);
  glDisable(GL_MAP1_VERTEX_3);
  glDisable(GL_MAP1_COLOR_4);

  // What is wrong is an error and leaves the maps.
  GLint order[2] = {};
  GLfloat back[48] = {};
  int at = 0;
  const auto refused = [&](GLenum error) { box(glGetError() == error, at++); };
  refused(GL_NO_ERROR);
  glMap1f(GL_MAP1_VERTEX_3, 0.0f, 1.0f, 2, 4, &kPatch[0][0][0]);
  refused(GL_INVALID_VALUE);
  glMap1f(GL_MAP1_VERTEX_3, 0.0f, 1.0f, 3, 0, &kPatch[0][0][0]);
  refused(GL_INVALID_VALUE);
  glMap1f(GL_MAP1_VERTEX_3, 1.0f, 1.0f, 3, 4, &kPatch[0][0][0]);
  refused(GL_INVALID_VALUE);
  glMap1f(GL_MAP2_VERTEX_3, 0.0f, 1.0f, 3, 4, &kPatch[0][0][0]);
  refused(GL_INVALID_ENUM);
  glMap2f(GL_TEXTURE_2D, 0.0f, 1.0f, 3, 4, 0.0f, 1.0f, 12, 4, &kPatch[0][0][0]);
  refused(GL_INVALID_ENUM);
  glGetMapiv(GL_MAP2_VERTEX_3, GL_ORDER, order);
  box(order[0] == 4 && order[1] == 4, at++);
  glGetMapfv(GL_MAP2_VERTEX_3, GL_COEFF, back);
  for (int i = 0; i < 48; i += 7) box(back[i] == (&kPatch[0][0][0])[i] || back[i] < 0.0f, at++);
}

}  // namespace

extern const Picture kPicture{.frames = 3, .init = init, .draw = draw};
