// The guest's vertex arrays in GL.
#include "peer/replay/array_state.h"

#include <algorithm>
#include <bit>
#include <span>

#include "peer/replay/buffers.h"
#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// Calls `use(row)` for each bit.
template <typename Use>
void forEachRow(uint32_t rows, Use&& use) {
  for (; rows != 0; rows &= rows - 1) use(static_cast<uint32_t>(std::countr_zero(rows)));
}

constexpr uint32_t bit(uint32_t row) { return uint32_t{1} << row; }
constexpr uint32_t kGenericZero = bit(kArrayKinds), kVertexRow = bit(kArrayVertex);

}  // namespace

// --- what the guest sets ---

ArrayObject& ArrayState::objectOf(GLuint name) {
  if (name == 0) return default_;
  const auto at = objects_.find(name);
  if (at != objects_.end()) return at->second;
  return objects_.size() < kMostObjects ? objects_[name] : default_;
}

void ArrayState::bindVertexArray(Replayer& replayer, GLuint name) {
  if (replayer.state().insideBegin) refuse(replayer, GL_INVALID_OPERATION);
  current_ = &objectOf(name);
  currentName_ = name;
}

void ArrayState::deleteVertexArray(GLuint name) {
  const auto at = objects_.find(name);
  if (at == objects_.end()) return;
  if (current_ == &at->second) {
    current_ = &default_;
    currentName_ = 0;
  }
  const GLuint real = at->second.real;
  if (real != 0) gl.glDeleteVertexArrays(1, &real);
  if (boundReal_ == real) boundReal_ = 0;
  objects_.erase(at);
}

void ArrayState::bindArrayBuffer(std::shared_ptr<HostBuffer> buffer) {
  arrayBuffer_ = std::move(buffer);
  restoreArrayBuffer();
}

void ArrayState::setElements(Replayer& replayer, std::shared_ptr<HostBuffer> buffer) {
  current_->elements = std::move(buffer);
  bindElements(replayer);
}

void ArrayState::setPointer(Replayer& replayer, uint32_t number, const Pointer& pointer) {
  ArrayRow& row = current_->rows[number];
  const ArrayFormat format = arrayFormat(pointer.size, pointer.type);
  row.size = format.size;
  row.elementSize = format.elementSize;
  row.type = pointer.type;
  row.normalized = pointer.normalized;
  row.integer = pointer.integer;
  row.wide = pointer.wide;
  row.pointer = pointer.pointer;
  row.relativeOffset = 0;
  row.bindingIndex = static_cast<uint8_t>(number % kArrayKinds);
  row.drawable =
      isDrawableFormat(number, pointer.size, pointer.type, pointer.stride, pointer.normalized, pointer.integer, pointer.wide);
  ArrayBinding& binding = current_->bindings[number];
  binding.offset = pointer.pointer;
  binding.stride = pointer.stride != 0 ? pointer.stride : realElementSize(row);
  binding.buffered = pointer.buffer != 0;
  binding.buffer = findBuffer(replayer, pointer.buffer);
  current_->applied &= ~bit(number);
  if (replayer.state().insideBegin) return refuse(replayer, GL_INVALID_OPERATION);
  if (row.drawable || number == kArrayWeight || !bindReal(replayer)) return;
  bindStream();
  current_->realBuffers[number] = &stream_;
  current_->stream.pointed &= ~bit(number);
  refusePointer(number, pointer.size, pointer.type, pointer.normalized, pointer.integer, pointer.wide, pointer.stride);
}

void ArrayState::setFormat(uint32_t number, uint32_t size, GLenum type, bool normalized, bool integer, bool wide,
                           uint32_t relativeOffset) {
  ArrayRow& row = current_->rows[number];
  const ArrayFormat format = arrayFormat(size, type);
  row.size = format.size;
  row.elementSize = format.elementSize;
  row.type = type;
  row.normalized = normalized;
  row.integer = integer;
  row.wide = wide;
  row.relativeOffset = relativeOffset;
  row.drawable = isDrawableFormat(number, size, type, 0, normalized, integer, wide);
  current_->applied &= ~bit(number);
}

