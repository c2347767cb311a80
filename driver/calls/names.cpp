// The calls that make and test the names that the guest gives out itself. None of them writes a command: the host learns a
// name from the first command that uses it. They set lastOpcode all the same.
#include "driver/calls/names.h"

#include "driver/stream/entry.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

NameTable& shared(GlContext* context, ShareSlot slot) { return context->shareGroup->table(slot); }

// A count of 0 is an error: required oddity 25.
void reportUnless(GlContext* context, bool made, const char* text) {
  if (!made) recordError(context, GL_INVALID_OPERATION, 0, "%s", text);
}

template <typename Row, ShareSlot Slot>
void makeShared(GLsizei n, GLuint* names, const char* text) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  bool made;
  {
    const ShareLock held(context->shareGroup);
    made = shared(context, Slot).generate(n, names);
  }
  reportUnless(context, made, text);
}

template <typename Row>
void makeOwn(NameTable GlContext::*table, GLsizei n, GLuint* names, const char* text) {
  GlContext* const context = enter<Row>();
  if (context != nullptr) reportUnless(context, (context->*table).generate(n, names), text);
}

// True for a name that was generated, bound or not. isObject() asks for more: required oddity 26.
template <typename Row, ShareSlot Slot>
GLboolean isNamed(GLuint name) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return GL_FALSE;
  const ShareLock held(context->shareGroup);
  return shared(context, Slot).contains(name);
}

// True for a name that has an object, which its first bind makes.
template <typename Row, ShareSlot Slot>
GLboolean isObject(GLuint name) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return GL_FALSE;
  const ShareLock held(context->shareGroup);
  return shared(context, Slot).find(name) != nullptr;
}

template <typename Row>
GLboolean isOwn(NameTable GlContext::*table, GLuint name) {
  GlContext* const context = enter<Row>();
  return context != nullptr && (context->*table).contains(name);
}

}  // namespace

namespace gl {

void APIENTRY glGenBuffers(GLsizei n, GLuint* buffers) {
  makeShared<op::glGenBuffers, ShareSlot::kBuffers>(n, buffers, "glGenBuffers(): failed");
}
void APIENTRY glGenTextures(GLsizei n, GLuint* textures) {
  makeShared<op::glGenTextures, ShareSlot::kTextures>(n, textures, "glGenTextures(): failed");
}
void APIENTRY glGenTransformFeedbacks(GLsizei n, GLuint* ids) {
  makeShared<op::glGenTransformFeedbacks, ShareSlot::kTransformFeedbacks>(n, ids, "GenTransformFeedbacks(): failed");
}
void APIENTRY glGenVertexArrays(GLsizei n, GLuint* arrays) {
  makeOwn<op::glGenVertexArrays>(&GlContext::vertexArrayTable, n, arrays, "glGenVertexArrays(): failed");
}
void APIENTRY glGenQueries(GLsizei n, GLuint* ids) {
  makeOwn<op::glGenQueries>(&GlContext::queryTable, n, ids, "glGenQueries(): failed");
}

GLboolean APIENTRY glIsBuffer(GLuint buffer) { return isNamed<op::glIsBuffer, ShareSlot::kBuffers>(buffer); }
GLboolean APIENTRY glIsTexture(GLuint texture) { return isObject<op::glIsTexture, ShareSlot::kTextures>(texture); }
GLboolean APIENTRY glIsTransformFeedback(GLuint id) {
  return isObject<op::glIsTransformFeedback, ShareSlot::kTransformFeedbacks>(id);
}
GLboolean APIENTRY glIsVertexArray(GLuint array) { return isOwn<op::glIsVertexArray>(&GlContext::vertexArrayTable, array); }
GLboolean APIENTRY glIsQuery(GLuint id) { return isOwn<op::glIsQuery>(&GlContext::queryTable, id); }

}  // namespace gl

}  // namespace qv
