// Arrays in the program's memory: every conventional array, all kinds of draws, strides, ranges, lists, glArrayElement, and
// arrays that change behind a draw. One cell of the window for each case.
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>
#include <sys/mman.h>

#include <cstring>
#include <vector>

#include "picture.h"

namespace {

constexpr int kColumns = 6, kRows = 5, kCell = 40;

// Draws what follows into the next cell, whose coordinates go from -1 to 1.
int cellNumber = 0;
void cell() {
  glViewport(cellNumber % kColumns * kCell, cellNumber / kColumns * kCell, kCell, kCell);
  ++cellNumber;
  for (const GLenum array : {GL_VERTEX_ARRAY, GL_COLOR_ARRAY, GL_NORMAL_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_EDGE_FLAG_ARRAY,
                             GL_SECONDARY_COLOR_ARRAY, GL_FOG_COORD_ARRAY}) {
    glDisableClientState(array);
  }
  glColor3f(1.0f, 1.0f, 1.0f);
}

const GLfloat kQuad[] = {-0.8f, -0.8f, 0.0f, 0.8f, -0.6f, 0.0f, 0.6f, 0.8f, 0.0f, -0.7f, 0.5f, 0.0f};
const GLubyte kColors[] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 0, 255};

void position(const void* data = kQuad, GLsizei stride = 0) {
  glEnableClientState(GL_VERTEX_ARRAY);
  glVertexPointer(3, GL_FLOAT, stride, data);
}
void color(const void* data = kColors, GLsizei stride = 0) {
  glEnableClientState(GL_COLOR_ARRAY);
  glColorPointer(4, GL_UNSIGNED_BYTE, stride, data);
}

// Types of positions and colours.
void types() {
  const GLshort shorts[] = {-1, -1, 1, -1, 0, 1};
  const GLdouble doubles[] = {-1, -1, 0, 1, 1, -0.5, 0, 1, 0, 1, 0, 1};
  const GLushort halfs[] = {0xB800, 0xB800, 0x3800, 0xB800, 0x0000, 0x3800};
  const GLbyte bytes[] = {127, 0, 0, 0, 127, 0, 0, 0, 127};
  const GLfloat floats[] = {1, 0, 1, 0, 1, 1, 0.5f, 0.5f, 0};
  const GLubyte bgra[] = {255, 0, 0, 255, 0, 0, 255, 255, 0, 255, 0, 255};
  cell();
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glVertexPointer(2, GL_SHORT, 0, shorts);
  glColorPointer(3, GL_BYTE, 0, bytes);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  cell();
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glVertexPointer(4, GL_DOUBLE, 0, doubles);
  glColorPointer(3, GL_FLOAT, 0, floats);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  cell();
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glVertexPointer(2, GL_HALF_FLOAT, 0, halfs);
  glColorPointer(GL_BGRA, GL_UNSIGNED_BYTE, 0, bgra);
  glDrawArrays(GL_TRIANGLES, 0, 3);
}

// Elements of all index types, ranges, base vertices, several draws in one call.
void elements() {
  const GLubyte bytes[] = {0, 1, 2, 2, 3, 0};
  const GLushort shorts[] = {0, 1, 2};
  const GLuint ints[] = {2, 3, 0};
  cell();
  position();
  color();
  glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_BYTE, bytes);
  cell();
  position();
  color();
  glDrawRangeElements(GL_TRIANGLES, 0, 3, 3, GL_UNSIGNED_SHORT, shorts);
  glDrawElements(GL_LINES, 2, GL_UNSIGNED_INT, ints);
  cell();
  // The arrays begin far ahead of what is drawn; the memory in front is not the program's to read.
  position(kQuad - 12 * 1000);
  color(kColors - 4 * 4 * 250);
  const GLuint far[] = {1000, 1001, 1002, 1003};
  glDrawElements(GL_QUADS, 4, GL_UNSIGNED_INT, far);
  cell();
  std::vector<GLfloat> many(3 * 4 + 3 * 10, 0.0f);
  std::memcpy(many.data() + 30, kQuad, sizeof kQuad);
  std::vector<GLubyte> manyColors(4 * 14, 9);
  std::memcpy(manyColors.data() + 40, kColors, sizeof kColors);
  position(many.data());
  color(manyColors.data());
  glDrawElementsBaseVertex(GL_TRIANGLES, 6, GL_UNSIGNED_BYTE, const_cast<GLubyte*>(bytes), 10);
  cell();
  position();
  color();
  const GLint first[] = {0, 1};
  const GLsizei count[] = {2, 3};
  glMultiDrawArrays(GL_LINE_STRIP, first, count, 2);
  const GLsizei counts[] = {3};
  const void* const indices[] = {bytes + 3};
  glMultiDrawElements(GL_LINE_LOOP, counts, GL_UNSIGNED_BYTE, indices, 1);
}