void ArrayState::setEnabled(uint32_t row, bool on) {
  current_->enabledRows = on ? current_->enabledRows | bit(row) : current_->enabledRows & ~bit(row);
}

void ArrayState::setBinding(uint32_t row, uint32_t binding) {
  current_->rows[row].bindingIndex = static_cast<uint8_t>(binding);
  current_->applied &= ~bit(row);
}

void ArrayState::setDivisor(uint32_t binding, uint32_t divisor) {
  current_->bindings[binding].divisor = divisor;
  current_->applied &= (uint32_t{1} << kArrayKinds) - 1;
}

void ArrayState::setVertexBuffer(Replayer& replayer, uint32_t number, GLuint buffer, uint32_t offset, uint32_t stride) {
  ArrayBinding& binding = current_->bindings[number];
  binding.offset = offset;
  binding.stride = stride;
  binding.buffered = buffer != 0;
  binding.buffer = findBuffer(replayer, buffer);
  current_->applied &= (uint32_t{1} << kArrayKinds) - 1;
}

void ArrayState::push() {
  if (saved_.size() >= kMostSaved) return;
  auto arrays = std::make_unique<ArrayObject>();
  std::copy(std::begin(current_->rows), std::end(current_->rows), arrays->rows);
  std::copy(std::begin(current_->bindings), std::end(current_->bindings), arrays->bindings);
  arrays->elements = current_->elements;
  arrays->enabledRows = current_->enabledRows;
  saved_.push_back({currentName_, clientUnit_, arrayBuffer_, std::move(arrays)});
}

void ArrayState::pop(Replayer& replayer) {
  if (saved_.empty()) return;
  const Snapshot saved = std::move(saved_.back());
  saved_.pop_back();
  current_ = &objectOf(saved.name);
  currentName_ = saved.name;
  clientUnit_ = saved.clientUnit;
  std::copy(std::begin(saved.arrays->rows), std::end(saved.arrays->rows), current_->rows);
  std::copy(std::begin(saved.arrays->bindings), std::end(saved.arrays->bindings), current_->bindings);
  current_->enabledRows = saved.arrays->enabledRows;
  current_->applied = 0;
  bindArrayBuffer(saved.arrayBuffer);
  setElements(replayer, saved.arrays->elements);
}

// --- what becomes of buffers ---

// GL takes a deleted buffer out of its bound vertex array object and out of no other.
void ArrayState::deleted(Replayer& replayer, const HostBuffer& buffer) {
  if (arrayBuffer_.get() == &buffer) arrayBuffer_ = nullptr;
  if (boundArray_.buffer.get() == &buffer) bindArray(nullptr);
  if (!bindReal(replayer)) return;
  if (current_->elements.get() == &buffer) current_->elements = nullptr;
  if (current_->realElements.buffer.get() == &buffer) current_->realElements = {};
  for (uint32_t row = 0; row < kArrayRows; ++row) {
    if (current_->bindingOf(row).buffer.get() == &buffer || current_->realBuffers[row] == &buffer) current_->applied &= ~bit(row);
    if (current_->realBuffers[row] == &buffer) park(row);
  }
  for (ArrayBinding& binding : current_->bindings) {
    if (binding.buffer.get() == &buffer) binding.buffer = nullptr;
  }
}

void ArrayState::renewed(const HostBuffer& buffer) {
  const auto forget = [&](ArrayObject& object) {
    for (uint32_t row = 0; row < kArrayRows; ++row) {
      if (object.bindingOf(row).buffer.get() == &buffer) object.applied &= ~bit(row);
    }
    if (object.realElements.buffer.get() == &buffer) object.realElements = {};
  };
  forget(default_);
  for (auto& [name, object] : objects_) forget(object);
}

// --- draws ---

bool ArrayState::isCoreDefault(Replayer& replayer) const { return currentName_ == 0 && replayer.state().core; }

bool ArrayState::mayGoOn(Replayer& replayer) const {
  if (isCoreDefault(replayer)) return true;
  refuse(replayer, GL_OUT_OF_MEMORY);
  return false;
}

