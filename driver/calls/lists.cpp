// Display lists: the recording's begin and end, and the names.
#include <cstdlib>
#include <utility>

#include "driver/calls/lists.h"
#include "driver/objects/display_list_stream.h"
#include "driver/objects/share_group.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

constexpr uint64_t kNames = uint64_t{1} << 32;
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

}  // namespace

void beginRecording(GlContext* context, GLuint list, GLenum mode) {
  if (context->recordingList != nullptr || list == 0 || (mode != GL_COMPILE && mode != GL_COMPILE_AND_EXECUTE)) return;
  uint64_t capacity = 0;  // a list that is defined again takes about as much as before
  {
    const ShareLock lock(context->shareGroup);
    NameTable& lists = context->shareGroup->table(ShareSlot::kLists);
    if (!lists.contains(list)) lists.set(list, nullptr);
    if (const auto* const old = lists.findAs<CommandStream>(list); old != nullptr) capacity = old->capacity;
  }
  context->recordingList = new DisplayListStream(list, capacity);
  context->listMode = mode;
}

void endRecording(GlContext* context) {
  if (context->recordingList == nullptr) return;
  DisplayListStream* const list = context->recordingList;
  context->recordingList = nullptr;
  context->listMode = 0;
  const ShareLock lock(context->shareGroup);
  NameTable& lists = context->shareGroup->table(ShareSlot::kLists);
  // The label belongs to the name.
  if (auto* const old = static_cast<DisplayListStream*>(lists.findAs<CommandStream>(list->listId)); old != nullptr)
    std::swap(list->label, old->label);
  lists.set(list->listId, static_cast<CommandStream*>(list));
  context->shareGroup->listsChanged();
}

void removeLists(GlContext* context, GLuint list, GLsizei range) {
  if (range < 0) return;
  const uint64_t end = uint64_t{list} + static_cast<uint32_t>(range);
  const ShareLock lock(context->shareGroup);
  NameTable& lists = context->shareGroup->table(ShareSlot::kLists);
  lists.removeRange(list, end);
  if (end > kNames) lists.removeRange(0, end - kNames);  // names wrap around
  context->shareGroup->listsChanged();
}

namespace gl {

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

}  // namespace gl
}  // namespace qv
