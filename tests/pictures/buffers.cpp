// Arrays in buffers: uploads, maps, ranges, elements in buffers, vertex array objects, indirect draws, buffers beside arrays in
// the program's memory. One cell of the window for each case.
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstring>
#include <vector>

#include "picture.h"

namespace {

constexpr int kColumns = 5, kRows = 5, kCell = 40;

int cellNumber = 0;
void cell() {
  glViewport(cellNumber % kColumns * kCell, cellNumber / kColumns * kCell, kCell, kCell);
  ++cellNumber;
  glBindVertexArray(0);
  glDisableClientState(GL_VERTEX_ARRAY);
  glDisableClientState(GL_COLOR_ARRAY);
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  glColor3f(1.0f, 1.0f, 1.0f);
}

const GLfloat kQuad[] = {-0.8f, -0.8f, 0.8f, -0.6f, 0.6f, 0.8f, -0.7f, 0.5f};
const GLubyte kColors[] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 0, 255};

const void* at(size_t offset) { return reinterpret_cast<const void*>(offset); }

GLuint filled(GLenum target, const void* data, size_t bytes) {
  GLuint buffer = 0;
  glGenBuffers(1, &buffer);
  glBindBuffer(target, buffer);
  glBufferData(target, static_cast<GLsizeiptr>(bytes), data, GL_STATIC_DRAW);
  return buffer;
}

void position(const void* data) {
  glEnableClientState(GL_VERTEX_ARRAY);
  glVertexPointer(2, GL_FLOAT, 0, data);
}
void color(const void* data) {
  glEnableClientState(GL_COLOR_ARRAY);
  glColorPointer(4, GL_UNSIGNED_BYTE, 0, data);
}

void uploads() {
  cell();
  GLuint buffer = filled(GL_ARRAY_BUFFER, nullptr, 100);
  glBufferSubData(GL_ARRAY_BUFFER, 4, sizeof kQuad, kQuad);
  glBufferSubData(GL_ARRAY_BUFFER, 40, sizeof kColors, kColors);
  position(at(4));
  color(at(40));
  glDrawArrays(GL_QUADS, 0, 4);
  // What has been drawn stays as it was.
  glBufferSubData(GL_ARRAY_BUFFER, 4, 8, kQuad + 4);
  glDeleteBuffers(1, &buffer);

  cell();
  buffer = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  GLfloat read[2] = {};
  glGetBufferSubData(GL_ARRAY_BUFFER, 8, sizeof read, read);
  read[1] = -read[1];
  glBufferSubData(GL_ARRAY_BUFFER, 8, sizeof read, read);
  position(at(0));
  glDrawArrays(GL_LINE_LOOP, 0, 4);
  glBufferData(GL_ARRAY_BUFFER, 16, kQuad + 2, GL_STREAM_DRAW);
  glColor3f(1.0f, 0.0f, 0.0f);
  glDrawArrays(GL_LINES, 0, 2);
  glDeleteBuffers(1, &buffer);

  cell();
  buffer = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  GLuint copy = filled(GL_COPY_WRITE_BUFFER, nullptr, 64);
  glCopyBufferSubData(GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 8, 0, 24);
  glBindBuffer(GL_ARRAY_BUFFER, copy);
  position(at(0));
  glDrawArrays(GL_TRIANGLES, 0, 3);
  glDeleteBuffers(1, &copy);
  glDeleteBuffers(1, &buffer);
}

