// Clears: the whole window, then scissored cells in other colours, with a colour mask on some of them.
#include "picture.h"

static void draw(int) {
  glClearColor(0.2f, 0.4f, 0.6f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
  glEnable(GL_SCISSOR_TEST);
  for (int i = 0; i < 12; ++i) {
    glScissor(10 + i % 4 * 56, 10 + i / 4 * 54, 48, 46);
    glClearColor(static_cast<float>(i) / 11.0f, static_cast<float>(i % 4) / 3.0f, static_cast<float>(i / 4) / 2.0f, 0.5f);
    glColorMask(i != 5, i != 6, i != 9, GL_TRUE);
    glClear(GL_COLOR_BUFFER_BIT);
  }
  glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  glDisable(GL_SCISSOR_TEST);
}

extern const Picture kPicture{.draw = draw};
