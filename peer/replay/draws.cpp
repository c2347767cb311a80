// Replay of the draws from arrays.
#include <algorithm>
#include <mutex>
#include <optional>

#include "peer/replay/buffers.h"
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// A draw as its command says it.
struct Draw {
  uint32_t opcode;
  const char* name;
  GLenum mode;
  GLsizei count;
  GLint first = 0;                   // of arrays in their order
  std::optional<GLsizei> instances;  // none: not an instanced draw
  GLuint baseInstance = 0;
  GLint baseVertex = 0;
  ClientBlock block;

  uint32_t instanceCount() const { return instances.value_or(1) < 1 ? 1 : static_cast<uint32_t>(*instances); }
};

template <typename Row>
Draw drawOf(GLenum mode, GLsizei count) {
  Draw draw{};
  draw.opcode = opcodeOf<Row>;
  draw.name = Row::kName;
  draw.mode = mode;
  draw.count = count;
  return draw;
}
// Reads vertex block and section, which are all that is left of the command. False, with the complaint made, when they do not fit
// their words.
bool readBlock(Replayer& replayer, Reader& rest, uint32_t flags, uint64_t vertexCount, ClientBlock& out) {
  if ((flags & ~(kDrawVertexBytes | kDrawHasInstances)) != 0) {
    replayer.fail("flags 0x%x", flags);
    return false;
  }
  out.vertexBytes = flags & kDrawVertexBytes;
  out.vertexCount = vertexCount;
  const uint64_t bytes = vertexCount * out.vertexBytes;
  out.vertices = rest.bytes(bytes);
  if (out.vertices == nullptr) {
    replayer.fail("%llu vertices of %u bytes are not all there", static_cast<unsigned long long>(vertexCount), out.vertexBytes);
    return false;
  }
  if ((flags & kDrawHasInstances) != 0) {
    InstanceSection section{};
    const bool there = rest.take(section);
    out.instanceBytes = section.bytes;
    out.instances = there ? rest.bytes(section.bytes) : nullptr;
    if (out.instances == nullptr || section.bytes == 0 || section.bytesAndHead != section.bytes + 8 || section.one != 1 ||
        section.zero != 0) {
      replayer.fail("instance data of %u bytes contradict their head", section.bytes);
      return false;
    }
  }
  if (rest.left() != 0) {
    replayer.fail("%llu bytes behind the data of a draw", static_cast<unsigned long long>(rest.left()));
    return false;
  }
  return true;
}

// Whether GL takes draws now; raises the error where it does not.
bool mayDraw(Replayer& replayer, const Draw& draw) {
  const ReplayState& state = replayer.state();
  if (state.listOpen && state.listInsideBegin) {
    // The error belongs to the calls of the list. OpenGL compiles it in place of a command that no primitive takes.
    gl.glHint(GL_FOG_HINT, GL_DONT_CARE);
    return false;
  }
  if (state.insideBegin || (state.listOpen && draw.instances)) {
    refuse(replayer, GL_INVALID_OPERATION);
    return false;
  }
  return true;
}

// Held over a draw that goes into a list: see mayCompile().
std::unique_lock<std::mutex> holdStores(Replayer& replayer) {
  ReplayState& state = replayer.state();
  return state.listOpen ? std::unique_lock(state.shared->storeChanges) : std::unique_lock<std::mutex>();
}

// While it compiles a list an OpenGL reads the elements itself, without a look at the buffers' sizes. `least` and `most` are the
// elements that it will read.
bool mayCompile(Replayer& replayer, const Draw& draw, int64_t least, int64_t most) {
  if (!replayer.state().listOpen || replayer.state().arrays.holds(least, most)) return true;
  replayer.passOver(draw.opcode, draw.name, "in a list, with elements that its buffers do not have");
  return false;
}