bool ArrayState::bindReal(Replayer& replayer) {
  const bool hasObject = !isCoreDefault(replayer);
  const bool fresh = hasObject && current_->real == 0;
  // Without a buffer to turn its arrays to no object is safe.
  if (fresh && stream_.name() != 0) gl.glGenVertexArrays(1, &current_->real);
  if (boundReal_ != current_->real) {
    gl.glBindVertexArray(current_->real);
    boundReal_ = current_->real;
  }
  if (fresh && current_->real != 0) {
    // A core context has generic attributes alone.
    for (uint32_t row = replayer.state().core ? kArrayKinds : 0; row < kArrayRows; ++row) park(row);
  }
  return current_->real != 0;
}

void ArrayState::park(uint32_t number) {
  static const ArrayObject kDefaults;
  current_->realBuffers[number] = &stream_;
  current_->stream.pointed &= ~bit(number);
  bindStream();
  pointRow(number, kDefaults.rows[number], {stream_.name(), 0, kDefaults.rows[number].elementSize});
  current_->realShares[number] = nullptr;
}

void ArrayState::bindNone() {
  if (boundReal_ == 0) return;
  gl.glBindVertexArray(0);
  boundReal_ = 0;
}

void ArrayState::bindElements(Replayer& replayer) {
  bindReal(replayer);
  if (realName(current_->elements) == 0) {
    gl.glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    current_->realElements = {};
  } else {
    bindRealElements(current_->elements);
  }
}

void ArrayState::bindRealElements(const std::shared_ptr<HostBuffer>& buffer) {
  RealBuffer wanted{buffer, realName(buffer), nullptr};
  if (current_->realElements == wanted) return;
  gl.glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, wanted.name);
  wanted.share = shareOf(buffer);
  current_->realElements = std::move(wanted);
}

void ArrayState::bindArray(const std::shared_ptr<HostBuffer>& buffer) {
  RealBuffer wanted{buffer, realName(buffer), nullptr};
  if (!boundStream_ && boundArray_ == wanted) return;
  gl.glBindBuffer(GL_ARRAY_BUFFER, wanted.name);
  wanted.share = shareOf(buffer);
  boundArray_ = std::move(wanted);
  boundStream_ = false;
}

void ArrayState::bindStream() {
  if (boundStream_) return;
  gl.glBindBuffer(GL_ARRAY_BUFFER, stream_.name());
  boundArray_ = {};
  boundStream_ = true;
}

void ArrayState::restoreArrayBuffer() { bindArray(arrayBuffer_); }

void ArrayState::setRealDivisor(uint32_t row, uint32_t divisor) {
  if (row < kArrayKinds) return;
  uint32_t& real = current_->realDivisors[row - kArrayKinds];
  if (real == divisor) return;
  gl.glVertexAttribDivisor(row - kArrayKinds, divisor);
  real = divisor;
}

void ArrayState::giveRow(Replayer& replayer, uint32_t number, const ArrayPlace& place) {
  const ArrayRow& row = current_->rows[number];
  holdGlError(replayer);
  pointRow(number, row, place);
  if (!glRefused(replayer)) return;
  // The buffer that the row has had may be deleted, and GL would take the offset in it for an address.
  const RealBuffer bound = boundArray_;
  const bool stream = boundStream_;
  park(number);
  if (!stream) bindArray(bound.buffer);
  pointRow(number, row, place);
  glRefused(replayer);
}

void ArrayState::applyBuffered(Replayer& replayer, uint32_t number) {
  const ArrayRow& row = current_->rows[number];
  const ArrayBinding& binding = current_->bindingOf(number);
  bindArray(binding.buffer);
  giveRow(replayer, number, {realName(binding.buffer), uint64_t{binding.offset} + row.relativeOffset, binding.stride});
  setRealDivisor(number, binding.divisor);
  current_->applied |= bit(number);
  current_->stream.pointed &= ~bit(number);
  current_->realBuffers[number] = binding.buffer.get();
  current_->realNames[number] = realName(binding.buffer);
  current_->realShares[number] = shareOf(binding.buffer);
}

void ArrayState::enableRows(uint32_t rows) {
  forEachRow(rows ^ current_->realEnabled, [&](uint32_t row) { switchRow(row, (rows & bit(row)) != 0); });
  current_->realEnabled = rows;
}

