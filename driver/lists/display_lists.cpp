// Display lists: the recording's begin and end, and the calls that make, name and delete lists.
#include <cstdlib>

#include "driver/objects/share_group.h"
#include "driver/stream/entry_points.h"
#include "driver/stream/entry_template.h"

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

// Nothing happens for a list, mode or state that GL refuses: the command has gone to the host, and the host reports it.
void beginRecording(GlContext* context, GLuint list, GLenum mode) {
  if (context->recordingList || list == 0 || (mode != GL_COMPILE && mode != GL_COMPILE_AND_EXECUTE)) return;
  DisplayListStream* stream;
  {
    const ShareLock lock(context);
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

// Begin check and run close of the list calls that have a command of their own. False when refused.
bool startListCall(GlContext* context, uint32_t opcode) {
  if (context->insideBegin) {
    refuse(context, opcode, GL_INVALID_OPERATION);
    return false;
  }
  if (context->run.open) closeRun(context, kRunBroken);
  context->lastOpcode = static_cast<int32_t>(opcode);
  return true;
}

void writeCallLists(CommandStream& stream, GLsizei n, GLenum type, const void* lists, uint32_t bytes) {
  constexpr uint32_t kFixed = 16;
  const uint32_t total = kFixed + bytes;
  uint8_t* const at = beginCommand(stream, opcodeOf<op::glCallLists>, total);
  put(at, n);
  put(at + 4, type);
  put(at + 8, bytes);
  // In bounds: the total counts these bytes, unless it wrapped in 32 bits, and then nothing is copied.
  if (bytes != 0 && total >= kFixed) std::memcpy(at + 12, lists, bytes);
}

}  // namespace

namespace gl {

void APIENTRY glNewList(GLuint list, GLenum mode) {
  GlContext* const context = currentContext();
  if (!context || !startListCall(context, opcodeOf<op::glNewList>)) return;
  uint8_t* const at = beginCommand(*context, opcodeOf<op::glNewList>, 12);
  put(at, list);
  put(at + 4, mode);
  beginRecording(context, list, mode);
}

void APIENTRY glEndList() {
  GlContext* const context = currentContext();
  if (!context || !startListCall(context, opcodeOf<op::glEndList>)) return;
  beginCommand(*context, opcodeOf<op::glEndList>, 4);
  if (!context->recordingList) return;
  context->recordingList = nullptr;
  context->listMode = 0;
}

void APIENTRY glCallList(GLuint list) {
  GlContext* const context = currentContext();
  if (!context) return;
  constexpr uint32_t kOpcode = opcodeOf<op::glCallList>;
  if (context->recordingList) [[unlikely]] {
    context->recordingList->lastOpcode = kOpcode;
    put(beginCommand(*context->recordingList, kOpcode, 8), list);
  }
  if (context->run.open) [[unlikely]]
    closeRun(context, kRunBroken);
  context->lastOpcode = kOpcode;
  put(beginCommand(*context, kOpcode, 8), list);
}

void APIENTRY glCallLists(GLsizei n, GLenum type, const GLvoid* lists) {
  GlContext* const context = currentContext();
  if (!context) return;
  constexpr uint32_t kOpcode = opcodeOf<op::glCallLists>;
  const uint32_t bytes = n < 0 ? 0 : static_cast<uint32_t>(n) * listNameBytes(type);
  if (context->recordingList) {
    context->recordingList->lastOpcode = kOpcode;
    writeCallLists(*context->recordingList, n, type, lists, bytes);
  }
  if (context->run.open) closeRun(context, kRunBroken);
  context->lastOpcode = kOpcode;
  writeCallLists(*context, n, type, lists, bytes);
}

GLuint APIENTRY glGenLists(GLsizei range) {
  GlContext* const context = currentContext();
  if (!context) return 0;
  constexpr uint32_t kOpcode = opcodeOf<op::glGenLists>;
  if (context->insideBegin) {
    refuse(context, kOpcode, GL_INVALID_OPERATION);
    return 0;
  }
  context->lastOpcode = kOpcode;
  GLuint first = 0;
  bool made = false;
  if (range > 0) {
    withNames(range, [&](uint32_t* names) {
      const ShareLock lock(context);
      made = context->shareGroup->table(ShareSlot::kLists).generate(range, names);
      if (made) first = names[0];
    });
  }
  if (!made) recordError(context, GL_INVALID_OPERATION, 0, "glGenLists(): failed");
  return first;
}

GLboolean APIENTRY glIsList(GLuint list) {
  GlContext* const context = currentContext();
  if (!context) return GL_FALSE;
  constexpr uint32_t kOpcode = opcodeOf<op::glIsList>;
  if (context->insideBegin) {
    refuse(context, kOpcode, GL_INVALID_OPERATION);
    return GL_FALSE;
  }
  context->lastOpcode = kOpcode;
  const ShareLock lock(context);
  return context->shareGroup->table(ShareSlot::kLists).contains(list);
}

void APIENTRY glDeleteLists(GLuint list, GLsizei range) {
  GlContext* const context = currentContext();
  if (!context || !startListCall(context, opcodeOf<op::glDeleteLists>)) return;
  uint8_t* const at = beginCommand(*context, opcodeOf<op::glDeleteLists>, 12);
  put(at, list);
  put(at + 4, range);
  if (range < 0) return;
  withNames(range, [&](uint32_t* names) {
    if (!names) return;  // a range that no memory could hold names
    for (int32_t i = 0; i < range; ++i) names[i] = list + static_cast<uint32_t>(i);
    const ShareLock lock(context);
    context->shareGroup->table(ShareSlot::kLists).removeNames(range, names);
  });
}

}  // namespace gl
}  // namespace qv
