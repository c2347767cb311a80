// Labels of objects: texts in the guest's own records, of which the host never hears.
#include <cstdlib>
#include <cstring>

#include "driver/objects/buffer_object.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/program_objects.h"
#include "driver/stream/entry.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

constexpr size_t kMostLabel = 255;

struct LabelSlot {
  char** label = nullptr;
  GLenum error = 0;  // why there is none
};

LabelSlot slotOf(char** label) { return {label, label == nullptr ? GLenum{GL_INVALID_VALUE} : GLenum{0}}; }

// The label of a row's object.
template <typename Object>
LabelSlot labelIn(NameTable& table, GLuint name) {
  auto* const object = static_cast<Object*>(table.find(name));
  return slotOf(object == nullptr ? nullptr : &object->label);
}
// The same in a table whose rows hold the address of a base.
template <typename Object, typename Base>
LabelSlot labelIn(NameTable& table, GLuint name) {
  auto* const object = static_cast<Object*>(static_cast<Base*>(table.find(name)));
  return slotOf(object == nullptr ? nullptr : &object->label);
}

// Names of which the guest has no record otherwise: whether the host has such an object is not known (required oddity 137).
LabelSlot labelOfAny(NameTable& table, GLuint name) {
  if (name != 0 && table.find(name) == nullptr) table.set(name, new LabelRecord);
  return labelIn<LabelRecord>(table, name);
}

LabelSlot labelOfProgram(GlContext* context, GLuint name) {
  NameTable& programs = context->shareGroup->table(ShareSlot::kPrograms);
  if (programs.contains(name) && programs.find(name) == nullptr) {
    // A record without resources: the guest then answers for the program as for one that has none (required oddity 138).
    auto* const record = new ProgramRecord;
    if (name == context->currentProgram) ++record->useCount;
    programs.set(name, static_cast<TrackedObject*>(record));
    context->shareGroup->programsChanged();
  }
  return labelIn<ProgramRecord, TrackedObject>(programs, name);
}

// The recording of a new list stands in the table from its end on.
LabelSlot labelOfList(GlContext* context, GLuint name) {
  const LabelSlot slot = labelIn<DisplayListStream, CommandStream>(context->shareGroup->table(ShareSlot::kLists), name);
  DisplayListStream* const recording = context->recordingList;
  if (slot.label != nullptr || recording == nullptr || recording->listId != name) return slot;
  return slotOf(&recording->label);
}

// Under the lock of the share group.
LabelSlot labelSlotOf(GlContext* context, GLenum identifier, GLuint name) {
  const auto shared = [&](ShareSlot slot) -> NameTable& { return context->shareGroup->table(slot); };
  switch (identifier) {
    case GL_DISPLAY_LIST:
      return labelOfList(context, name);
    case GL_TEXTURE:
      return labelIn<LabelRecord>(shared(ShareSlot::kTextures), name);
    case GL_VERTEX_ARRAY:
    case GL_VERTEX_ARRAY_OBJECT_EXT:
      return labelIn<VertexArrayObject, TrackedObject>(context->vertexArrayTable, name);
    case GL_BUFFER:
      return labelIn<BufferObject, TrackedObject>(shared(ShareSlot::kBuffers), name);
    case GL_SHADER:
      return labelIn<LabelRecord>(shared(ShareSlot::kShaders), name);
    case GL_PROGRAM:
    case GL_PROGRAM_OBJECT_EXT:
      return labelOfProgram(context, name);
    case GL_QUERY:
    case GL_QUERY_OBJECT_EXT:
      return labelIn<QueryRecord>(context->queryTable, name);
    case GL_PROGRAM_PIPELINE:
    case GL_PROGRAM_PIPELINE_OBJECT_EXT:
      return labelIn<PipelineRecord>(shared(ShareSlot::kPipelines), name);
    case GL_SAMPLER:
      return labelOfAny(shared(ShareSlot::kSamplers), name);
    case GL_FRAMEBUFFER:
      return labelOfAny(shared(ShareSlot::kFramebuffers), name);
    case GL_RENDERBUFFER:
      return labelOfAny(shared(ShareSlot::kRenderbuffers), name);
    case GL_TRANSFORM_FEEDBACK:
      return labelIn<LabelRecord>(shared(ShareSlot::kTransformFeedbacks), name);
    default:
      return {nullptr, GL_INVALID_ENUM};
  }
}