uint32_t ArrayState::bufferedRows() const {
  uint32_t rows = 0;
  forEachRow(current_->enabledRows, [&](uint32_t number) {
    const ArrayBinding& binding = current_->bindingOf(number);
    if (!current_->rows[number].drawable || binding.buffer == nullptr || static_cast<int32_t>(binding.stride) < 0) return;
    // A deleted buffer can still be used as GL has it, but no more be named.
    if (!binding.buffer->deleted || (current_->applied & bit(number)) != 0) rows |= bit(number);
  });
  return rows;
}

bool ArrayState::useBuffers(Replayer& replayer) {
  if (!bindReal(replayer)) return mayGoOn(replayer);
  const uint32_t rows = bufferedRows();
  forEachRow(rows & ~current_->applied, [&](uint32_t row) { applyBuffered(replayer, row); });
  enableRows(rows);
  return true;
}

ArrayState::ClientRows ArrayState::clientRows(uint32_t instances, bool nullsToo) const {
  ClientRows out;
  forEachRow(current_->enabledRows, [&](uint32_t number) {
    const ArrayRow& row = current_->rows[number];
    const ArrayBinding& binding = current_->bindingOf(number);
    if (binding.buffered || (row.pointer == 0 && !nullsToo)) return;
    if (number >= kArrayKinds && binding.divisor != 0) {
      out.instance |= bit(number);
      out.instanceBytes += instanceElements(std::max(instances, 1u), binding.divisor) * row.elementSize;
    } else {
      out.vertex |= bit(number);
      out.vertexBytes += row.elementSize;
    }
  });
  return out;
}

bool ArrayState::matchRows(const ClientBlock& block, uint32_t instances, ClientRows& out) const {
  // The wire has the low half of a pointer only: one that looks like null may be none.
  for (const bool nullsToo : {false, true}) {
    out = clientRows(instances, nullsToo);
    if (out.vertexBytes == block.vertexBytes && out.instanceBytes == block.instanceBytes) return true;
  }
  return false;
}

namespace {

constexpr uint64_t aligned(uint64_t at) { return (at + 63) & ~uint64_t{63}; }

// Data of a draw on their way into the stream buffer: the bytes from `from` on up to `to` of what the region is for.
struct StreamUpload {
  uint32_t region;
  const uint8_t* data;
  uint64_t from, to;
};

// Finds room for the uploads in the layout's regions. False when the layout must begin anew for them.
bool fit(StreamLayout& layout, std::span<const StreamUpload> uploads) {
  for (const StreamUpload& one : uploads) {
    StreamLayout::Region& region = layout.regions[one.region];
    if (one.from >= region.from && one.to <= region.to) continue;
    // Twice as much as the last time, so that draws that grow do not move their arrays each time.
    const uint64_t bytes = aligned(std::max(one.to, 2 * region.to));
    if (layout.end + bytes > StreamBuffer::kUsual) return false;
    region = {layout.end, 0, bytes};
    layout.end += bytes;
  }
  return true;
}

// Puts the uploads behind each other, from the start of the buffer on. The room in front of them is left out where it is large:
// an array's byte 0 may then lie among the data of others.
void startAnew(StreamLayout& layout, std::span<const StreamUpload> uploads) {
  uint64_t all = 0;
  for (const StreamUpload& one : uploads) all += aligned(one.to);
  for (StreamLayout::Region& region : layout.regions) region = {};
  layout.end = 0;
  for (const StreamUpload& one : uploads) {
    const uint64_t from = all > StreamBuffer::kUsual ? one.from : 0;
    const uint64_t base = aligned(std::max(layout.end, from) - from);
    layout.regions[one.region] = {base, from, one.to};
    layout.end = base + aligned(one.to);
  }
}

}  // namespace