void maps() {
  cell();
  GLuint buffer = filled(GL_ARRAY_BUFFER, nullptr, sizeof kQuad);
  std::memcpy(glMapBuffer(GL_ARRAY_BUFFER, GL_WRITE_ONLY), kQuad, sizeof kQuad);
  glUnmapBuffer(GL_ARRAY_BUFFER);
  auto* const values = static_cast<GLfloat*>(glMapBuffer(GL_ARRAY_BUFFER, GL_READ_WRITE));
  values[0] = -values[0];
  glUnmapBuffer(GL_ARRAY_BUFFER);
  position(at(0));
  glDrawArrays(GL_TRIANGLES, 0, 3);
  glDeleteBuffers(1, &buffer);

  cell();
  buffer = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  auto* const part = static_cast<GLfloat*>(glMapBufferRange(GL_ARRAY_BUFFER, 8, 8, GL_MAP_WRITE_BIT | GL_MAP_FLUSH_EXPLICIT_BIT));
  part[0] = part[1] = 0.0f;
  glFlushMappedBufferRange(GL_ARRAY_BUFFER, 0, 8);
  glUnmapBuffer(GL_ARRAY_BUFFER);
  position(at(0));
  glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
  glDeleteBuffers(1, &buffer);
}

void elements() {
  const GLushort shorts[] = {9, 9, 0, 1, 2, 2, 3, 0};
  cell();
  GLuint vertices = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  GLuint indices = filled(GL_ELEMENT_ARRAY_BUFFER, shorts, sizeof shorts);
  position(at(0));
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  color(kColors);
  glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_SHORT, at(4));
  cell();
  glBindBuffer(GL_ARRAY_BUFFER, vertices);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indices);
  position(at(0));
  glDrawElements(GL_LINE_LOOP, 3, GL_UNSIGNED_SHORT, at(10));
  const GLushort other[] = {1, 3};
  glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 0, sizeof other, other);
  glColor3f(0.0f, 1.0f, 0.0f);
  glDrawElements(GL_LINES, 2, GL_UNSIGNED_SHORT, nullptr);
  cell();
  // Positions of a buffer and colours of the program's, far from their beginnings.
  std::vector<GLfloat> many(2 * 20, 0.0f);
  std::memcpy(many.data() + 14, kQuad, sizeof kQuad);
  GLuint far = filled(GL_ARRAY_BUFFER, many.data(), many.size() * sizeof(GLfloat));
  std::vector<GLubyte> colors(4 * 20, 30);
  std::memcpy(colors.data() + 28, kColors, sizeof kColors);
  position(at(0));
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  color(colors.data());
  glDrawArrays(GL_QUADS, 7, 4);
  const GLubyte bytes[] = {10, 11, 12, 13};
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  glDrawElementsBaseVertex(GL_LINE_LOOP, 4, GL_UNSIGNED_BYTE, const_cast<GLubyte*>(bytes), -3);
  glDeleteBuffers(1, &far);
  glDeleteBuffers(1, &indices);
  glDeleteBuffers(1, &vertices);
}

void objects() {
  GLuint arrays[2];
  glGenVertexArrays(2, arrays);
  cell();
  glBindVertexArray(arrays[0]);
  GLuint first = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  position(at(0));
  glBindVertexArray(arrays[1]);
  GLuint second = filled(GL_ARRAY_BUFFER, kColors, sizeof kColors);
  color(at(0));
  glBindBuffer(GL_ARRAY_BUFFER, first);
  position(at(0));
  glDrawArrays(GL_QUADS, 0, 4);
  cell();
  glBindVertexArray(arrays[0]);
  glDrawArrays(GL_LINE_LOOP, 0, 4);
  cell();
  // A buffer that another vertex array object has outlives its name there.
  glBindVertexArray(0);
  glDeleteBuffers(1, &first);
  glBindVertexArray(arrays[0]);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  glDeleteBuffers(1, &second);
  glDeleteVertexArrays(2, arrays);

  cell();
  GLuint any = 77;
  glGenVertexArrays(1, &any);
  glBindVertexArray(any);
  GLuint buffer = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  glEnableVertexAttribArray(0);
  glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, at(0));
  glDrawArrays(GL_QUADS, 0, 4);
  cell();
  glBindVertexArray(any);
  glVertexAttribDivisor(0, 1);
  glPointSize(4.0f);
  glDrawArraysInstancedBaseInstance(GL_POINTS, 0, 1, 2, 1);
  cell();
  glBindVertexArray(any);
  glVertexAttribDivisor(0, 2);
  glColor3f(1.0f, 0.0f, 1.0f);
  glDrawArraysInstancedBaseInstance(GL_POINTS, 0, 1, 2, 3);
  glColor3f(0.0f, 1.0f, 1.0f);
  glDrawArraysInstanced(GL_POINTS, 0, 1, 5);
  glPointSize(1.0f);
  glVertexAttribDivisor(0, 0);
  glDeleteVertexArrays(1, &any);
  glDeleteBuffers(1, &buffer);
}

