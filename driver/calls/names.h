// The shadow of the calls that delete names.
#pragma once

#include "driver/state/shared_objects.h"
#include "wire/entry_table.h"

namespace qv {

// Removes names one at a time under one holding of the lock.
inline void removeLabels(GlContext* c, ShareSlot slot, GLsizei n, const GLuint* names) {
  const ShareLock lock(c->shareGroup);
  for (GLsizei i = 0; i < n; ++i) c->shareGroup->table(slot).removeNames(1, names + i);
}
// The bindings stay as they are: required oddity 90.
inline void shadow(op::glDeleteFramebuffers, GlContext* c, GLsizei n, const GLuint* names) {
  removeLabels(c, ShareSlot::kFramebuffers, n, names);
}
inline void shadow(op::glDeleteFramebuffersEXT, GlContext* c, GLsizei n, const GLuint* names) {
  removeLabels(c, ShareSlot::kFramebuffers, n, names);
}
inline void shadow(op::glDeleteRenderbuffers, GlContext* c, GLsizei n, const GLuint* names) {
  removeLabels(c, ShareSlot::kRenderbuffers, n, names);
}
inline void shadow(op::glDeleteRenderbuffersEXT, GlContext* c, GLsizei n, const GLuint* names) {
  removeLabels(c, ShareSlot::kRenderbuffers, n, names);
}
inline void shadow(op::glDeleteSamplers, GlContext* c, GLsizei n, const GLuint* names) {
  removeLabels(c, ShareSlot::kSamplers, n, names);
}
inline void shadow(op::glDeleteTransformFeedbacks, GlContext* c, GLsizei n, const GLuint* names) {
  removeLabels(c, ShareSlot::kTransformFeedbacks, n, names);
}
// Bindings of units keep the names: required oddity 24.
inline void shadow(op::glDeleteTextures, GlContext* c, GLsizei n, const GLuint* names) {
  const ShareLock lock(c->shareGroup);
  for (GLsizei i = 0; i < n; ++i) deferTextureDelete(c, names[i]);
}
inline void shadow(op::glDeleteQueries, GlContext* c, GLsizei n, const GLuint* names) { c->queryTable.removeNames(n, names); }

}  // namespace qv
