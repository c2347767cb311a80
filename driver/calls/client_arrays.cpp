// Copying of client arrays.
#include "driver/calls/client_arrays.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "driver/state/shared_objects.h"
#include "wire/records/draws.h"
#include "wire/sizes.h"

namespace qv {
namespace {

// A stretch of the command that is being filled.
struct Region {
  uint8_t* at;
  uint64_t left;

  // Takes up to `wanted` bytes off the front.
  uint8_t* take(uint64_t wanted, uint64_t& taken) {
    taken = std::min(wanted, left);
    uint8_t* const from = at;
    at += taken;
    left -= taken;
    return from;
  }
};

// Calls `use(row, binding)` for every row that is enabled and lies in the program's memory, in the order of their data.
template <typename Use>
void forEachClientArray(VertexArrayObject* arrays, Use&& use) {
  for (uint32_t rows = arrays->enabledRows; rows != 0; rows &= rows - 1) {
    const VertexAttribRecord& row = arrays->row(static_cast<uint32_t>(std::countr_zero(rows)));
    const VertexBindingRecord& binding = arrays->bindingOf(row);
    if (binding.buffer == 0 && row.pointer != 0) use(row, binding);
  }
}

bool perInstance(const VertexAttribRecord& row, const VertexBindingRecord& binding) {
  return row.isGeneric && binding.divisor != 0;
}

const uint8_t* memoryOf(const VertexAttribRecord& row) {
  return reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(row.pointer));
}

// The elements of one array, one behind the other; `stride` is not negative.
void copyElements(const VertexAttribRecord& row, const VertexRange& range, Region& block) {
  const uint64_t size = row.elementSize;
  uint64_t room = 0;
  uint8_t* to = block.take(size * range.count, room);
  const auto stride = static_cast<int32_t>(row.stride);
  if (!range.readable || stride < 0 || size == 0) {
    std::memset(to, 0, static_cast<size_t>(room));
    return;
  }
  // There is nothing in front of an array.
  const auto before = static_cast<uint64_t>(range.first < 0 ? std::min<int64_t>(-range.first, range.count) : 0);
  const uint64_t empty = std::min(room, before * size);
  std::memset(to, 0, static_cast<size_t>(empty));
  to += empty;
  room -= empty;
  const uint64_t step = stride == 0 ? size : static_cast<uint64_t>(stride);
  const uint8_t* from = memoryOf(row) + step * static_cast<uint64_t>(std::max<int64_t>(range.first, 0));
  if (step == size) {
    if (room != 0) std::memcpy(to, from, static_cast<size_t>(room));
    return;
  }
  for (; room >= size; room -= size, to += size, from += step) std::memcpy(to, from, static_cast<size_t>(size));
  // Where sizes were cut the block may end inside an element.
  if (room != 0) std::memcpy(to, from, static_cast<size_t>(room));
}

}  // namespace

uint32_t ClientArrays::flags() const { return blockVertexBytes() | (sectionData() != 0 ? kDrawHasInstances : 0); }

ClientArrays measureClientArrays(GlContext* context, uint32_t instances) {
  VertexArrayObject* const arrays = currentVertexArray(context);
  ClientArrays out;
  forEachClientArray(arrays, [&](const VertexAttribRecord& row, const VertexBindingRecord& binding) {
    if (perInstance(row, binding)) {
      out.instanceBytes += instanceElements(std::max(instances, 1u), binding.divisor) * row.elementSize;
    } else {
      out.vertexBytes += row.elementSize;
    }
  });
  return out;
}

uint64_t clientDataBytes(const ClientArrays& arrays, uint32_t vertexCount) {
  const uint32_t section = arrays.sectionData();
  return uint64_t{arrays.blockVertexBytes()} * vertexCount + (section != 0 ? uint64_t{section} + sizeof(InstanceSection) : 0);
}

void copyClientArrays(GlContext* context, const ClientArrays& arrays, const VertexRange& range, uint32_t instances, uint8_t* to) {
  Region block{to, uint64_t{arrays.blockVertexBytes()} * range.count};
  const uint32_t sectionData = arrays.sectionData();
  Region section{to + block.left, sectionData};
  if (sectionData != 0) {
    put(section.at, InstanceSection{sectionData + 8, 1, sectionData, 0});
    section.at += sizeof(InstanceSection);
  }
  if (!arrays.any()) return;
  forEachClientArray(currentVertexArray(context), [&](const VertexAttribRecord& row, const VertexBindingRecord& binding) {
    if (!perInstance(row, binding)) return copyElements(row, range, block);
    // Data of instances are taken from the array's beginning and without gaps, whatever its stride and the base instance are:
    // required oddity 106.
    uint64_t room = 0;
    uint8_t* const at = section.take(instanceElements(std::max(instances, 1u), binding.divisor) * row.elementSize, room);
    if (room != 0) std::memcpy(at, memoryOf(row), static_cast<size_t>(room));
  });
  std::memset(block.at, 0, static_cast<size_t>(block.left));
  std::memset(section.at, 0, static_cast<size_t>(section.left));
}

}  // namespace qv