void indirect() {
  struct Arrays {
    GLuint count, instances, first, base;
  };
  const Arrays words[] = {{3, 1, 1, 0}, {2, 1, 0, 0}};
  cell();
  GLuint vertices = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  GLuint draws = filled(GL_DRAW_INDIRECT_BUFFER, words, sizeof words);
  position(at(0));
  glDrawArraysIndirect(GL_TRIANGLES, at(0));
  cell();
  glBindBuffer(GL_ARRAY_BUFFER, vertices);
  position(at(0));
  glMultiDrawArraysIndirect(GL_LINE_STRIP, at(0), 2, 0);
  cell();
  // The arrays are the program's: the host cannot read the words alone.
  position(kQuad);
  color(kColors);
  glDrawArraysIndirect(GL_TRIANGLES, at(0));
  glBindBuffer(GL_DRAW_INDIRECT_BUFFER, 0);
  glDeleteBuffers(1, &draws);
  cell();
  const GLuint elementWords[] = {4, 1, 1, 0, 0};
  const GLubyte bytes[] = {9, 0, 1, 2, 3};
  draws = filled(GL_DRAW_INDIRECT_BUFFER, elementWords, sizeof elementWords);
  GLuint indices = filled(GL_ELEMENT_ARRAY_BUFFER, bytes, sizeof bytes);
  glBindBuffer(GL_ARRAY_BUFFER, vertices);
  position(at(0));
  glDrawElementsIndirect(GL_QUADS, GL_UNSIGNED_BYTE, at(0));
  cell();
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indices);
  position(kQuad);
  glDrawElementsIndirect(GL_LINE_LOOP, GL_UNSIGNED_BYTE, at(0));
  glBindBuffer(GL_DRAW_INDIRECT_BUFFER, 0);
  glDeleteBuffers(1, &indices);
  glDeleteBuffers(1, &draws);
  glDeleteBuffers(1, &vertices);
}

void inLists() {
  cell();
  GLuint vertices = filled(GL_ARRAY_BUFFER, kQuad, sizeof kQuad);
  position(at(0));
  const GLuint list = glGenLists(1);
  glNewList(list, GL_COMPILE);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  glEndList();
  glBufferData(GL_ARRAY_BUFFER, sizeof kQuad, nullptr, GL_STATIC_DRAW);
  glCallList(list);
  glDeleteLists(list, 1);
  cell();
  glBufferData(GL_ARRAY_BUFFER, 0, nullptr, GL_STATIC_DRAW);
  glBindBuffer(GL_ARRAY_BUFFER, vertices);
  glBufferData(GL_ARRAY_BUFFER, sizeof kQuad, kQuad, GL_STATIC_DRAW);
  position(at(0));
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  color(kColors);
  glBegin(GL_QUADS);
  for (int i = 0; i < 4; ++i) glArrayElement(i);
  glEnd();
  glDeleteBuffers(1, &vertices);
}

void draw(int) {
  glClearColor(0.1f, 0.1f, 0.15f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  uploads();
  maps();
  elements();
  objects();
  indirect();
  inLists();
}

}  // namespace

extern const Picture kPicture{.width = kColumns * kCell, .height = kRows * kCell, .draw = draw};
