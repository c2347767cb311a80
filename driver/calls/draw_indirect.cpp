// Draws whose counts lie in memory: those that the host cannot carry out by itself become plain draws.
#include "driver/calls/client_arrays.h"
#include "driver/state/buffer_bindings.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/record_command.h"

namespace qv {
namespace {

// Reads the record of an indirect draw, from the program's memory or from the copy of the buffer, which it renews if need be, at
// the cost of a map that the program has: required oddity 160.
// False when the buffer has no record or is too short, which is no error.
template <typename Words>
bool readRecord(GlContext* context, const void* indirect, Words& out) {
  const uint32_t name = context->buffers.drawIndirect;
  if (name == 0) {
    std::memcpy(&out, indirect, sizeof out);
    return true;
  }
  const BufferObject* const buffer = findBuffer(context, name);
  if (buffer == nullptr || static_cast<uint32_t>(buffer->size) < sizeof out) return false;
  if (buffer->store.data() == nullptr || buffer->shadowIsStale()) {
    gl::glMapBuffer(GL_DRAW_INDIRECT_BUFFER, GL_READ_ONLY);
    gl::glUnmapBuffer(GL_DRAW_INDIRECT_BUFFER);
  }
  const uint64_t offset = reinterpret_cast<uintptr_t>(indirect), have = buffer->readableBytes();
  if (have < sizeof out || offset > have - sizeof out) return false;
  std::memcpy(&out, buffer->store.data() + offset, sizeof out);
  return true;
}

struct ArraysWords {
  uint32_t count, instances, first, baseInstance;
};
struct ElementsWords {
  uint32_t count, instances, firstIndex;
  int32_t baseVertex;
  uint32_t baseInstance;
};

// The context of an indirect draw; null after a refusal, and when the host itself can read the record, to which `send` gives it.
template <typename Row, typename Send>
GlContext* enterIndirect(const void* indirect, Send&& send) {
  GlContext* const context = currentContext();
  if (context == nullptr) return nullptr;
  if (context->buffers.drawIndirect == 0) {
    if (indirect != nullptr) return context;
    refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
    return nullptr;
  }
  if (measureClientArrays(context, 1).blockVertexBytes() != 0) return context;
  send(context);
  return nullptr;
}

}  // namespace

namespace gl {

void APIENTRY glDrawArraysIndirect(GLenum mode, const void* indirect) {
  using Row = op::glDrawArraysIndirect;
  GlContext* const context = enterIndirect<Row>(indirect, [&](GlContext* c) {
    sendWords<Row>(c, DrawArraysIndirectRecord{mode, low32(indirect)});
  });
  ArraysWords words;
  if (context == nullptr) return;
  if (!readRecord(context, indirect, words)) {
    context->lastOpcode = Row::kOpcode;
    return;
  }
  glDrawArraysInstancedBaseInstance(mode, static_cast<GLint>(words.first), static_cast<GLsizei>(words.count),
                                    static_cast<GLsizei>(words.instances), words.baseInstance);
}

void APIENTRY glDrawElementsIndirect(GLenum mode, GLenum type, const void* indirect) {
  using Row = op::glDrawElementsIndirect;
  GlContext* const context = enterIndirect<Row>(indirect, [&](GlContext* c) {
    sendWords<Row>(c, DrawElementsIndirectRecord{mode, type, low32(indirect)});
  });
  ElementsWords words;
  if (context == nullptr) return;
  if (!readRecord(context, indirect, words)) {
    context->lastOpcode = Row::kOpcode;
    return;
  }
  const uint64_t indexBytes = type == GL_UNSIGNED_SHORT ? 2 : type == GL_UNSIGNED_INT ? 4 : 1;
  // The first index counts from the element buffer's beginning. Without one there are no indices: they have no address.
  const uint64_t offset = currentVertexArray(context)->elementArrayBuffer == 0 ? 0 : words.firstIndex * indexBytes;
  const auto* const indices = reinterpret_cast<const void*>(static_cast<uintptr_t>(offset));
  glDrawElementsInstancedBaseVertexBaseInstance(mode, static_cast<GLsizei>(words.count), type, indices,
                                                static_cast<GLsizei>(words.instances), words.baseVertex, words.baseInstance);
}

void APIENTRY glMultiDrawArraysIndirect(GLenum mode, const void* indirect, GLsizei drawcount, GLsizei stride) {
  GlContext* const context = currentContext();
  if (context != nullptr)
    sendWords<op::glMultiDrawArraysIndirect>(context, MultiDrawArraysIndirectRecord{mode, low32(indirect), drawcount, stride});
}

void APIENTRY glMultiDrawElementsIndirect(GLenum mode, GLenum type, const void* indirect, GLsizei drawcount, GLsizei stride) {
  GlContext* const context = currentContext();
  if (context != nullptr)
    sendWords<op::glMultiDrawElementsIndirect>(context,
                                               MultiDrawElementsIndirectRecord{mode, type, low32(indirect), drawcount, stride});
}

}  // namespace gl
}  // namespace qv
