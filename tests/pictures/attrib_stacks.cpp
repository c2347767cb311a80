// Attribute stacks: what pushes save and pops bring back, drawn with it and asked for: a row of squares shows the answers.
#include "picture.h"

namespace {

int drawn = 0;

// One square of the row: white for yes.
void show(bool on) {
  const int x = drawn % 40 * 6, y = drawn / 40 * 6;
  ++drawn;
  glPushAttrib(GL_ALL_ATTRIB_BITS);
  glDisable(GL_BLEND);
  glDisable(GL_FOG);
  glDisable(GL_LIGHTING);
  glDisable(GL_TEXTURE_2D);
  glDisable(GL_ALPHA_TEST);
  glEnable(GL_SCISSOR_TEST);
  glScissor(x, y, 5, 5);
  glClearColor(on ? 1.0f : 0.3f, on ? 1.0f : 0.0f, 0.2f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glPopAttrib();
}

const GLenum kCapabilities[] = {
    GL_ALPHA_TEST, GL_BLEND,      GL_LINE_STIPPLE,        GL_LINE_SMOOTH,         GL_LIGHTING,
    GL_LIGHT0,     GL_LIGHT7,     GL_COLOR_MATERIAL,      GL_NORMALIZE,           GL_DEPTH_TEST,
    GL_FOG,        GL_CULL_FACE,  GL_POLYGON_SMOOTH,      GL_POLYGON_STIPPLE,     GL_POLYGON_OFFSET_FILL,
    GL_TEXTURE_1D, GL_TEXTURE_2D, GL_POLYGON_OFFSET_LINE, GL_POLYGON_OFFSET_POINT};
const GLbitfield kMasks[] = {GL_ENABLE_BIT,  GL_ALL_ATTRIB_BITS, GL_COLOR_BUFFER_BIT, GL_LIGHTING_BIT | GL_ENABLE_BIT,
                             GL_POLYGON_BIT, GL_TEXTURE_BIT,     GL_DEPTH_BUFFER_BIT};

void triangle(float x, float y) {
  glBegin(GL_TRIANGLES);
  glColor4f(1.0f, 0.2f, 0.2f, 0.5f);
  glVertex3f(x, y, 0.0f);
  glColor4f(0.2f, 1.0f, 0.2f, 0.5f);
  glVertex3f(x + 0.4f, y, 0.0f);
  glColor4f(0.2f, 0.2f, 1.0f, 0.5f);
  glVertex3f(x + 0.2f, y + 0.4f, 0.0f);
  glEnd();
}

void draw(int frame) {
  drawn = 0;
  glViewport(0, 0, 240, 180);
  glClearColor(0.1f, 0.1f, 0.1f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();

  for (const GLbitfield mask : kMasks) {
    for (const GLenum capability : kCapabilities) {
      // Mesa's enable group alone leaves the lights as they are.
      if (mask == GL_ENABLE_BIT && (capability == GL_LIGHT0 || capability == GL_LIGHT7)) continue;
      glPushAttrib(mask);
      if (glIsEnabled(capability)) {
        glDisable(capability);
      } else {
        glEnable(capability);
      }
      glPopAttrib();
      show(glIsEnabled(capability) == GL_TRUE);
      glDisable(capability);
    }
  }

  // Values: viewport, depth, shading, blending, matrix mode.
  glPushAttrib(GL_VIEWPORT_BIT | GL_LIGHTING_BIT | GL_COLOR_BUFFER_BIT | GL_TRANSFORM_BIT | GL_DEPTH_BUFFER_BIT);
  glViewport(120, 90, 120, 90);
  glShadeModel(GL_FLAT);
  glEnable(GL_BLEND);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  glMatrixMode(GL_PROJECTION);
  glDepthFunc(GL_ALWAYS);
  triangle(-0.9f, 0.0f);
  glPopAttrib();
  triangle(-0.9f, 0.0f);
  glTranslatef(0.5f, 0.0f, 0.0f);  // of the modelview matrix again
  triangle(-0.9f, 0.0f);
  GLint values[4] = {};
  glGetIntegerv(GL_MATRIX_MODE, values);
  show(values[0] == GL_MODELVIEW);
  glGetIntegerv(GL_VIEWPORT, values);
  show(values[0] == 0 && values[2] == 240);
  glGetIntegerv(GL_SHADE_MODEL, values);
  show(values[0] == GL_SMOOTH);
  glGetIntegerv(GL_DEPTH_FUNC, values);
  show(values[0] == GL_LESS);
  glGetIntegerv(GL_BLEND_SRC, values);
  show(values[0] == GL_ONE);

  // As deep as the stack goes and back.
  glEnable(GL_CULL_FACE);
  for (int i = 0; i < 16; ++i) {
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    glFrontFace(i % 2 != 0 ? GL_CW : GL_CCW);
    glViewport(4 * i, 2 * i, 200 - 4 * i, 100);
  }
  triangle(-0.2f, 0.2f);
  show(glGetError() == GL_NO_ERROR);
  for (int i = 0; i < 16 - frame; ++i) glPopAttrib();
  triangle(0.1f, 0.5f);
  for (int i = 0; i < frame; ++i) glPopAttrib();
  show(glGetError() == GL_NO_ERROR);
  glPopAttrib();
  show(glGetError() == GL_STACK_UNDERFLOW);
  glGetIntegerv(GL_FRONT_FACE, values);
  show(values[0] == GL_CCW);
  triangle(0.3f, 0.1f);
  glDisable(GL_CULL_FACE);
}

}  // namespace

extern const Picture kPicture{.frames = 2, .draw = draw};
