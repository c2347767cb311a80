// Lit rotating geometry from display lists: a toothed wheel and a ball, two lights, materials, smooth and flat shading.
#include <cmath>

#include "picture.h"

namespace {

constexpr float kPi = 3.14159265f;
GLuint lists = 0;

void wheel(float inner, float outer, float width, int teeth) {
  glShadeModel(GL_FLAT);
  glNormal3f(0.0f, 0.0f, 1.0f);
  glBegin(GL_QUAD_STRIP);
  for (int i = 0; i <= teeth; ++i) {
    const float angle = static_cast<float>(i) * 2.0f * kPi / static_cast<float>(teeth);
    glVertex3f(inner * std::cos(angle), inner * std::sin(angle), width * 0.5f);
    glVertex3f(outer * std::cos(angle), outer * std::sin(angle), width * 0.5f);
  }
  glEnd();
  glBegin(GL_QUAD_STRIP);
  for (int i = 0; i <= 2 * teeth; ++i) {
    const float angle = static_cast<float>(i) * kPi / static_cast<float>(teeth);
    const float reach = i % 2 ? outer : outer * 1.15f;
    glNormal3f(std::cos(angle), std::sin(angle), 0.0f);
    glVertex3f(reach * std::cos(angle), reach * std::sin(angle), width * 0.5f);
    glVertex3f(reach * std::cos(angle), reach * std::sin(angle), -width * 0.5f);
  }
  glEnd();
  glShadeModel(GL_SMOOTH);
  glBegin(GL_QUAD_STRIP);
  for (int i = 0; i <= teeth; ++i) {
    const float angle = static_cast<float>(i) * 2.0f * kPi / static_cast<float>(teeth);
    glNormal3f(-std::cos(angle), -std::sin(angle), 0.0f);
    glVertex3f(inner * std::cos(angle), inner * std::sin(angle), -width * 0.5f);
    glVertex3f(inner * std::cos(angle), inner * std::sin(angle), width * 0.5f);
  }
  glEnd();
}

void ball(int rings, int sides) {
  for (int r = 0; r < rings; ++r) {
    glBegin(GL_TRIANGLE_STRIP);
    for (int s = 0; s <= sides; ++s) {
      for (int k = 1; k >= 0; --k) {
        const float theta = static_cast<float>(r + k) * kPi / static_cast<float>(rings);
        const float phi = static_cast<float>(s) * 2.0f * kPi / static_cast<float>(sides);
        const float x = std::sin(theta) * std::cos(phi), y = std::sin(theta) * std::sin(phi), z = std::cos(theta);
        glNormal3f(x, y, z);
        glVertex3f(x, y, z);
      }
    }
    glEnd();
  }
}

void init() {
  const GLfloat position[] = {5.0f, 5.0f, 10.0f, 0.0f}, second[] = {-4.0f, 0.0f, 6.0f, 1.0f};
  const GLfloat blue[] = {0.3f, 0.3f, 0.9f, 1.0f}, red[] = {0.8f, 0.1f, 0.0f, 1.0f}, green[] = {0.0f, 0.8f, 0.2f, 1.0f};
  const GLfloat white[] = {1.0f, 1.0f, 1.0f, 1.0f};
  glLightfv(GL_LIGHT0, GL_POSITION, position);
  glLightfv(GL_LIGHT1, GL_POSITION, second);
  glLightfv(GL_LIGHT1, GL_DIFFUSE, blue);
  glLightf(GL_LIGHT1, GL_LINEAR_ATTENUATION, 0.1f);
  glEnable(GL_CULL_FACE);
  glEnable(GL_LIGHTING);
  glEnable(GL_LIGHT0);
  glEnable(GL_LIGHT1);
  glEnable(GL_DEPTH_TEST);
  glEnable(GL_NORMALIZE);
  lists = glGenLists(3);
  glNewList(lists, GL_COMPILE);
  glMaterialfv(GL_FRONT, GL_AMBIENT_AND_DIFFUSE, red);
  wheel(1.0f, 3.0f, 1.0f, 20);
  glEndList();
  glNewList(lists + 1, GL_COMPILE);
  glMaterialfv(GL_FRONT, GL_AMBIENT_AND_DIFFUSE, green);
  glMaterialfv(GL_FRONT, GL_SPECULAR, white);
  glMaterialf(GL_FRONT, GL_SHININESS, 30.0f);
  ball(12, 18);
  glEndList();
  glNewList(lists + 2, GL_COMPILE);
  glPushMatrix();
  glTranslatef(-2.0f, -1.0f, 0.0f);
  glCallList(lists);
  glTranslatef(5.0f, 2.0f, 1.0f);
  glScalef(1.5f, 1.5f, 1.5f);
  glCallList(lists + 1);
  glPopMatrix();
  glEndList();
}

void draw(int frame) {
  glViewport(0, 0, 300, 240);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glFrustum(-1.0, 1.0, -0.8, 0.8, 5.0, 60.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glTranslatef(0.0f, 0.0f, -40.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glPushMatrix();
  glRotatef(20.0f, 1.0f, 0.0f, 0.0f);
  glRotatef(30.0f, 0.0f, 1.0f, 0.0f);
  glRotatef(static_cast<float>(frame) * 7.0f, 0.0f, 0.0f, 1.0f);
  glCallList(lists + 2);
  glPopMatrix();
}

}  // namespace

extern const Picture kPicture{.width = 300, .height = 240, .frames = 9, .init = init, .draw = draw};
