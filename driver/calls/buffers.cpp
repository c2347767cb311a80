// Binding, filling, copying, clearing and deleting of buffers.
#include "driver/calls/buffers.h"

#include "driver/objects/share_group.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"
#include "driver/stream/record_command.h"
#include "wire/clear_value.h"

namespace qv {

uint32_t boundBufferName(GlContext* context, GLenum target, GLenum* error) {
  if (const uint32_t* const binding = bufferBinding(context, target)) return *binding;
  recordError(context, GL_INVALID_ENUM, 0, "BoundBufferId(): bad target 0x%x", target);
  if (error != nullptr) *error = GL_INVALID_ENUM;
  return 0;
}

BufferObject* needBuffer(GlContext* context, GLenum target) {
  GLenum error = GL_NO_ERROR;
  const uint32_t name = boundBufferName(context, target, &error);
  if (error != GL_NO_ERROR) return nullptr;
  BufferObject* const buffer = findBuffer(context, name);
  if (buffer == nullptr) recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
  return buffer;
}

bool bindBufferTarget(GlContext* context, GLenum target, uint32_t name) {
  uint32_t* const binding = bufferBinding(context, target);
  if (binding == nullptr) {
    recordError(context, GL_INVALID_ENUM, 0, "BindBuffer(): bad target 0x%x", target);
    return false;
  }
  *binding = name;
  makeBuffer(context, target, name);
  return true;
}

GLenum bindBufferIndexed(GlContext* context, GLenum target, uint32_t index, uint32_t name) {
  const IndexedBindings indexed = indexedBindings(context, target);
  if (indexed.names == nullptr) return GL_INVALID_ENUM;
  // An index of 2^31 or more is refused too, though it would pass a signed comparison: it lies outside the array.
  if (indexed.limit < 0 || index >= static_cast<uint32_t>(indexed.limit)) return GL_INVALID_VALUE;
  indexed.names[index] = name;
  *bufferBinding(context, target) = name;
  makeBuffer(context, target, name);
  return GL_NO_ERROR;
}

DataLength::DataLength(int64_t bytes) : word(0), payload(0) {
  if (bytes <= 0) return;
  const bool fits = static_cast<uint64_t>(bytes) <= kLongestPayload / 2;
  word = fits ? static_cast<uint32_t>(bytes) : 0xFFFFFFFF;
  payload = fits ? static_cast<uint64_t>(bytes) : 0;
}

namespace {

// Keeps an existing copy current: maps the buffer, lets `copy` fill the mapping and ends the map, be it this one or the program's
// own of glMapBuffer: required oddity 95.
template <typename Copy>
void writeThrough(BufferObject& buffer, Copy&& copy) {
  if (buffer.store.data() == nullptr) return;
  uint8_t* mapping = nullptr;
  buffer.mapWhole(buffer.access, mapping);
  if (mapping != nullptr) copy(mapping);
  if (!buffer.mapped) return;
  buffer.mapped = 0;
  buffer.hostContentsNewer = 0;
}

template <typename Row>
bool bindIndexed(GlContext* context, GLenum target, GLuint index, GLuint buffer) {
  const GLenum error = bindBufferIndexed(context, target, index, buffer);
  if (error != GL_NO_ERROR) refuse(context, opcodeOf<Row>, error);
  return error == GL_NO_ERROR;
}

// Resets what a deleted buffer is bound to: every indexed binding, and the first of the general ones: required oddity 98.
void unbindDeleted(GlContext* context, uint32_t name) {
  for (const GLenum target : kIndexedTargets) {
    const IndexedBindings indexed = indexedBindings(context, target);
    for (int32_t i = 0; i < indexed.limit; ++i) {
      if (indexed.names[i] == name) indexed.names[i] = 0;
    }
  }
  for (const GLenum target : kBufferTargets) {
    if (*bufferBinding(context, target) != name) continue;
    bindBufferTarget(context, target, 0);
    return;
  }
}

// The bytes that a clear takes from the program: as many as the buffer or the range has, although GL looks at one value only:
// required oddity 97. What lies behind that value is not the program's to give.
template <typename Row, typename Record>
void sendClear(GlContext* context, Record record, uint64_t payload, GLenum format, GLenum type, const void* data) {
  uint8_t* const to = sendWithData<Row>(context, record, payload);
  const uint64_t value = clearValueBytes(format, type) < payload ? clearValueBytes(format, type) : payload;
  if (value != 0) std::memcpy(to, data, static_cast<size_t>(value));
  std::memset(to + value, 0, static_cast<size_t>(payload - value));
}

}  // namespace

namespace gl {

void APIENTRY glBindBuffer(GLenum target, GLuint buffer) {
  GlContext* const context = enter<op::glBindBuffer>();
  if (context == nullptr) return;
  // Two errors are recorded, of which the program sees the second: required oddity 91.
  if (!bindBufferTarget(context, target, buffer)) return recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
  send<op::glBindBuffer>(context, target, buffer);
}

void APIENTRY glBindBufferBase(GLenum target, GLuint index, GLuint buffer) {
  GlContext* const context = enter<op::glBindBufferBase>();
  if (context == nullptr || !bindIndexed<op::glBindBufferBase>(context, target, index, buffer)) return;
  send<op::glBindBufferBase>(context, target, index, buffer);
}
void APIENTRY glBindBufferBaseEXT(GLenum target, GLuint index, GLuint buffer) {
  GlContext* const context = enter<op::glBindBufferBaseEXT>();
  if (context == nullptr || !bindIndexed<op::glBindBufferBaseEXT>(context, target, index, buffer)) return;
  send<op::glBindBufferBaseEXT>(context, target, index, buffer);
}
void APIENTRY glBindBufferRange(GLenum target, GLuint index, GLuint buffer, GLintptr offset, GLsizeiptr size) {
  GlContext* const context = enter<op::glBindBufferRange>();
  if (context == nullptr || !bindIndexed<op::glBindBufferRange>(context, target, index, buffer)) return;
  send<op::glBindBufferRange>(context, target, index, buffer, offset, size);
}
void APIENTRY glBindBufferRangeEXT(GLenum target, GLuint index, GLuint buffer, GLintptr offset, GLsizeiptr size) {
  GlContext* const context = enter<op::glBindBufferRangeEXT>();
  if (context == nullptr || !bindIndexed<op::glBindBufferRangeEXT>(context, target, index, buffer)) return;
  send<op::glBindBufferRangeEXT>(context, target, index, buffer, offset, size);
}
void APIENTRY glBindBufferOffsetEXT(GLenum target, GLuint index, GLuint buffer, GLintptr offset) {
  GlContext* const context = enter<op::glBindBufferOffsetEXT>();
  if (context == nullptr || !bindIndexed<op::glBindBufferOffsetEXT>(context, target, index, buffer)) return;
  send<op::glBindBufferOffsetEXT>(context, target, index, buffer, offset);
}

void APIENTRY glBufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
  using Row = op::glBufferData;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (size < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  BufferObject* const buffer = needBuffer(context, target);
  if (buffer == nullptr) return;
  buffer->size = static_cast<int32_t>(size);
  buffer->usage = usage;
  buffer->mapped = 0;
  if (data != nullptr) buffer->hostContentsNewer = 1;

  // The command takes the data first: they may lie in the copy that is about to move.
  const DataLength length(data != nullptr ? size : 0);
  const BufferDataRecord record{target, static_cast<uint32_t>(size), low32(data), usage, length.word};
  uint8_t* const payload = sendWithData<Row>(context, record, length.payload);
  if (length.payload != 0) std::memcpy(payload, data, static_cast<size_t>(length.payload));
  writeThrough(*buffer, [&](uint8_t* mapping) {
    // In bounds: the mapping has `size` bytes, which the payload has or none.
    if (length.payload != 0) std::memcpy(mapping, payload, static_cast<size_t>(length.payload));
  });
}

void APIENTRY glBufferSubData(GLenum target, GLintptr offset, GLsizeiptr size, const void* data) {
  using Row = op::glBufferSubData;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  BufferObject* const buffer = needBuffer(context, target);
  if (buffer == nullptr) return;
  if (data != nullptr) buffer->hostContentsNewer = 1;

  const DataLength length(data != nullptr ? size : 0);
  const BufferSubDataRecord record{target, static_cast<uint32_t>(offset), static_cast<uint32_t>(size), low32(data), length.word};
  uint8_t* const payload = sendWithData<Row>(context, record, length.payload);
  if (length.payload != 0) std::memcpy(payload, data, static_cast<size_t>(length.payload));
  writeThrough(*buffer, [&](uint8_t* mapping) {
    // What does not fit is the host's to refuse.
    const int64_t have = static_cast<uint32_t>(buffer->size);
    if (offset < 0 || offset >= have || length.payload > static_cast<uint64_t>(have - offset)) return;
    if (length.payload != 0) std::memcpy(mapping + offset, payload, static_cast<size_t>(length.payload));
  });
}

void APIENTRY glCopyBufferSubData(GLenum readTarget, GLenum writeTarget, GLintptr readOffset, GLintptr writeOffset,
                                  GLsizeiptr size) {
  using Row = op::glCopyBufferSubData;
  GlContext* const context = enter<Row>();
  if (context == nullptr || needBuffer(context, readTarget) == nullptr) return;
  BufferObject* const written = needBuffer(context, writeTarget);
  if (written == nullptr) return;
  // Neither buffer is asked whether it is mapped: required oddity 96.
  if (size > 0) written->hostContentsNewer = 1;
  send<Row>(context, readTarget, writeTarget, readOffset, writeOffset, size);
}

// Without a buffer both clears are GL_INVALID_OPERATION: required oddity 148.
void APIENTRY glClearBufferData(GLenum target, GLenum internalformat, GLenum format, GLenum type, const void* data) {
  using Row = op::glClearBufferData;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  BufferObject* const buffer = needBuffer(context, target);
  if (buffer == nullptr) return;
  if (data != nullptr) buffer->hostContentsNewer = 1;
  const DataLength length(data != nullptr ? static_cast<uint32_t>(buffer->size) : 0);
  sendClear<Row>(context, ClearBufferDataRecord{target, internalformat, format, type, length.word}, length.payload, format, type,
                 data);
}

void APIENTRY glClearBufferSubData(GLenum target, GLenum internalformat, GLintptr offset, GLsizeiptr size, GLenum format,
                                   GLenum type, const void* data) {
  using Row = op::glClearBufferSubData;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  BufferObject* const buffer = needBuffer(context, target);
  if (buffer == nullptr) return;
  if (data != nullptr) buffer->hostContentsNewer = 1;
  const DataLength length(data != nullptr ? size : 0);
  const ClearBufferSubDataRecord record{
      target, internalformat, static_cast<uint32_t>(offset), static_cast<uint32_t>(size), format, type};
  sendClear<Row>(context, record, length.payload, format, type, data);
}

void APIENTRY glTexBuffer(GLenum target, GLenum internalformat, GLuint buffer) {
  using Row = op::glTexBuffer;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (buffer != 0 && findBuffer(context, buffer) == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  send<Row>(context, target, internalformat, buffer);
}

void APIENTRY glTexBufferRange(GLenum target, GLenum internalformat, GLuint buffer, GLintptr offset, GLsizeiptr size) {
  using Row = op::glTexBufferRange;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (buffer != 0 && findBuffer(context, buffer) == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  send<Row>(context, target, internalformat, buffer, offset, size);
}

void APIENTRY glDeleteBuffers(GLsizei n, const GLuint* buffers) {
  GlContext* const context = enter<op::glDeleteBuffers>();
  if (context == nullptr) return;
  send<op::glDeleteBuffers>(context, n, buffers);
  const ShareLock lock(context->shareGroup);
  for (GLsizei i = 0; i < n; ++i) {
    if (buffers[i] != 0) unbindDeleted(context, buffers[i]);
  }
  context->shareGroup->table(ShareSlot::kBuffers).removeNames(n, buffers);
}

}  // namespace gl
}  // namespace qv
