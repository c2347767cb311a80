// Display lists: the recording's begin and end, and the calls that make, name and delete lists.
#include <cstdlib>

#include "driver/objects/share_group.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

constexpr int32_t kStackNames = 1024;  // ranges up to here need no heap

// Calls `use(names)` with room for `n` names, on the stack for a small range.
template <typename Use>
void withNames(int32_t n, Use&& use) {
  uint32_t onStack[kStackNames];
  uint32_t* const names =
      n <= kStackNames ? onStack : static_cast<uint32_t*>(std::malloc(static_cast<size_t>(n) * sizeof(uint32_t)));
  use(names);
  if (names != onStack) std::free(names);
}

// Does nothing for a list, mode or state that GL refuses: the host has the command and reports the error.
void beginRecording(GlContext* context, GLuint list, GLenum mode) {
  if (context->recordingList || list == 0 || (mode != GL_COMPILE && mode != GL_COMPILE_AND_EXECUTE)) return;
  DisplayListStream* stream;
  {
    const ShareLock lock(context->shareGroup);
    NameTable& lists = context->shareGroup->table(ShareSlot::kLists);
    stream = static_cast<DisplayListStream*>(lists.findAs<CommandStream>(list));
    if (!stream) {
      stream = new DisplayListStream(list);
      lists.set(list, static_cast<CommandStream*>(stream));
    }
  }
  stream->restart();
  context->recordingList = stream;
  context->listMode = mode;
}

}  // namespace

namespace gl {

void APIENTRY glNewList(GLuint list, GLenum mode) {
  GlContext* const context = enter<op::glNewList>();
  if (!context) return;
  send<op::glNewList>(context, list, mode);
  beginRecording(context, list, mode);
}

void APIENTRY glEndList() {
  GlContext* const context = enter<op::glEndList>();
  if (!context) return;
  send<op::glEndList>(context);
  if (!context->recordingList) return;
  context->recordingList = nullptr;
  context->listMode = 0;
}

void APIENTRY glCallList(GLuint list) {
  GlContext* const context = currentContext();
  if (!context) return;
  recordInList<op::glCallList>(context, list);
  send<op::glCallList>(context, list);
}

void APIENTRY glCallLists(GLsizei n, GLenum type, const GLvoid* lists) {
  GlContext* const context = currentContext();
  if (!context) return;
  recordInList<op::glCallLists>(context, n, type, lists);
  send<op::glCallLists>(context, n, type, lists);
}

GLuint APIENTRY glGenLists(GLsizei range) {
  GlContext* const context = enter<op::glGenLists>();
  if (!context) return 0;
  GLuint first = 0;
  bool made = false;
  if (range > 0) {
    withNames(range, [&](uint32_t* names) {
      const ShareLock lock(context->shareGroup);
      made = context->shareGroup->table(ShareSlot::kLists).generate(range, names);
      if (made) first = names[0];
    });
  }
  if (!made) recordError(context, GL_INVALID_OPERATION, 0, "glGenLists(): failed");
  return first;
}

GLboolean APIENTRY glIsList(GLuint list) {
  GlContext* const context = enter<op::glIsList>();
  if (!context) return GL_FALSE;
  const ShareLock lock(context->shareGroup);
  return context->shareGroup->table(ShareSlot::kLists).contains(list);
}

void APIENTRY glDeleteLists(GLuint list, GLsizei range) {
  GlContext* const context = enter<op::glDeleteLists>();
  if (!context) return;
  send<op::glDeleteLists>(context, list, range);
  if (range < 0) return;
  withNames(range, [&](uint32_t* names) {
    if (!names) return;  // no memory for so many names
    for (int32_t i = 0; i < range; ++i) names[i] = list + static_cast<uint32_t>(i);
    const ShareLock lock(context->shareGroup);
    context->shareGroup->table(ShareSlot::kLists).removeNames(range, names);
  });
}

}  // namespace gl
}  // namespace qv