void ArrayState::pointStreamed(Replayer& replayer, uint32_t number, uint64_t offset, uint32_t divisor) {
  const ArrayRow& row = current_->rows[number];
  const StreamLayout::Pointer pointer{offset, row.size, row.type, row.elementSize, row.normalized, row.integer, row.wide};
  StreamLayout& layout = current_->stream;
  if ((layout.pointed & bit(number)) == 0 || layout.pointers[number] != pointer) {
    bindStream();
    giveRow(replayer, number, {stream_.name(), offset, row.elementSize});
    layout.pointers[number] = pointer;
    layout.pointed |= bit(number);
    current_->realBuffers[number] = &stream_;
    current_->realShares[number] = nullptr;
    current_->applied &= ~bit(number);
  }
  setRealDivisor(number, divisor);
}

bool ArrayState::useBlock(Replayer& replayer, uint32_t opcode, const char* name, const ClientBlock& block,
                          const ElementRange& range, const Elements<uint8_t>& indices, Placed& placed) {
  ClientRows client;
  if (!matchRows(block, range.instances, client)) {
    replayer.passOver(opcode, name, "its data are not those of the arrays that are enabled");
    return false;
  }
  if (!bindReal(replayer)) return mayGoOn(replayer);

  // GL counts from an array's element 0, which the data may lack: they lie as far behind their region's start as they lie behind
  // element 0, whatever stands there.
  StreamUpload uploads[kArrayRows + 1];
  uint32_t count = 0;
  uint64_t bytes = 0, farthest = 0;
  const auto plan = [&](uint32_t region, const uint8_t* data, uint64_t length, uint64_t skipped) {
    uploads[count++] = {region, data, skipped, skipped + length};
    bytes += aligned(length + 63);
    farthest = std::max(farthest, skipped);
  };
  const auto planRow = [&](uint32_t number, const uint8_t* data, uint64_t elements, uint64_t skipped) {
    const uint64_t size = current_->rows[number].elementSize;
    if (size != 0 && current_->rows[number].drawable) plan(number, data, elements * size, skipped * size);
  };
  uint32_t rows = bufferedRows();
  // Far from the beginning there would be too much room. Where only arrays of the block count, they may as well begin with it:
  // required oddity 108.
  auto skipped = static_cast<uint64_t>(std::max<int64_t>(range.first, 0));
  if (rows == 0 && skipped * block.vertexBytes > StreamBuffer::kUsual) {
    placed.shift = range.first;
    skipped = 0;
  }
  const uint8_t* data = block.vertices;
  forEachRow(client.vertex, [&](uint32_t row) {
    planRow(row, data, block.vertexCount, skipped);
    data += block.vertexCount * current_->rows[row].elementSize;
  });
  data = block.instances;
  forEachRow(client.instance, [&](uint32_t row) {
    const uint64_t elements = instanceElements(std::max(range.instances, 1u), current_->bindingOf(row).divisor);
    planRow(row, data, elements, range.baseInstance);
    data += elements * current_->rows[row].elementSize;
  });
  const uint32_t arrays = count;
  if (indices.size() != 0) plan(kIndexRegion, indices.data(), indices.size(), 0);

  forEachRow(rows & ~current_->applied, [&](uint32_t row) { applyBuffered(replayer, row); });
  if (count != 0) {
    if (bytes + farthest > StreamBuffer::kMost) {
      replayer.passOver(opcode, name, "its data are too long, or too far from the beginning of their arrays");
      return false;
    }
    StreamLayout& layout = current_->stream;
    stream_.use(bytes + farthest);
    const std::span<const StreamUpload> all(uploads, count);
    if (layout.generation != stream_.generation() || !fit(layout, all)) startAnew(layout, all);
    layout.generation = stream_.generation();
    bindStream();
    stream_.grow(layout.end);
    for (const StreamUpload& one : all) {
      if (one.to != one.from)
        gl.glBufferSubData(GL_ARRAY_BUFFER, static_cast<GLintptr>(layout.regions[one.region].base + one.from),
                           static_cast<GLsizeiptr>(one.to - one.from), one.data);
    }
    for (const StreamUpload& one : all.first(arrays)) {
      const uint32_t number = one.region;
      const bool instance = (client.instance & bit(number)) != 0;
      // What lies in front of an array's first element is none of it.
      const uint64_t ahead =
          range.first < 0 && !instance ? static_cast<uint64_t>(-range.first) * current_->rows[number].elementSize : 0;
      pointStreamed(replayer, number, layout.regions[number].base + ahead, instance ? current_->bindingOf(number).divisor : 0);
      rows |= bit(number);
    }
    if (indices.size() != 0) {
      placed.indexOffset = layout.regions[kIndexRegion].base;
      const RealBuffer stream{nullptr, stream_.name(), nullptr};
      if (current_->realElements != stream) {
        gl.glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, stream.name);
        current_->realElements = stream;
      }
    }
  }
  enableRows(rows);
  return true;
}