void drawArrays(Replayer& replayer, Draw draw, uint32_t flags, Reader& rest) {
  if (!readBlock(replayer, rest, flags, draw.count < 0 ? 0 : static_cast<uint64_t>(draw.count), draw.block)) return;
  const auto stores = holdStores(replayer);
  if (!mayDraw(replayer, draw) || !mayCompile(replayer, draw, draw.first, int64_t{draw.first} + draw.count - 1)) return;
  ArrayState::Placed placed;
  const ElementRange range{draw.first, draw.instanceCount(), draw.baseInstance};
  if (!replayer.state().arrays.useBlock(replayer, draw.opcode, draw.name, draw.block, range, {}, placed)) return;
  const auto first = static_cast<GLint>(draw.first - placed.shift);
  if (!draw.instances) {
    gl.glDrawArrays(draw.mode, first, draw.count);
  } else if (draw.baseInstance == 0) {
    gl.glDrawArraysInstanced(draw.mode, first, draw.count, *draw.instances);
  } else {
    gl.glDrawArraysInstancedBaseInstance(draw.mode, first, draw.count, *draw.instances, draw.baseInstance);
  }
}

struct IndexRange {
  uint32_t least = 0xFFFFFFFF, most = 0;
};

template <typename Index>
IndexRange scanAs(const uint8_t* data, uint64_t count, const std::optional<uint32_t>& skipped) {
  IndexRange range;
  for (uint64_t i = 0; i < count; ++i) {
    const uint32_t index = get<Index>(data + i * sizeof(Index));
    if (index == skipped) continue;
    range.least = std::min(range.least, index);
    range.most = std::max(range.most, index);
  }
  return range;
}

IndexRange scan(GLenum type, const Elements<uint8_t>& indices, const std::optional<uint32_t>& skipped = {}) {
  const uint64_t count = indices.size() / indexBytesOf(type);
  switch (type) {
    case GL_UNSIGNED_BYTE:
      return scanAs<uint8_t>(indices.data(), count, skipped);
    case GL_UNSIGNED_SHORT:
      return scanAs<uint16_t>(indices.data(), count, skipped);
    default:
      return scanAs<uint32_t>(indices.data(), count, skipped);
  }
}

// The index at which GL now restarts primitives.
std::optional<uint32_t> restartIndex(GLenum type) {
  const uint32_t highest = type == GL_UNSIGNED_BYTE ? 0xFF : type == GL_UNSIGNED_SHORT ? 0xFFFF : 0xFFFFFFFF;
  if (gl.glIsEnabled(GL_PRIMITIVE_RESTART_FIXED_INDEX)) return highest;
  if (!gl.glIsEnabled(GL_PRIMITIVE_RESTART)) return {};
  GLint index = 0;
  gl.glGetIntegerv(GL_PRIMITIVE_RESTART_INDEX, &index);
  return static_cast<uint32_t>(index);
}

// Where a draw's indices are.
struct Indices {
  GLenum type;
  uint32_t offset;  // in the element buffer
  GLuint buffer;    // the guest's name; 0: `inlined`
  uint32_t bytes;
  uint32_t minimum, maximum;
  uint32_t flags;
  Elements<uint8_t> inlined;

  // Of the block; modulo 2^32, as the guest reckons.
  uint32_t elements() const { return (flags & kDrawVertexBytes) == 0 ? 0 : maximum - minimum + 1; }
};

// Takes the inline indices off the tail. False, with the complaint made, when they are not as long as the draw says.
bool readIndices(Replayer& replayer, Reader& rest, const Draw& draw, Indices& indices) {
  const uint64_t wanted =
      indices.buffer != 0 || draw.count < 0 ? 0 : static_cast<uint64_t>(draw.count) * indexBytesOf(indices.type);
  if (indices.bytes != wanted) {
    replayer.fail("%u bytes of indices instead of %llu", indices.bytes, static_cast<unsigned long long>(wanted));
    return false;
  }
  indices.inlined = rest.elements<uint8_t>(wanted);
  if (rest.failed()) {
    replayer.fail("%llu bytes of indices are not all there", static_cast<unsigned long long>(wanted));
    return false;
  }
  return true;
}

