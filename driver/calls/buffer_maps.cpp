// Mapping, unmapping and reading back of buffers, and the queries of their records.
#include "driver/calls/buffers.h"
#include "driver/queries/forward.h"
#include "driver/stream/flush.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/record_command.h"

namespace qv {
namespace {

// The buffer of a call that finds its own words for an unbound target. False after a bad target, whose error is recorded.
bool lookUp(GlContext* context, GLenum target, BufferObject*& buffer) {
  GLenum error = GL_NO_ERROR;
  const uint32_t name = boundBufferName(context, target, &error);
  buffer = findBuffer(context, name);
  return error == GL_NO_ERROR;
}

// Pulls the host's contents into the copy: required oddity 94.
void refreshShadow(GLenum target) {
  gl::glMapBuffer(target, GL_READ_ONLY);
  gl::glUnmapBuffer(target);
}

template <typename Row, typename T>
void getParameter(GLenum target, GLenum pname, T* params) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const BufferObject* const buffer = needBuffer(context, target);
  if (buffer == nullptr) return;
  const auto answer = [params](auto value) { *params = static_cast<T>(value); };
  switch (pname) {
    case GL_BUFFER_SIZE:
      return answer(buffer->size);
    case GL_BUFFER_USAGE:
      return answer(buffer->usage);
    case GL_BUFFER_ACCESS:
      return answer(buffer->access);
    case GL_BUFFER_MAPPED:
      return answer(buffer->mapped || buffer->mappedRange);
    case GL_BUFFER_ACCESS_FLAGS:
      return answer(buffer->accessFlags);
    case GL_BUFFER_MAP_LENGTH:
      return answer(buffer->mappedRange ? buffer->mapLength : buffer->mapped ? buffer->size : 0);
    case GL_BUFFER_MAP_OFFSET:
      return answer(buffer->mapOffset);
    default:
      break;
  }
  // forwardGet() is silent about an empty list of binary formats.
  const uint32_t errors = context->errorsRaised;
  if (!forwardGet(context, opcodeOf<Row>, {target, pname}, pname, params, sizeof(T)) && context->errorsRaised == errors)
    recordError(context, GL_INVALID_ENUM, 0, kErrorText);
}

}  // namespace

