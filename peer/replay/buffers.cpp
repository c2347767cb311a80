// Replay of the buffer commands.
#include "peer/replay/buffers.h"

#include <algorithm>
#include <mutex>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/kept_objects.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "wire/clear_value.h"

namespace qv::peer {

std::shared_ptr<HostBuffer> findBuffer(Replayer& replayer, GLuint name) {
  if (name == 0) return nullptr;
  return replayer.state().shared->withNames([&](auto& names) -> std::shared_ptr<HostBuffer> {
    const auto at = names.bufferObjects.find(names.buffers.find(name));
    return at == names.bufferObjects.end() ? nullptr : at->second;
  });
}

std::shared_ptr<HostBuffer> findOrMakeBuffer(Replayer& replayer, GLuint name) {
  if (name == 0) return nullptr;
  return replayer.state().shared->withNames([&](auto& names) -> std::shared_ptr<HostBuffer> {
    const GLuint real = names.buffers.findOrMake(name, [&] {
      GLuint made = 0;
      gl.glGenBuffers(1, &made);
      if (made != 0) names.bufferObjects[made] = std::make_shared<HostBuffer>(made);
      return made;
    });
    const auto at = names.bufferObjects.find(real);
    return at == names.bufferObjects.end() ? nullptr : at->second;
  });
}

namespace {

struct TargetBinding {
  GLenum target, binding;
};
constexpr TargetBinding kTargets[] = {
    {GL_ARRAY_BUFFER, GL_ARRAY_BUFFER_BINDING},
    {GL_ELEMENT_ARRAY_BUFFER, GL_ELEMENT_ARRAY_BUFFER_BINDING},
    {GL_PIXEL_PACK_BUFFER, GL_PIXEL_PACK_BUFFER_BINDING},
    {GL_PIXEL_UNPACK_BUFFER, GL_PIXEL_UNPACK_BUFFER_BINDING},
    {GL_TRANSFORM_FEEDBACK_BUFFER, GL_TRANSFORM_FEEDBACK_BUFFER_BINDING},
    {GL_UNIFORM_BUFFER, GL_UNIFORM_BUFFER_BINDING},
    {GL_TEXTURE_BUFFER, GL_TEXTURE_BUFFER},
    {GL_COPY_READ_BUFFER, GL_COPY_READ_BUFFER},
    {GL_COPY_WRITE_BUFFER, GL_COPY_WRITE_BUFFER},
    {GL_DRAW_INDIRECT_BUFFER, GL_DRAW_INDIRECT_BUFFER_BINDING},
    {GL_ATOMIC_COUNTER_BUFFER, GL_ATOMIC_COUNTER_BUFFER_BINDING},
    {GL_SHADER_STORAGE_BUFFER, GL_SHADER_STORAGE_BUFFER_BINDING},
    {GL_DISPATCH_INDIRECT_BUFFER, GL_DISPATCH_INDIRECT_BUFFER_BINDING},
};

// Every command with a target begins with this: the two bindings of arrays are what draws bend (ArrayState). False,
// with the error raised, inside a primitive.
bool reach(Replayer& replayer, GLenum target) {
  if (replayer.state().insideBegin) {
    refuse(replayer, GL_INVALID_OPERATION);
    return false;
  }
  if (target == GL_ELEMENT_ARRAY_BUFFER) replayer.state().arrays.bindElements(replayer);
  if (target == GL_ARRAY_BUFFER) replayer.state().arrays.restoreArrayBuffer();
  return true;
}

// The name by which glGet tells what is bound to the target; 0 for a bad target.
GLenum bindingOf(GLenum target) {
  const auto* const known =
      std::find_if(std::begin(kTargets), std::end(kTargets), [&](const auto& one) { return one.target == target; });
  return known == std::end(kTargets) ? 0 : known->binding;
}

// What GL itself has bound to the target; 0 for nothing and for a bad target.
GLuint boundName(GLenum target) {
  const GLenum binding = bindingOf(target);
  if (binding == 0) return 0;
  GLint real = 0;
  gl.glGetIntegerv(binding, &real);
  return static_cast<GLuint>(real);
}

// The same, as the host knows it; null also for a buffer that another context has deleted.
std::shared_ptr<HostBuffer> boundTo(Replayer& replayer, GLenum target) {
  const GLuint real = boundName(target);
  return replayer.state().shared->withNames([&](auto& names) -> std::shared_ptr<HostBuffer> {
    const auto at = names.bufferObjects.find(real);
    return at == names.bufferObjects.end() ? nullptr : at->second;
  });
}

// Offsets and sizes are 32 bits on the wire; what does not fit a positive one is negative to GL.
constexpr GLintptr signedWord(uint32_t word) { return static_cast<int32_t>(word); }

// Gives an indexed binding to GL, a range cut to what the buffer has: an OpenGL may read and write beyond a buffer whose bound
// range is longer than it.
void applyIndexed(IndexedBuffer& one) {
  const GLuint real = realName(one.buffer);
  one.share = shareOf(one.buffer);
  if (!one.range || real == 0) return gl.glBindBufferBase(one.target, one.index, real);
  const uint64_t bytes = one.buffer->bytes;
  const uint64_t have = one.offset < bytes ? std::min<uint64_t>(one.bytes, bytes - one.offset) : 0;
  const uint64_t usable = one.target == GL_TRANSFORM_FEEDBACK_BUFFER ? have & ~uint64_t{3} : have;
  if (usable != 0) return gl.glBindBufferRange(one.target, one.index, real, one.offset, static_cast<GLsizeiptr>(usable));
  gl.glBindBufferBase(one.target, one.index, 0);
  gl.glBindBuffer(one.target, real);
}

void bindIndexed(Replayer& replayer, IndexedBuffer one) {
  if (!reach(replayer, one.target)) return;
  // GL finds the errors, before the range is cut.
  holdGlError(replayer);
  if (!one.range) {
    gl.glBindBufferBase(one.target, one.index, realName(one.buffer));
  } else {
    gl.glBindBufferRange(one.target, one.index, realName(one.buffer), signedWord(one.offset), signedWord(one.bytes));
  }
  if (glRefused(replayer)) return;
  std::vector<IndexedBuffer>& bindings = replayer.state().buffers.indexed;
  std::erase_if(bindings, [&](const IndexedBuffer& old) { return old.target == one.target && old.index == one.index; });
  replayer.state().buffers.bound[one.target] = shareOf(one.buffer);
  if (one.buffer == nullptr) return;
  const std::lock_guard lock(replayer.state().shared->storeChanges);
  if (one.range) one.buffer->rangeBound = true;
  applyIndexed(one);
  bindings.push_back(std::move(one));
}

// A buffer for a bind. False, with the error raised, when there is none to be had.
bool bufferFor(Replayer& replayer, GLuint name, std::shared_ptr<HostBuffer>& out) {
  out = findOrMakeBuffer(replayer, name);
  if (out != nullptr || name == 0) return true;
  refuse(replayer, GL_OUT_OF_MEMORY);
  return false;
}

void bindNamed(Replayer& replayer, GLenum target, GLuint index, GLuint name, bool range, GLintptr offset, GLsizeiptr bytes) {
  std::shared_ptr<HostBuffer> buffer;
  if (!bufferFor(replayer, name, buffer)) return;
  bindIndexed(replayer,
              {target, index, std::move(buffer), range, static_cast<uint32_t>(offset), static_cast<uint32_t>(bytes), nullptr});
}

// Puts a new object of GL's in the place of the old one, so that ranges that others have bound keep the old store. This context's
// bindings follow. `memory` is that of the new store.
void renew(Replayer& replayer, HostBuffer& buffer, std::shared_ptr<Held> memory) {
  const MemoryShare before = buffer.memory();
  buffer.setMemory(std::move(memory));
  GLuint fresh = 0;
  gl.glGenBuffers(1, &fresh);
  const GLuint old = buffer.real;
  holdGlError(replayer);
  for (const TargetBinding& each : kTargets) {
    GLint bound = 0;
    gl.glGetIntegerv(each.binding, &bound);
    if (static_cast<GLuint>(bound) == old) gl.glBindBuffer(each.target, fresh);
  }
  gl.glGetError();  // of targets that this OpenGL lacks
  replayer.state().shared->withNames([&](auto& names) {
    const GLuint guest = names.buffers.guestOf(old);
    names.buffers.insert(guest, fresh);
    auto node = names.bufferObjects.extract(old);
    node.key() = fresh;
    names.bufferObjects.insert(std::move(node));
  });
  buffer.real = fresh;
  replayer.state().arrays.renewed(buffer);
  for (IndexedBuffer& one : replayer.state().buffers.indexed) {
    if (one.buffer.get() == &buffer) applyIndexed(one);
  }
  for (auto& [target, share] : replayer.state().buffers.bound) {
    if (share == before) share = buffer.memory();
  }
  gl.glDeleteBuffers(1, &old);
}

// Has the guest's budget room for the new store?
bool mayHold(Replayer& replayer, Held& memory, uint64_t bytes) {
  SharedObjects& shared = *replayer.state().shared;
  if (shared.bufferBytes == nullptr) return true;
  return shared.withNames([&](auto&) { return memory.resize(*shared.bufferBytes, bytes); });
}

template <typename T>
void getParameter(Replayer& replayer, const GetBufferParameterRecord& record, void(APIENTRY* get)(GLenum, GLenum, T*)) {
  constexpr uint32_t kMost = 16;
  if (record.count > kMost) return replayer.fail("query for %u values", record.count);
  if (!reach(replayer, record.target)) return replayer.answer(nullptr, 0);
  T values[kMost] = {};
  holdGlError(replayer);
  get(record.target, record.pname, values);
  replayer.answer(values, glRefused(replayer) ? 0 : record.count * static_cast<uint32_t>(sizeof(T)));
}

// The clear value, with zeros behind it: GL decides by the enums how much it reads.
struct ClearValue {
  explicit ClearValue(Reader& data) {
    const Elements<uint8_t> all = data.rest();
    given = all.size() != 0;
    std::memcpy(bytes, all.data(), std::min<uint64_t>(all.size(), kLongestClearValue));
  }
  const void* pointer() const { return given ? bytes : nullptr; }