// The indices of a draw that goes into a list, of which the highest must be known.
bool mayCompileElements(Replayer& replayer, const Draw& draw, const Indices& indices, const std::shared_ptr<HostBuffer>& buffer) {
  if (!replayer.state().listOpen) return true;
  Elements<uint8_t> all = indices.inlined;
  if (buffer != nullptr) {
    const uint64_t bytes = static_cast<uint64_t>(std::max(draw.count, 0)) * indexBytesOf(indices.type);
    if (indices.offset + bytes > buffer->bytes) return mayCompile(replayer, draw, -1, 0);
    uint8_t* const copy = replayer.scratch(bytes);
    gl.glGetBufferSubData(GL_ELEMENT_ARRAY_BUFFER, indices.offset, static_cast<GLsizeiptr>(bytes), copy);
    all = {copy, bytes};
  }
  const IndexRange range = scan(indices.type, all, restartIndex(indices.type));
  if (range.least > range.most) return mayCompile(replayer, draw, 0, -1);
  return mayCompile(replayer, draw, int64_t{range.least} + draw.baseVertex, int64_t{range.most} + draw.baseVertex);
}

void callElements(const Draw& draw, const Indices& indices, GLint baseVertex, const void* offset) {
  if (!draw.instances) {
    // GL draws faster when it knows the range of indices. It is the host's own reckoning: no OpenGL checks it.
    if (indices.buffer == 0) {
      const IndexRange range = scan(indices.type, indices.inlined);
      if (range.least <= range.most)
        return gl.glDrawRangeElementsBaseVertex(draw.mode, range.least, range.most, draw.count, indices.type, offset, baseVertex);
    }
    if (baseVertex == 0) return gl.glDrawElements(draw.mode, draw.count, indices.type, offset);
    return gl.glDrawElementsBaseVertex(draw.mode, draw.count, indices.type, offset, baseVertex);
  }
  if (draw.baseInstance != 0)
    return gl.glDrawElementsInstancedBaseVertexBaseInstance(draw.mode, draw.count, indices.type, offset, *draw.instances,
                                                            baseVertex, draw.baseInstance);
  if (baseVertex != 0)
    return gl.glDrawElementsInstancedBaseVertex(draw.mode, draw.count, indices.type, offset, *draw.instances, baseVertex);
  gl.glDrawElementsInstanced(draw.mode, draw.count, indices.type, offset, *draw.instances);
}

// `rest` has lost indices and extra words; what is left is the data of arrays.
void drawElements(Replayer& replayer, Draw& draw, const Indices& indices, Reader& rest) {
  if (!readBlock(replayer, rest, indices.flags, indices.elements(), draw.block) || !mayDraw(replayer, draw)) return;
  if (indexBytesOf(indices.type) == 0) return refuse(replayer, GL_INVALID_ENUM);
  ArrayState& arrays = replayer.state().arrays;
  ArrayState::Placed placed;
  std::shared_ptr<HostBuffer> buffer;
  if (indices.buffer != 0) {
    buffer = findBuffer(replayer, indices.buffer);
    if (buffer == nullptr) return replayer.passOver(draw.opcode, draw.name, "there is no buffer of its indices");
    arrays.bindElements(replayer);
    if (!arrays.useElements(buffer)) return;
  }
  const auto stores = holdStores(replayer);
  if (!mayCompileElements(replayer, draw, indices, buffer)) return;
  const ElementRange range{int64_t{indices.minimum} + draw.baseVertex, draw.instanceCount(), draw.baseInstance};
  if (!arrays.useBlock(replayer, draw.opcode, draw.name, draw.block,
                       indices.elements() == 0 ? ElementRange{0, range.instances, range.baseInstance} : range, indices.inlined,
                       placed)) {
    return;
  }
  if (buffer == nullptr && indices.inlined.size() == 0) return;
  const uint64_t offset = buffer != nullptr ? indices.offset : placed.indexOffset;
  callElements(draw, indices, static_cast<GLint>(draw.baseVertex - placed.shift),
               reinterpret_cast<const void*>(static_cast<uintptr_t>(offset)));
}

