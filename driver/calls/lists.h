// The shadow of the list calls.
#pragma once

#include "driver/state/gl_context.h"
#include "wire/entry_table.h"

namespace qv {

// A list, mode or state that GL refuses changes nothing: the host has the command and reports the error. The recording is the
// context's own until its end: meanwhile another context may delete the name, or this one may change its share group. The name is
// in use from here on.
void beginRecording(GlContext* context, GLuint list, GLenum mode);
// The recording takes the place of the list of its name.
void endRecording(GlContext* context);
// A negative range is the host's to refuse.
void removeLists(GlContext* context, GLuint list, GLsizei range);

// What the call of a list does to the shadow, the list base added to its name; defined by the scanner.
void callListShadow(GlContext* context, GLuint list);
void callListsShadow(GlContext* context, GLsizei n, GLenum type, const void* lists);

inline void shadow(op::glCallList, GlContext* c, GLuint list) { callListShadow(c, list); }
inline void shadow(op::glCallLists, GlContext* c, GLsizei n, GLenum type, const GLvoid* lists) {
  // Names that are too many for a command have not been read.
  const uint64_t bytes = CallListsRecord::of(n, type, lists).tailBytes();
  if (payloadOf(sizeof(CallListsRecord), bytes) == sizeof(CallListsRecord) + bytes) callListsShadow(c, n, type, lists);
}
inline void shadow(op::glNewList, GlContext* c, GLuint list, GLenum mode) { beginRecording(c, list, mode); }
inline void shadow(op::glEndList, GlContext* c) { endRecording(c); }
inline void shadow(op::glDeleteLists, GlContext* c, GLuint list, GLsizei range) { removeLists(c, list, range); }
inline void shadow(op::glListBase, GlContext* c, GLuint base) { c->list.current().listBase = base; }

}  // namespace qv
