// Per-fragment state: depth functions, alpha and stencil tests, blending, logic operations, fog, culling, and pushed attributes.
#include "picture.h"

namespace {

void quad(float x, float y, float z, float size) {
  glBegin(GL_QUADS);
  glVertex3f(x, y, z);
  glVertex3f(x + size, y, z);
  glVertex3f(x + size, y + size, z);
  glVertex3f(x, y + size, z);
  glEnd();
}

void draw(int) {
  glClearColor(0.2f, 0.2f, 0.25f, 0.3f);
  glClearDepth(1.0);
  glClearStencil(3);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0.0, 4.0, 0.0, 3.0, -1.0, 1.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();

  glEnable(GL_DEPTH_TEST);
  glColor3f(1.0f, 0.0f, 0.0f);
  quad(0.1f, 0.1f, 0.3f, 0.6f);
  glColor3f(0.0f, 1.0f, 0.0f);
  quad(0.3f, 0.3f, 0.1f, 0.6f);
  glDepthFunc(GL_GREATER);
  glColor3f(0.0f, 0.0f, 1.0f);
  quad(0.2f, 0.0f, -0.2f, 0.6f);
  glDepthFunc(GL_LESS);
  glDepthMask(GL_FALSE);
  glColor3f(1.0f, 1.0f, 0.0f);
  quad(0.6f, 0.5f, 0.8f, 0.4f);
  glDepthMask(GL_TRUE);
  glDisable(GL_DEPTH_TEST);

  glEnable(GL_BLEND);
  constexpr GLenum kFactors[][2] = {
      {GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA}, {GL_ONE, GL_ONE}, {GL_DST_COLOR, GL_ZERO}, {GL_ONE_MINUS_DST_COLOR, GL_SRC_COLOR}};
  for (int i = 0; i < 4; ++i) {
    glBlendFunc(kFactors[i][0], kFactors[i][1]);
    glColor4f(0.9f, 0.6f, 0.1f, 0.4f);
    quad(1.2f + 0.6f * static_cast<float>(i), 0.1f, 0.0f, 0.5f);
    glColor4f(0.1f, 0.6f, 0.9f, 0.7f);
    quad(1.4f + 0.6f * static_cast<float>(i), 0.3f, 0.0f, 0.5f);
  }
  glDisable(GL_BLEND);

  glEnable(GL_STENCIL_TEST);
  glStencilFunc(GL_EQUAL, 3, 255);
  glStencilOp(GL_KEEP, GL_INCR, GL_INCR);
  glColor3f(0.3f, 0.9f, 0.9f);
  quad(0.1f, 1.1f, 0.0f, 0.5f);
  glColor3f(0.9f, 0.3f, 0.9f);
  quad(0.3f, 1.3f, 0.0f, 0.5f);
  glDisable(GL_STENCIL_TEST);

  glEnable(GL_ALPHA_TEST);
  glAlphaFunc(GL_GREATER, 0.5f);
  glBegin(GL_TRIANGLES);
  glColor4f(1.0f, 1.0f, 1.0f, 0.0f);
  glVertex2f(1.1f, 1.1f);
  glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
  glVertex2f(1.9f, 1.1f);
  glColor4f(0.0f, 0.0f, 0.0f, 0.6f);
  glVertex2f(1.5f, 1.9f);
  glEnd();
  glDisable(GL_ALPHA_TEST);

  glEnable(GL_COLOR_LOGIC_OP);
  glLogicOp(GL_XOR);
  glColor3f(1.0f, 0.5f, 0.25f);
  quad(2.1f, 1.1f, 0.0f, 0.6f);
  quad(2.3f, 1.3f, 0.0f, 0.6f);
  glDisable(GL_COLOR_LOGIC_OP);

  const GLfloat mist[] = {0.6f, 0.7f, 0.8f, 1.0f};
  glEnable(GL_FOG);
  glFogi(GL_FOG_MODE, GL_LINEAR);
  glFogf(GL_FOG_START, 0.0f);
  glFogf(GL_FOG_END, 1.0f);
  glFogfv(GL_FOG_COLOR, mist);
  glBegin(GL_QUADS);
  glColor3f(0.8f, 0.1f, 0.1f);
  glVertex3f(3.1f, 1.1f, 0.0f);
  glVertex3f(3.9f, 1.1f, 0.0f);
  glVertex3f(3.9f, 1.9f, -1.0f);
  glVertex3f(3.1f, 1.9f, -1.0f);
  glEnd();
  glDisable(GL_FOG);

  glEnable(GL_CULL_FACE);
  for (int i = 0; i < 4; ++i) {
    glFrontFace(i % 2 ? GL_CW : GL_CCW);
    glCullFace(i / 2 ? GL_FRONT : GL_BACK);
    glColor3f(0.2f * static_cast<float>(i), 0.7f, 0.3f);
    quad(0.1f + 0.5f * static_cast<float>(i), 2.1f, 0.0f, 0.4f);
  }
  glDisable(GL_CULL_FACE);
  glFrontFace(GL_CCW);
  glCullFace(GL_BACK);

  glShadeModel(GL_FLAT);
  glBegin(GL_TRIANGLE_STRIP);
  for (int i = 0; i < 8; ++i) {
    glColor3f(0.1f * static_cast<float>(i), 0.3f, 1.0f - 0.1f * static_cast<float>(i));
    glVertex2f(2.2f + 0.2f * static_cast<float>(i), i % 2 ? 2.8f : 2.2f);
  }
  glEnd();
  glShadeModel(GL_SMOOTH);
}

}  // namespace

extern const Picture kPicture{.frames = 2, .init = nullptr, .draw = draw};