Indices indicesOf(const DrawElementsRecord& record) {
  return {record.type, record.indices, record.buffer, record.indexBytes, record.minimum, record.maximum, record.flags, {}};
}

enum class Extra { None, BaseVertex, Instances, InstancesAndBaseVertex };

template <typename Row>
void drawCommon(Replayer& replayer, const DrawElementsRecord& record, Reader& rest, Extra extra) {
  Draw draw = drawOf<Row>(record.mode, record.count);
  Indices indices = indicesOf(record);
  if (!readIndices(replayer, rest, draw, indices)) return;
  GLsizei instances = 0;
  bool there = true;
  if (extra == Extra::Instances || extra == Extra::InstancesAndBaseVertex) {
    there = rest.take(instances);
    draw.instances = instances;
  }
  if (extra == Extra::BaseVertex || extra == Extra::InstancesAndBaseVertex) there = rest.take(draw.baseVertex) && there;
  if (!there) return replayer.fail("the words behind its indices are missing");
  drawElements(replayer, draw, indices, rest);
}

template <typename Row>
void drawInstanced(Replayer& replayer, const DrawArraysInstancedRecord& record, Reader& rest) {
  Draw draw = drawOf<Row>(record.mode, record.count);
  draw.first = record.first;
  draw.instances = record.instances;
  drawArrays(replayer, draw, record.flags, rest);
}

// Draws whose words GL reads from a buffer. It must have one: without it GL takes the offset for an address.
template <typename Call>
void drawIndirect(Replayer& replayer, uint32_t opcode, const char* name, bool elements, bool goodStride, Call&& call) {
  ReplayState& state = replayer.state();
  if (state.insideBegin) return refuse(replayer, GL_INVALID_OPERATION);
  if (state.listOpen) return replayer.passOver(opcode, name, "in a list");
  GLint buffer = 0;
  gl.glGetIntegerv(GL_DRAW_INDIRECT_BUFFER_BINDING, &buffer);
  if (buffer == 0) return refuse(replayer, GL_INVALID_OPERATION);
  if (!goodStride) return refuse(replayer, GL_INVALID_VALUE);
  if (!state.arrays.useBuffers(replayer)) return;
  if (elements) {
    state.arrays.bindElements(replayer);
    if (!state.arrays.hasElements()) return refuse(replayer, GL_INVALID_OPERATION);
  }
  call();
}

const void* asOffset(uint32_t offset) { return reinterpret_cast<const void*>(static_cast<uintptr_t>(offset)); }

bool isGoodStride(GLsizei stride) { return stride >= 0 && stride % 4 == 0; }

}  // namespace

