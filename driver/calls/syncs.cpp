// Fences, and what is asked about them.
#include "driver/calls/syncs.h"

#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv::gl {

// A fence costs a round trip: the host gives its name.
GLsync APIENTRY glFenceSync(GLenum condition, GLbitfield flags) {
  GlContext* const context = currentContext();
  if (context == nullptr) return nullptr;
  send<op::glFenceSync>(context, condition, flags);
  uint32_t name = 0;
  flushStream(context, 0, &name, sizeof name, nullptr, 0);
  const ShareLock held(context->shareGroup);
  NameTable& syncs = context->shareGroup->table(ShareSlot::kSyncs);
  if (name != 0 && !syncs.contains(name)) syncs.set(name, new LabelRecord);
  return reinterpret_cast<GLsync>(static_cast<uintptr_t>(name));
}

void APIENTRY glGetSynciv(GLsync sync, GLenum pname, GLsizei bufSize, GLsizei* length, GLint* values) {
  using Row = op::glGetSynciv;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (pname != GL_OBJECT_TYPE && pname != GL_SYNC_CONDITION && pname != GL_SYNC_STATUS && pname != GL_SYNC_FLAGS) {
    return refuse(context, opcodeOf<Row>, GL_INVALID_ENUM);
  }
  if (bufSize <= 0) return;  // required oddity 120
  GLsizei written = 0;
  sendRecord<Row>(context, SyncValueRecord{syncName(sync), pname, 1});
  flushStream(context, 0, &written, sizeof written, values, sizeof *values);
  if (length != nullptr) *length = written;
}

}  // namespace qv::gl