LabelSlot labelOfSync(GlContext* context, const void* sync) {
  return labelIn<LabelRecord>(context->shareGroup->table(ShareSlot::kSyncs),
                              static_cast<GLuint>(reinterpret_cast<uintptr_t>(sync)));
}

// Stores a label of any length; one that is too long is an error all the same (required oddity 139). Without memory there is
// none.
GLenum setLabel(char*& stored, const GLchar* label, GLsizei length) {
  std::free(stored);
  stored = nullptr;
  if (label == nullptr) return 0;
  const size_t bytes = length < 0 ? std::strlen(label) : static_cast<size_t>(length);
  stored = static_cast<char*>(std::malloc(bytes + 1));
  if (stored != nullptr) {
    std::memcpy(stored, label, bytes);
    stored[bytes] = 0;
  }
  return bytes > kMostLabel ? GL_INVALID_VALUE : 0;
}

// As much of a label as the buffer holds with its zero; `length` gets what was copied, or the whole length without room.
void copyLabelOut(const char* stored, GLchar* buffer, GLsizei* length, GLsizei bufSize) {
  size_t bytes = stored == nullptr ? 0 : std::strlen(stored);
  if (bufSize != 0 && buffer != nullptr) {
    if (bytes >= static_cast<size_t>(bufSize)) bytes = static_cast<size_t>(bufSize) - 1;
    if (bytes != 0) std::memcpy(buffer, stored, bytes);
    buffer[bytes] = 0;
  }
  if (length != nullptr) *length = static_cast<GLsizei>(bytes);
}

// Finds a label by find(context) and gives it to use(label), which returns an error, all under the lock of the names. The error
// is raised behind it: the debug callback may call GL.
template <typename Find, typename Use>
void withLabel(GlContext* context, Find&& find, Use&& use) {
  GLenum error = 0;
  {
    const ShareLock lock(context->shareGroup);
    const LabelSlot slot = find(context);
    error = slot.label == nullptr ? slot.error : use(*slot.label);
  }
  if (error != 0) recordError(context, error, 0, kErrorText);
}

template <typename Find>
void storeLabel(GLsizei length, const GLchar* label, Find&& find) {
  GlContext* const context = currentContext();
  if (context != nullptr) withLabel(context, find, [&](char*& stored) { return setLabel(stored, label, length); });
}

template <typename Find>
void readLabel(GLsizei bufSize, GLsizei* length, GLchar* label, Find&& find) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (bufSize < 0) return recordError(context, GL_INVALID_VALUE, 0, kErrorText);
  withLabel(context, find, [&](const char* stored) {
    copyLabelOut(stored, label, length, bufSize);
    return GLenum{0};
  });
}

auto named(GLenum identifier, GLuint name) {
  return [=](GlContext* context) { return labelSlotOf(context, identifier, name); };
}
auto synced(const void* sync) {
  return [=](GlContext* context) { return labelOfSync(context, sync); };
}

}  // namespace

namespace gl {

void APIENTRY glObjectLabel(GLenum identifier, GLuint name, GLsizei length, const GLchar* label) {
  storeLabel(length, label, named(identifier, name));
}
void APIENTRY glLabelObjectEXT(GLenum type, GLuint object, GLsizei length, const GLchar* label) {
  storeLabel(length, label, named(type, object));
}
void APIENTRY glObjectPtrLabel(const void* ptr, GLsizei length, const GLchar* label) { storeLabel(length, label, synced(ptr)); }

void APIENTRY glGetObjectLabel(GLenum identifier, GLuint name, GLsizei bufSize, GLsizei* length, GLchar* label) {
  readLabel(bufSize, length, label, named(identifier, name));
}
void APIENTRY glGetObjectLabelEXT(GLenum type, GLuint object, GLsizei bufSize, GLsizei* length, GLchar* label) {
  readLabel(bufSize, length, label, named(type, object));
}
void APIENTRY glGetObjectPtrLabel(const void* ptr, GLsizei bufSize, GLsizei* length, GLchar* label) {
  readLabel(bufSize, length, label, synced(ptr));
}

}  // namespace gl
}  // namespace qv