  bool given;
  uint8_t bytes[4 * kLongestClearValue] = {};
};

}  // namespace

void BufferState::feedbackBound(GLuint name) {
  if (name == feedback) return;
  std::vector<IndexedBuffer> left;
  for (const IndexedBuffer& one : indexed) {
    if (one.target == GL_TRANSFORM_FEEDBACK_BUFFER) left.push_back(one);
  }
  std::erase_if(indexed, [](const IndexedBuffer& one) { return one.target == GL_TRANSFORM_FEEDBACK_BUFFER; });
  if (!left.empty()) ofFeedbacks[feedback] = std::move(left);
  if (const auto now = ofFeedbacks.extract(name); !now.empty())
    indexed.insert(indexed.end(), now.mapped().begin(), now.mapped().end());
  feedback = name;
}

namespace replay {

void glBindBuffer(Replayer& replayer, GLenum target, GLuint name) {
  std::shared_ptr<HostBuffer> buffer;
  if (!reach(replayer, 0)) return;
  // OpenGLs have targets whose buffers lie at an address that the guest would choose, and one whose buffer takes the results of
  // queries away from whoever asks. The driver has neither.
  if (bindingOf(target) == 0) return refuse(replayer, GL_INVALID_ENUM);
  if (!bufferFor(replayer, name, buffer)) return;
  if (target == GL_ARRAY_BUFFER) return replayer.state().arrays.bindArrayBuffer(buffer);
  if (target == GL_ELEMENT_ARRAY_BUFFER) return replayer.state().arrays.setElements(replayer, buffer);
  gl.glBindBuffer(target, realName(buffer));
  replayer.state().buffers.bound[target] = shareOf(buffer);
}

void glBindBufferBase(Replayer& replayer, GLenum target, GLuint index, GLuint name) {
  bindNamed(replayer, target, index, name, false, 0, 0);
}
void glBindBufferBaseEXT(Replayer& replayer, GLenum target, GLuint index, GLuint name) {
  bindNamed(replayer, target, index, name, false, 0, 0);
}
void glBindBufferRange(Replayer& replayer, GLenum target, GLuint index, GLuint name, GLintptr offset, GLsizeiptr bytes) {
  bindNamed(replayer, target, index, name, true, offset, bytes);
}
void glBindBufferRangeEXT(Replayer& replayer, GLenum target, GLuint index, GLuint name, GLintptr offset, GLsizeiptr bytes) {
  bindNamed(replayer, target, index, name, true, offset, bytes);
}
// From the offset to the end, wherever that will be.
void glBindBufferOffsetEXT(Replayer& replayer, GLenum target, GLuint index, GLuint name, GLintptr offset) {
  constexpr GLsizeiptr kToTheEnd = 0x7FFFFFFC;
  if (target != GL_TRANSFORM_FEEDBACK_BUFFER) return refuse(replayer, GL_INVALID_ENUM);
  bindNamed(replayer, target, index, name, name != 0, offset, kToTheEnd);
}

void glBufferData(Replayer& replayer, const BufferDataRecord& record, Reader& data) {
  if (record.bytes != 0 && record.bytes != record.size)
    return replayer.fail("%u bytes for a buffer of %u", record.bytes, record.size);
  const void* const from = record.bytes == 0 ? nullptr : data.bytes(record.bytes);
  if (!reach(replayer, record.target)) return;
  const std::shared_ptr<HostBuffer> buffer = boundTo(replayer, record.target);
  if (buffer == nullptr) {
    // Another context has deleted what is bound here: its memory could not be counted.
    if (boundName(record.target) != 0)
      return replayer.passOver(opcodeOf<op::glBufferData>, "glBufferData", "the buffer has been deleted");
    return gl.glBufferData(record.target, record.size, nullptr, record.usage);
  }
  const std::lock_guard lock(replayer.state().shared->storeChanges);
  const bool renewed = buffer->rangeBound && record.size < buffer->bytes;
  const std::shared_ptr<Held> memory = renewed ? std::make_shared<Held>() : buffer->memory();
  if (!mayHold(replayer, *memory, record.size)) {
    replayer.passOver(opcodeOf<op::glBufferData>, "glBufferData", "over the guest's quota of buffer memory");
    return refuse(replayer, GL_OUT_OF_MEMORY);
  }
  if (renewed) renew(replayer, *buffer, memory);
  gl.glBufferData(record.target, record.size, from, record.usage);
  GLint64 now = 0;
  gl.glGetBufferParameteri64v(record.target, GL_BUFFER_SIZE, &now);
  const auto bytes = static_cast<uint64_t>(now < 0 ? 0 : now);
  if (bytes != record.size) mayHold(replayer, *memory, bytes);
  const bool resized = buffer->bytes.exchange(bytes) != bytes;
  if (!resized || !buffer->rangeBound) return;
  for (IndexedBuffer& one : replayer.state().buffers.indexed) {
    if (one.buffer == buffer && one.range) applyIndexed(one);
  }
}

void glBufferSubData(Replayer& replayer, const BufferSubDataRecord& record, Reader& data) {
  if (record.bytes != 0 && record.bytes != record.size)
    return replayer.fail("%u bytes for a range of %u", record.bytes, record.size);
  const void* const from = record.bytes == 0 ? nullptr : data.bytes(record.bytes);
  if (!reach(replayer, record.target)) return;
  // Without data the range keeps its contents, but it must lie in the buffer.
  gl.glBufferSubData(record.target, signedWord(record.offset), signedWord(record.size), from);
}

void glGetBufferSubData(Replayer& replayer, const GetBufferSubDataRecord& record) {
  replayer.answer(nullptr, 0);
  if (!reach(replayer, record.target)) return;
  const std::shared_ptr<HostBuffer> buffer = boundTo(replayer, record.target);
  if (buffer == nullptr) return refuse(replayer, GL_INVALID_OPERATION);
  if (uint64_t{record.offset} + record.bytes > buffer->bytes) return refuse(replayer, GL_INVALID_VALUE);
  const uint32_t bytes = std::min(record.bytes, replayer.replyRoom());
  gl.glGetBufferSubData(record.target, record.offset, bytes, replayer.answerInPlace(bytes));
}

// Nothing is mapped here: the guest forgets maps, and a mapped buffer cannot be drawn from.
void glMapBuffer(Replayer& replayer, const MapBufferRecord& record) {
  if (record.bytes == 0 || !reach(replayer, record.target)) return;
  const std::shared_ptr<HostBuffer> buffer = boundTo(replayer, record.target);
  const uint64_t have = buffer == nullptr ? 0 : buffer->bytes.load();
  const auto bytes = static_cast<uint32_t>(std::min<uint64_t>({record.bytes, replayer.replyRoom(), have}));
  uint8_t* const to = replayer.answerInPlace(bytes);
  if (bytes != 0) gl.glGetBufferSubData(record.target, 0, bytes, to);
}

void glUnmapBuffer(Replayer& replayer, const UnmapBufferRecord& record, Reader& data) {
  const uint8_t* const from = data.bytes(record.bytes);
  if (!reach(replayer, record.target)) return;
  if (record.bytes != 0) gl.glBufferSubData(record.target, 0, record.bytes, from);
}

void glGetBufferParameteriv(Replayer& replayer, const GetBufferParameterRecord& record) {
  getParameter<GLint>(replayer, record, gl.glGetBufferParameteriv);
}
void glGetBufferParameteri64v(Replayer& replayer, const GetBufferParameterRecord& record) {
  getParameter<GLint64>(replayer, record, gl.glGetBufferParameteri64v);
}

void glCopyBufferSubData(Replayer& replayer, GLenum readTarget, GLenum writeTarget, GLintptr readOffset, GLintptr writeOffset,
                         GLsizeiptr size) {
  if (!reach(replayer, readTarget) || !reach(replayer, writeTarget)) return;
  gl.glCopyBufferSubData(readTarget, writeTarget, signedWord(static_cast<uint32_t>(readOffset)),
                         signedWord(static_cast<uint32_t>(writeOffset)), signedWord(static_cast<uint32_t>(size)));
}

void glClearBufferData(Replayer& replayer, const ClearBufferDataRecord& record, Reader& data) {
  const ClearValue value(data);
  if (reach(replayer, record.target))
    gl.glClearBufferData(record.target, record.internalFormat, record.format, record.type, value.pointer());
}
void glClearBufferSubData(Replayer& replayer, const ClearBufferSubDataRecord& record, Reader& data) {
  if (data.left() != 0 && data.left() != record.size) {
    return replayer.fail("%llu bytes for a range of %u", static_cast<unsigned long long>(data.left()), record.size);
  }
  const ClearValue value(data);
  if (!reach(replayer, record.target)) return;
  gl.glClearBufferSubData(record.target, record.internalFormat, signedWord(record.offset), signedWord(record.size), record.format,
                          record.type, value.pointer());
}

void glTexBuffer(Replayer& replayer, GLenum target, GLenum internalFormat, GLuint name) {
  const std::shared_ptr<HostBuffer> buffer = findBuffer(replayer, name);
  callAndNote(
      replayer, [&] { gl.glTexBuffer(target, internalFormat, realName(buffer)); }, [&] { noteTextureBuffer(replayer, buffer); });
}
void glTexBufferRange(Replayer& replayer, GLenum target, GLenum internalFormat, GLuint name, GLintptr offset, GLsizeiptr size) {
  const std::shared_ptr<HostBuffer> buffer = findBuffer(replayer, name);
  callAndNote(
      replayer,
      [&] {
        gl.glTexBufferRange(target, internalFormat, realName(buffer), signedWord(static_cast<uint32_t>(offset)),
                            signedWord(static_cast<uint32_t>(size)));
      },
      [&] { noteTextureBuffer(replayer, buffer); });
}

// Invalidation permits GL to forget contents and demands nothing: the host only raises the errors.
void glInvalidateBufferData(Replayer& replayer, GLuint name) {
  if (findBuffer(replayer, name) == nullptr) refuse(replayer, GL_INVALID_VALUE);
}
void glInvalidateBufferSubData(Replayer& replayer, GLuint name, GLintptr offset, GLsizeiptr length) {
  const std::shared_ptr<HostBuffer> buffer = findBuffer(replayer, name);
  const auto from = static_cast<uint32_t>(offset), bytes = static_cast<uint32_t>(length);
  if (buffer == nullptr || uint64_t{from} + bytes > buffer->bytes) refuse(replayer, GL_INVALID_VALUE);
}

void glDeleteBuffers(Replayer& replayer, GLsizei n, Reader& data) {
  const Elements<GLuint> guests = data.elements<GLuint>(data.left() / sizeof(GLuint));
  if (n < 0) return refuse(replayer, GL_INVALID_VALUE);
  ReplayState& state = replayer.state();
  if (state.insideBegin) return refuse(replayer, GL_INVALID_OPERATION);
  for (uint64_t i = 0; i < guests.size(); ++i) {
    const std::shared_ptr<HostBuffer> buffer = findBuffer(replayer, guests[i]);
    if (buffer == nullptr) continue;
    state.shared->withNames([&](auto& names) { names.bufferObjects.erase(names.buffers.remove(guests[i])); });
    std::erase_if(state.buffers.indexed, [&](const IndexedBuffer& one) { return one.buffer == buffer; });
    std::erase_if(state.buffers.bound, [&](const auto& one) { return one.second == buffer->memory(); });
    const GLuint real = buffer->real;
    state.arrays.deleted(replayer, *buffer);
    buffer->deleted = true;
    gl.glDeleteBuffers(1, &real);
  }
}

}  // namespace replay

}  // namespace qv::peer