namespace gl {

void* APIENTRY glMapBuffer(GLenum target, GLenum access) {
  using Row = op::glMapBuffer;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return nullptr;
  if (access != GL_READ_ONLY && access != GL_WRITE_ONLY && access != GL_READ_WRITE) {
    refuse(context, opcodeOf<Row>, GL_INVALID_ENUM);
    return nullptr;
  }
  BufferObject* const buffer = needBuffer(context, target);
  if (buffer == nullptr) return nullptr;
  uint8_t* mapping = nullptr;
  if (!buffer->mapWhole(access, mapping)) {
    refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
    return nullptr;
  }
  // A map for writing alone reads back too: required oddity 93.
  const uint32_t bytes = buffer->shadowIsStale() && mapping != nullptr ? static_cast<uint32_t>(buffer->size) : 0;
  sendWords<Row>(context, MapBufferRecord{target, access, bytes});
  if (bytes != 0) flushStream(context, 0, mapping, bytes, nullptr, 0);
  return mapping;
}

void* APIENTRY glMapBufferRange(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access) {
  using Row = op::glMapBufferRange;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return nullptr;
  const auto refused = [context](GLenum error) -> void* {
    refuse(context, opcodeOf<Row>, error);
    return nullptr;
  };
  constexpr GLbitfield kKnownBits = 255;
  if (offset < 0 || length < 0 || access > kKnownBits) return refused(GL_INVALID_VALUE);
  const bool reads = (access & GL_MAP_READ_BIT) != 0, writes = (access & GL_MAP_WRITE_BIT) != 0;
  constexpr GLbitfield kNotWithReads = GL_MAP_INVALIDATE_RANGE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT | GL_MAP_UNSYNCHRONIZED_BIT;
  if ((!reads && !writes) || (reads && (access & kNotWithReads) != 0) || (!writes && (access & GL_MAP_FLUSH_EXPLICIT_BIT) != 0))
    return refused(GL_INVALID_OPERATION);
  BufferObject* buffer = nullptr;
  if (!lookUp(context, target, buffer)) return nullptr;
  if (buffer == nullptr) return refused(GL_INVALID_OPERATION);
  const int64_t size = static_cast<uint32_t>(buffer->size);
  if (offset > size || length > size - offset) return refused(GL_INVALID_VALUE);
  if (!buffer->mapped && !buffer->mappedRange && (buffer->store.data() == nullptr || buffer->shadowIsStale()))
    refreshShadow(target);
  uint8_t* mapping = nullptr;
  if (!buffer->mapRange(access, mapping, offset, length)) return refused(GL_INVALID_OPERATION);
  context->lastOpcode = Row::kOpcode;
  return mapping;
}

// What a range map has written goes to the host when it ends, flushed or not.
void APIENTRY glFlushMappedBufferRange(GLenum target, GLintptr, GLsizeiptr) {
  GlContext* const context = enter<op::glFlushMappedBufferRange>();
  if (context != nullptr) needBuffer(context, target);
}

GLboolean APIENTRY glUnmapBuffer(GLenum target) {
  using Row = op::glUnmapBuffer;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return GL_FALSE;
  BufferObject* buffer = nullptr;
  if (!lookUp(context, target, buffer)) return GL_FALSE;
  if (buffer != nullptr && buffer->mapped) {
    buffer->mapped = 0;
    buffer->hostContentsNewer = 0;
    buffer->mapOffset = buffer->mapLength = 0;
    buffer->access = GL_READ_WRITE;
    const DataLength length(buffer->readableBytes());
    uint8_t* const payload = sendWithData<Row>(context, UnmapBufferRecord{target, length.word}, length.payload);
    // In bounds: the store has that many bytes.
    if (length.payload != 0) std::memcpy(payload, buffer->store.data(), static_cast<size_t>(length.payload));
    return GL_TRUE;
  }
  if (buffer != nullptr && buffer->mappedRange) {
    const int64_t offset = buffer->mapOffset, length = buffer->mapLength;
    buffer->mappedRange = 0;
    buffer->hostContentsNewer = 0;
    buffer->mapLength = 0;
    // A glBufferData since the map may have made the buffer longer than its store.
    const int64_t have = buffer->store.capacity;
    const bool inside = buffer->store.data() != nullptr && offset <= have && length <= have - offset;
    glBufferSubData(target, static_cast<GLintptr>(offset), static_cast<GLsizeiptr>(length),
                    inside ? buffer->store.data() + offset : nullptr);
    buffer->mapOffset = buffer->mapLength = 0;
    buffer->access = GL_READ_WRITE;
    return GL_TRUE;
  }
  refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  return GL_FALSE;
}

void APIENTRY glGetBufferSubData(GLenum target, GLintptr offset, GLsizeiptr size, void* data) {
  using Row = op::glGetBufferSubData;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const BufferObject* const buffer = needBuffer(context, target);
  if (buffer == nullptr) return;
  if (buffer->mapped) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  // A size of 0 stands for the whole buffer, wherever the offset is: required oddity 99.
  const auto bytes = size == 0 ? static_cast<uint32_t>(buffer->size) : static_cast<uint32_t>(size);
  sendWords<Row>(context, GetBufferSubDataRecord{target, static_cast<uint32_t>(offset), bytes});
  const bool readable = size >= 0 && static_cast<uint64_t>(size) <= 0xFFFFFFFF && bytes != 0;
  flushStream(context, 0, readable ? data : nullptr, readable ? bytes : 0, nullptr, 0);
}

void APIENTRY glGetBufferPointerv(GLenum target, GLenum pname, void** params) {
  using Row = op::glGetBufferPointerv;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (pname != GL_BUFFER_MAP_POINTER) return refuse(context, opcodeOf<Row>, GL_INVALID_ENUM);
  const BufferObject* const buffer = needBuffer(context, target);
  uint8_t* pointer = nullptr;
  if (buffer != nullptr && buffer->store.data() != nullptr) {
    if (buffer->mapped) pointer = buffer->store.data();
    if (buffer->mappedRange) pointer = buffer->store.data() + buffer->mapOffset;
  }
  *params = pointer;
}

void APIENTRY glGetBufferParameteriv(GLenum target, GLenum pname, GLint* params) {
  getParameter<op::glGetBufferParameteriv>(target, pname, params);
}
void APIENTRY glGetBufferParameteri64v(GLenum target, GLenum pname, GLint64* params) {
  getParameter<op::glGetBufferParameteri64v>(target, pname, params);
}

}  // namespace gl
}  // namespace qv