bool ArrayState::useElements(const std::shared_ptr<HostBuffer>& buffer) {
  if (buffer == nullptr || buffer->deleted) return false;
  bindRealElements(buffer);
  return true;
}

bool ArrayState::areUpToDate(uint32_t rows) const {
  bool all = (current_->applied & rows) == rows;
  forEachRow(rows, [&](uint32_t row) { all = all && current_->realNames[row] == current_->bindingOf(row).buffer->real; });
  return all;
}

bool ArrayState::holds(int64_t least, int64_t most) {
  // Another context may have given a buffer another store than the one that GL has here.
  current_->applied = 0;
  bool all = least >= 0;
  forEachRow(most < least ? 0 : current_->enabledRows, [&](uint32_t number) {
    const ArrayRow& row = current_->rows[number];
    const ArrayBinding& binding = current_->bindingOf(number);
    if (binding.buffer == nullptr) return;
    const uint64_t end = uint64_t{binding.offset} + row.relativeOffset + uint64_t{binding.stride} * static_cast<uint64_t>(most) +
                         realElementSize(row);
    all = all && end <= binding.buffer->bytes;
  });
  return all;
}

// --- glArrayElement ---

void ArrayState::beforePrimitive(Replayer& replayer) {
  if (bufferedRows() == 0 || isCoreDefault(replayer)) return;
  current_->applied = 0;
  uint32_t rows = bufferedRows();
  if (!useBuffers(replayer)) return;
  if ((current_->enabledRows & kGenericZero) != 0) rows &= ~kVertexRow;  // attribute 0 is the position
  if (boundReal_ == current_->real) enableRows(rows);
}

bool ArrayState::giveElements(Replayer& replayer, const ClientBlock& block, uint32_t index, bool canApply) {
  ClientRows client;
  if (!matchRows(block, 1, client)) return false;
  uint32_t buffered = bufferedRows();
  const bool genericPosition = (current_->enabledRows & kGenericZero) != 0;
  if (genericPosition) buffered &= ~kVertexRow;
  if (buffered != 0) {
    if (canApply) beforePrimitive(replayer);
    const uint32_t applied = current_->applied;
    if (boundReal_ != current_->real || current_->realEnabled != buffered || !areUpToDate(buffered) || !holds(index, index))
      return false;
    current_->applied = applied;
  }
  const auto element = [&] {
    if (buffered != 0) gl.glArrayElement(static_cast<GLint>(index));
  };
  const uint32_t position = client.vertex & (genericPosition ? kGenericZero : kVertexRow);
  if (position != 0) element();
  const uint8_t* data = block.vertices;
  const uint8_t* positionData = nullptr;
  forEachRow(client.vertex | client.instance, [&](uint32_t number) {
    const ArrayRow& row = current_->rows[number];
    const bool instance = (client.instance & bit(number)) != 0;
    const uint8_t* const at = instance ? nullptr : data;
    if (!instance) data += row.elementSize;
    if (at == nullptr || row.elementSize == 0 || !row.drawable) return;
    if (bit(number) == position) {
      positionData = at;
    } else if (!(genericPosition && number == kArrayVertex)) {
      giveElement(number, row, at);
    }
  });
  data = block.instances;
  forEachRow(client.instance, [&](uint32_t number) {
    const ArrayRow& row = current_->rows[number];
    if (row.elementSize != 0 && row.drawable) giveElement(number, row, data);
    data += row.elementSize;
  });
  if (position == 0) {
    element();
  } else if (positionData != nullptr) {
    const auto number = static_cast<uint32_t>(std::countr_zero(position));
    giveElement(number, current_->rows[number], positionData);
  }
  return true;
}

}  // namespace qv::peer
