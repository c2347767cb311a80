// Primitives whose calls change in the middle, one way per cell: everything that may end an implementation's fast path for
// vertices that all look alike. Each cell is one glBegin with four corners, and the way of giving them changes at the third.
#include "picture.h"

namespace {

constexpr float kCorners[4][2] = {{0.1f, 0.1f}, {0.9f, 0.2f}, {0.8f, 0.9f}, {0.2f, 0.8f}};
constexpr float kColours[4][3] = {{1.0f, 0.2f, 0.1f}, {0.1f, 1.0f, 0.3f}, {0.2f, 0.3f, 1.0f}, {0.9f, 0.9f, 0.2f}};

void corner(int i) { glVertex3f(kCorners[i][0], kCorners[i][1], 0.0f); }
void colour(int i) { glColor3f(kColours[i][0], kColours[i][1], kColours[i][2]); }
void plain(int from, int to) {
  for (int i = from; i < to; ++i) {
    colour(i);
    corner(i);
  }
}

void whole() { plain(0, 4); }

void otherTypeOfColour() {
  plain(0, 2);
  glColor4ub(51, 77, 255, 128);
  corner(2);
  glColor3d(0.9, 0.9, 0.2);
  corner(3);
}

void otherTypeOfVertex() {
  plain(0, 2);
  colour(2);
  glVertex2d(0.8, 0.9);
  colour(3);
  glVertex4f(0.4f, 1.6f, 0.0f, 2.0f);
}

void normalAppears() {
  plain(0, 2);
  glNormal3f(0.0f, 0.0f, 1.0f);
  plain(2, 4);
}

void colourOnEveryOtherVertex() {
  for (int i = 0; i < 4; ++i) {
    if (i % 2 == 0) colour(i);
    corner(i);
  }
}

void colourDisappears() {
  colour(0);
  corner(0);
  for (int i = 1; i < 4; ++i) corner(i);
}

void sameAttributeTwice() {
  for (int i = 0; i < 4; ++i) {
    colour(3 - i);
    colour(i);
    corner(i);
  }
}

void fifteenAttributes() {
  for (int i = 0; i < 4; ++i) {
    for (int n = 0; n < 14; ++n) glTexCoord2f(static_cast<float>(n), static_cast<float>(i));
    colour(i);
    corner(i);
  }
}

void sixteenAttributes() {
  for (int i = 0; i < 4; ++i) {
    for (int n = 0; n < 15; ++n) glTexCoord2f(static_cast<float>(n), static_cast<float>(i));
    colour(i);
    corner(i);
  }
}

void edgeFlag() {
  plain(0, 2);
  glEdgeFlag(GL_TRUE);
  plain(2, 4);
}

void material() {
  const GLfloat red[] = {1.0f, 0.0f, 0.0f, 1.0f};
  plain(0, 2);
  glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, red);
  plain(2, 4);
}

void materialWithoutColour() {
  colour(0);
  corner(0);
  colour(1);
  glMaterialf(GL_FRONT, GL_SHININESS, 10.0f);
  corner(1);
  plain(2, 4);
}

void arrayElementLike() {
  plain(0, 2);
  glEvalCoord1f(0.0f);  // no map enabled: no vertex comes of it
  plain(2, 4);
}

// These four are errors between glBegin and glEnd: nothing happens but the error, and the primitive goes on.
void query() {
  plain(0, 2);
  GLint value = 0;
  glGetIntegerv(GL_SUBPIXEL_BITS, &value);
  plain(2, 4);
}

void errorQuery() {
  plain(0, 2);
  glGetError();
  plain(2, 4);
}

void flush() {
  plain(0, 2);
  glFlush();
  plain(2, 4);
}

void finish() {
  plain(0, 1);
  colour(1);
  glFinish();
  corner(1);
  plain(2, 4);
}

void nestedBegin() {
  plain(0, 2);
  glBegin(GL_POINTS);
  plain(2, 4);
}

void stateChange() {
  plain(0, 2);
  glBlendFunc(GL_ZERO, GL_ZERO);
  plain(2, 4);
}

void attributesAfterTheLastVertex() {
  plain(0, 4);
  colour(0);
}

void attributesBeforeTheFirst() {
  colour(3);
  glNormal3f(0.0f, 0.0f, 1.0f);
  plain(0, 4);
}

using Cell = void (*)();
constexpr Cell kCells[] = {whole,
                           otherTypeOfColour,
                           otherTypeOfVertex,
                           normalAppears,
                           colourOnEveryOtherVertex,
                           colourDisappears,
                           sameAttributeTwice,
                           fifteenAttributes,
                           sixteenAttributes,
                           edgeFlag,
                           material,
                           materialWithoutColour,
                           arrayElementLike,
                           query,
                           errorQuery,
                           flush,
                           finish,
                           nestedBegin,
                           stateChange,
                           attributesAfterTheLastVertex,
                           attributesBeforeTheFirst};
constexpr GLenum kModes[] = {GL_QUADS,      GL_POLYGON,        GL_TRIANGLE_FAN, GL_LINE_LOOP,
                             GL_LINE_STRIP, GL_TRIANGLE_STRIP, GL_POINTS,       GL_QUAD_STRIP};

void draw(int) {
  glClearColor(0.1f, 0.1f, 0.1f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glPointSize(3.0f);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0.0, 1.0, 0.0, 1.0, -1.0, 1.0);
  glMatrixMode(GL_MODELVIEW);
  int row = 0;
  for (const Cell cell : kCells) {
    int column = 0;
    for (const GLenum mode : kModes) {
      glViewport(column * 30, row * 20, 30, 20);
      glColor3f(0.5f, 0.5f, 0.5f);
      glBegin(mode);
      cell();
      glEnd();
      ++column;
    }
    ++row;
  }
}

}  // namespace

extern const Picture kPicture{.width = 240, .height = 420, .frames = 2, .init = nullptr, .draw = draw};