namespace replay {

void glDrawArrays(Replayer& replayer, const DrawArraysRecord& record, Reader& rest) {
  Draw draw = drawOf<op::glDrawArrays>(record.mode, record.count);
  draw.first = record.first;
  drawArrays(replayer, draw, record.flags, rest);
}
void glDrawArraysInstanced(Replayer& replayer, const DrawArraysInstancedRecord& record, Reader& rest) {
  drawInstanced<op::glDrawArraysInstanced>(replayer, record, rest);
}
void glDrawArraysInstancedARB(Replayer& replayer, const DrawArraysInstancedRecord& record, Reader& rest) {
  drawInstanced<op::glDrawArraysInstancedARB>(replayer, record, rest);
}
void glDrawArraysInstancedEXT(Replayer& replayer, const DrawArraysInstancedRecord& record, Reader& rest) {
  drawInstanced<op::glDrawArraysInstancedEXT>(replayer, record, rest);
}
void glDrawArraysInstancedBaseInstance(Replayer& replayer, const DrawArraysBaseInstanceRecord& record, Reader& rest) {
  Draw draw = drawOf<op::glDrawArraysInstancedBaseInstance>(record.mode, record.count);
  draw.first = record.first;
  draw.instances = record.instances;
  draw.baseInstance = record.baseInstance;
  drawArrays(replayer, draw, record.flags, rest);
}

void glDrawElements(Replayer& replayer, const DrawElementsRecord& record, Reader& rest) {
  drawCommon<op::glDrawElements>(replayer, record, rest, Extra::None);
}
void glDrawElementsBaseVertex(Replayer& replayer, const DrawElementsRecord& record, Reader& rest) {
  drawCommon<op::glDrawElementsBaseVertex>(replayer, record, rest, Extra::BaseVertex);
}
void glDrawElementsInstanced(Replayer& replayer, const DrawElementsRecord& record, Reader& rest) {
  drawCommon<op::glDrawElementsInstanced>(replayer, record, rest, Extra::Instances);
}
void glDrawElementsInstancedARB(Replayer& replayer, const DrawElementsRecord& record, Reader& rest) {
  drawCommon<op::glDrawElementsInstancedARB>(replayer, record, rest, Extra::Instances);
}
void glDrawElementsInstancedEXT(Replayer& replayer, const DrawElementsRecord& record, Reader& rest) {
  drawCommon<op::glDrawElementsInstancedEXT>(replayer, record, rest, Extra::Instances);
}
void glDrawElementsInstancedBaseVertex(Replayer& replayer, const DrawElementsRecord& record, Reader& rest) {
  drawCommon<op::glDrawElementsInstancedBaseVertex>(replayer, record, rest, Extra::InstancesAndBaseVertex);
}
void glDrawElementsInstancedBaseVertexBaseInstance(Replayer& replayer, const DrawElementsBaseInstanceRecord& record,
                                                   Reader& rest) {
  Draw draw = drawOf<op::glDrawElementsInstancedBaseVertexBaseInstance>(record.mode, record.count);
  draw.instances = record.instances;
  draw.baseVertex = record.baseVertex;
  draw.baseInstance = record.baseInstance;
  Indices indices{record.type,    record.indices, record.buffer, record.indexBytes,
                  record.minimum, record.maximum, record.flags,  {}};
  if (readIndices(replayer, rest, draw, indices)) drawElements(replayer, draw, indices, rest);
}

void glDrawArraysIndirect(Replayer& replayer, const DrawArraysIndirectRecord& record) {
  drawIndirect(replayer, opcodeOf<op::glDrawArraysIndirect>, "glDrawArraysIndirect", false, true,
               [&] { gl.glDrawArraysIndirect(record.mode, asOffset(record.offset)); });
}
void glDrawElementsIndirect(Replayer& replayer, const DrawElementsIndirectRecord& record) {
  drawIndirect(replayer, opcodeOf<op::glDrawElementsIndirect>, "glDrawElementsIndirect", true, true,
               [&] { gl.glDrawElementsIndirect(record.mode, record.type, asOffset(record.offset)); });
}
void glMultiDrawArraysIndirect(Replayer& replayer, const MultiDrawArraysIndirectRecord& record) {
  drawIndirect(replayer, opcodeOf<op::glMultiDrawArraysIndirect>, "glMultiDrawArraysIndirect", false, isGoodStride(record.stride),
               [&] { gl.glMultiDrawArraysIndirect(record.mode, asOffset(record.offset), record.draws, record.stride); });
}
void glMultiDrawElementsIndirect(Replayer& replayer, const MultiDrawElementsIndirectRecord& record) {
  drawIndirect(
      replayer, opcodeOf<op::glMultiDrawElementsIndirect>, "glMultiDrawElementsIndirect", true, isGoodStride(record.stride),
      [&] { gl.glMultiDrawElementsIndirect(record.mode, record.type, asOffset(record.offset), record.draws, record.stride); });
}

void glArrayElement(Replayer& replayer, const ArrayElementRecord& record, Reader& rest) {
  ClientBlock block;
  if (!readBlock(replayer, rest, record.flags, 1, block)) return;
  const auto index = static_cast<uint32_t>(record.index);
  const std::lock_guard stores(replayer.state().shared->storeChanges);
  if (!replayer.state().arrays.giveElements(replayer, block, index, !replayer.state().insideBegin)) {
    replayer.passOver(opcodeOf<op::glArrayElement>, "glArrayElement", "its arrays do not have the element");
  }
}

}  // namespace replay

}  // namespace qv::peer
