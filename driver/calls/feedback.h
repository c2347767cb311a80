// The shadow of transform feedback.
#pragma once

#include "driver/state/shared_objects.h"
#include "wire/entry_table.h"

namespace qv {

// A generated name gets its object, and with it a place for a label.
inline void shadow(op::glBindTransformFeedback, GlContext* c, GLenum, GLuint id) {
  const ShareLock held(c->shareGroup);
  NameTable& objects = c->shareGroup->table(ShareSlot::kTransformFeedbacks);
  if (id != 0 && objects.find(id) == nullptr) objects.set(id, new LabelRecord);
}

// The host has written the buffers: what the guest holds of their contents is old.
void noteFeedbackWritten(GlContext* context);
// The command has gone to the host although a list may only be compiled: required oddity 122.
inline void shadow(op::glEndTransformFeedback, GlContext* c) { noteFeedbackWritten(c); }
inline void shadow(op::glEndTransformFeedbackEXT, GlContext* c) { noteFeedbackWritten(c); }

}  // namespace qv