// First elements, strides, and the largest runs.
void ranges() {
  struct Vertex {
    GLubyte color[4];
    GLfloat position[3];
    GLfloat gap;
  };
  std::vector<Vertex> vertices(100);
  for (size_t i = 0; i < vertices.size(); ++i) {
    const GLfloat at = static_cast<GLfloat>(i) / 50.0f - 1.0f;
    vertices[i] = {{static_cast<GLubyte>(2 * i), static_cast<GLubyte>(255 - i), 128, 255}, {at, at * at - 0.5f, 0.0f}, 0.0f};
  }
  cell();
  position(vertices.data()->position, sizeof(Vertex));
  color(vertices.data()->color, sizeof(Vertex));
  glDrawArrays(GL_LINE_STRIP, 7, 90);
  cell();
  // Three bytes a colour in front of floats.
  std::vector<GLubyte> narrow;
  for (int i = 0; i < 100; ++i) narrow.insert(narrow.end(), {static_cast<GLubyte>(i), 255, static_cast<GLubyte>(200 - i)});
  for (int count = 1; count < 50; count += 7) {
    position(vertices.data()->position, sizeof(Vertex));
    glEnableClientState(GL_COLOR_ARRAY);
    glColorPointer(3, GL_UNSIGNED_BYTE, 0, narrow.data());
    glDrawArrays(GL_POINTS, count, count);
  }
  cell();
  // Any number of elements of three bytes between floats.
  std::vector<GLfloat> normals, depths;
  for (int i = 0; i < 100; ++i) {
    normals.insert(normals.end(), {0.0f, 0.6f, 0.8f});
    depths.push_back(static_cast<GLfloat>(i) / 100.0f);
  }
  const GLfloat haze[] = {1.0f, 0.0f, 0.0f, 1.0f};
  glEnable(GL_LIGHTING);
  glEnable(GL_LIGHT0);
  glEnable(GL_COLOR_MATERIAL);
  glEnable(GL_FOG);
  glFogi(GL_FOG_COORD_SRC, GL_FOG_COORD);
  glFogi(GL_FOG_MODE, GL_LINEAR);
  glFogfv(GL_FOG_COLOR, haze);
  for (int count = 1; count <= 100; ++count) {
    position(vertices.data()->position, sizeof(Vertex));
    glEnableClientState(GL_NORMAL_ARRAY);
    glNormalPointer(GL_FLOAT, 0, normals.data());
    glEnableClientState(GL_COLOR_ARRAY);
    glColorPointer(3, GL_UNSIGNED_BYTE, 0, narrow.data());
    glEnableClientState(GL_FOG_COORD_ARRAY);
    glFogCoordPointer(GL_FLOAT, 0, depths.data());
    glLoadIdentity();
    glTranslatef(0.0f, static_cast<GLfloat>(count) / 100.0f - 0.5f, 0.0f);
    glDrawArrays(GL_POINTS, 0, count);
  }
  glLoadIdentity();
  glDisable(GL_FOG);
  glDisable(GL_COLOR_MATERIAL);
  glDisable(GL_LIGHTING);
  cell();
  // An address whose low half is zero.
  void* const high = mmap(reinterpret_cast<void*>(uintptr_t{1} << 45), 4096, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
  if (high != MAP_FAILED) std::memcpy(high, kQuad, sizeof kQuad);
  position(high != MAP_FAILED ? high : kQuad);
  color();
  glDrawArrays(GL_QUADS, 0, 4);
  glDrawElements(GL_LINE_LOOP, 4, GL_UNSIGNED_BYTE, "\0\1\2\3");
  if (high != MAP_FAILED) munmap(high, 4096);
  cell();
  struct Packed {
    GLfloat tex[2];
    GLubyte color[4];
    GLfloat position[3];
  } packed[3] = {
      {{0, 0}, {255, 0, 0, 255}, {-1, -1, 0}}, {{1, 0}, {0, 0, 255, 255}, {1, -1, 0}}, {{0, 1}, {0, 255, 0, 255}, {0, 1, 0}}};
  glInterleavedArrays(GL_T2F_C4UB_V3F, 0, packed);
  glDrawArrays(GL_TRIANGLES, 0, 3);
}

// Lists take the data at once.
void lists() {
  GLfloat moving[12];
  std::memcpy(moving, kQuad, sizeof moving);
  const GLubyte indices[] = {0, 1, 2, 3};
  cell();
  position(moving);
  color();
  const GLuint list = glGenLists(2);
  glNewList(list, GL_COMPILE);
  glDrawArrays(GL_QUADS, 0, 4);
  glEndList();
  glNewList(list + 1, GL_COMPILE);
  glDrawElements(GL_LINE_LOOP, 4, GL_UNSIGNED_BYTE, indices);
  glEndList();
  std::memset(moving, 0, sizeof moving);
  glCallList(list);
  cell();
  glCallList(list + 1);
  cell();
  position();
  color();
  glNewList(list, GL_COMPILE_AND_EXECUTE);
  glDrawArrays(GL_TRIANGLES, 1, 3);
  glEndList();
  glNewList(list, GL_COMPILE);
  glBegin(GL_LINE_LOOP);
  glArrayElement(0);
  glColor3f(0.0f, 1.0f, 1.0f);
  glArrayElement(1);
  glArrayElement(2);
  glEnd();
  glEndList();
  glTranslatef(0.1f, 0.1f, 0.0f);
  glCallList(list);
  glLoadIdentity();
  glDeleteLists(list, 2);
}

// Elements one by one, between other calls.
void singly() {
  cell();
  position();
  color();
  glBegin(GL_QUADS);
  for (int i = 0; i < 4; ++i) glArrayElement(i);
  glEnd();
  cell();
  position();
  glBegin(GL_TRIANGLE_FAN);
  glColor3f(1.0f, 0.5f, 0.0f);
  glArrayElement(0);
  glVertex3f(0.9f, -0.9f, 0.0f);
  glColor3f(0.0f, 0.5f, 1.0f);
  glArrayElement(2);
  glArrayElement(3);
  glEnd();
  cell();
  // Runs of vertices and arrays do not disturb each other.
  for (int round = 0; round < 3; ++round) {
    position();
    color();
    glDrawArrays(GL_LINE_LOOP, 0, 4);
    glBegin(GL_POINTS);
    for (int i = 0; i < 40; ++i) {
      glColor3ub(static_cast<GLubyte>(6 * i), 255, 0);
      glVertex2f(-1.0f + 0.05f * static_cast<GLfloat>(i), -1.0f + 0.2f * static_cast<GLfloat>(round));
    }
    glEnd();
  }
}

// Normals, texture coordinates, edge flags, secondary colours, fog coordinates.
void others() {
  const GLfloat normals[] = {0, 0, 1, 1, 0, 0, 0, 1, 0, 0.6f, 0.6f, 0.6f};
  const GLshort shortNormals[] = {0, 0, 32767, 32767, 0, 0, 0, 32767, 0, 20000, 20000, 20000};
  cell();
  position();
  glEnable(GL_LIGHTING);
  glEnable(GL_LIGHT0);
  glEnableClientState(GL_NORMAL_ARRAY);
  glNormalPointer(GL_FLOAT, 0, normals);
  glDrawArrays(GL_QUADS, 0, 4);
  cell();
  position();
  glEnableClientState(GL_NORMAL_ARRAY);
  glNormalPointer(GL_SHORT, 0, shortNormals);
  glDrawArrays(GL_QUADS, 0, 4);
  glDisable(GL_LIGHTING);
  cell();
  const GLboolean edges[] = {GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE};
  glPolygonMode(GL_FRONT_AND_BACK, GL_LINE);
  position();
  glEnableClientState(GL_EDGE_FLAG_ARRAY);
  glEdgeFlagPointer(0, edges);
  glDrawArrays(GL_QUADS, 0, 4);
  glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
  cell();
  const GLubyte secondary[] = {0, 0, 255, 0, 255, 0, 255, 0, 0, 0, 128, 128};
  position();
  glColor3f(0.2f, 0.2f, 0.2f);
  glEnable(GL_COLOR_SUM);
  glEnableClientState(GL_SECONDARY_COLOR_ARRAY);
  glSecondaryColorPointer(3, GL_UNSIGNED_BYTE, 0, secondary);
  glDrawArrays(GL_QUADS, 0, 4);
  glDisable(GL_COLOR_SUM);
  cell();
  const GLfloat fog[] = {0.0f, 1.0f, 0.5f, 0.2f};
  const GLfloat blue[] = {0.0f, 0.0f, 1.0f, 1.0f};
  position();
  glEnable(GL_FOG);
  glFogi(GL_FOG_COORD_SRC, GL_FOG_COORD);
  glFogi(GL_FOG_MODE, GL_LINEAR);
  glFogfv(GL_FOG_COLOR, blue);
  glEnableClientState(GL_FOG_COORD_ARRAY);
  glFogCoordPointer(GL_FLOAT, 0, fog);
  glDrawArrays(GL_QUADS, 0, 4);
  glDisable(GL_FOG);
}

// What glPushClientAttrib saves comes back, and a restart index cuts primitives.
void state() {
  cell();
  position();
  color();
  glPushClientAttrib(GL_CLIENT_ALL_ATTRIB_BITS);
  glDisableClientState(GL_COLOR_ARRAY);
  glVertexPointer(2, GL_FLOAT, 0, kQuad + 3);
  glDrawArrays(GL_LINES, 0, 2);
  glPopClientAttrib();
  glDrawArrays(GL_QUADS, 0, 4);
  cell();
  // The layout of images comes back with the arrays.
  const GLubyte bits[] = {0xFF, 0x81, 0xBD, 0xA5, 0xA5, 0xBD, 0x81, 0xFF};
  position();
  color();
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glPushClientAttrib(GL_CLIENT_ALL_ATTRIB_BITS);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 100);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 8);
  glDisableClientState(GL_COLOR_ARRAY);
  glEnableClientState(GL_NORMAL_ARRAY);
  glNormalPointer(GL_FLOAT, 0, kQuad);
  glPopClientAttrib();
  glDrawArrays(GL_TRIANGLES, 0, 3);
  glRasterPos2f(-0.9f, 0.2f);
  glBitmap(8, 8, 0.0f, 0.0f, 0.0f, 0.0f, bits);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  cell();
  position();
  color();
  const GLuint indices[] = {0, 1, 77, 2, 3, 77, 77, 1, 3};
  glEnable(GL_PRIMITIVE_RESTART);
  glPrimitiveRestartIndex(77);
  glDrawElements(GL_LINE_STRIP, 9, GL_UNSIGNED_INT, indices);
  const GLuint all[] = {77, 77, 77, 77};
  glDrawElements(GL_TRIANGLES, 4, GL_UNSIGNED_INT, all);
  glDisable(GL_PRIMITIVE_RESTART);
}

// An array of points, each instance at a place of its own.
void instances() {
  const GLfloat places[] = {-0.5f, -0.5f, 0.5f, -0.5f, 0.0f, 0.5f, 0.2f, 0.2f};
  cell();
  glEnableVertexAttribArray(0);
  glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, places);
  glVertexAttribDivisor(0, 1);
  glPointSize(5.0f);
  glDrawArraysInstanced(GL_POINTS, 0, 1, 4);
  const GLubyte zero[] = {0};
  glColor3f(0.0f, 1.0f, 0.0f);
  glPointSize(2.0f);
  glDrawElementsInstanced(GL_POINTS, 1, GL_UNSIGNED_BYTE, zero, 3);
  glPointSize(1.0f);
  glVertexAttribDivisor(0, 0);
  glDisableVertexAttribArray(0);
}

void draw(int) {
  glClearColor(0.1f, 0.1f, 0.15f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  types();
  elements();
  ranges();
  lists();
  singly();
  others();
  state();
  instances();
}

}  // namespace

extern const Picture kPicture{.width = kColumns * kCell, .height = kRows * kCell, .draw = draw};
