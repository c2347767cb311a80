// Which numbers are cut, and to what.
#include "fuzz/render/bounds.h"

#include <cstring>
#include <string_view>
#include <unordered_map>

#include "fuzz/core/command_size.h"
#include "wire/command_walk.h"
#include "wire/entry_table.h"
#include "wire/row_facts.h"

namespace qv::fuzz {
namespace {

constexpr uint32_t kSide = 1024;  // of an image; 16384 x 16384 pixels of 16 bytes are 4 GiB
constexpr uint32_t kLayers = 64;
constexpr uint32_t kSteps = 64;     // of an evaluator's grid
constexpr uint32_t kGroups = 8;     // of a compute shader
constexpr uint32_t kNames = 4096;   // display lists that are deleted one by one
constexpr uint32_t kListCalls = 2;  // by one list: with eight lists that call each other, 256 at most

// `argument` counts from 0 in the prototype.
struct Bound {
  const char* row;
  uint32_t argument;
  uint32_t most;
};
constexpr Bound kBounds[] = {
    {"glDeleteLists", 1, kNames},
    {"glMapGrid1d", 0, kSteps},
    {"glMapGrid1f", 0, kSteps},
    {"glMapGrid2d", 0, kSteps},
    {"glMapGrid2d", 3, kSteps},
    {"glMapGrid2f", 0, kSteps},
    {"glMapGrid2f", 3, kSteps},
    {"glEvalMesh1", 1, kSteps},
    {"glEvalMesh1", 2, kSteps},
    {"glEvalMesh2", 1, kSteps},
    {"glEvalMesh2", 2, kSteps},
    {"glEvalMesh2", 3, kSteps},
    {"glEvalMesh2", 4, kSteps},
    {"glTexStorage1D", 3, kSide},
    {"glTexStorage2D", 3, kSide},
    {"glTexStorage2D", 4, kSide},
    {"glTexStorage3D", 3, kLayers},
    {"glTexStorage3D", 4, kLayers},
    {"glTexStorage3D", 5, kLayers},
    {"glTexStorage2DMultisample", 3, kSide},
    {"glTexStorage2DMultisample", 4, kSide},
    {"glTexStorage3DMultisample", 3, kLayers},
    {"glTexStorage3DMultisample", 4, kLayers},
    {"glTexStorage3DMultisample", 5, kLayers},
    {"glTexImage2DMultisample", 3, kSide},
    {"glTexImage2DMultisample", 4, kSide},
    {"glTexImage3DMultisample", 3, kLayers},
    {"glTexImage3DMultisample", 4, kLayers},
    {"glTexImage3DMultisample", 5, kLayers},
    {"glCopyTexImage1D", 5, kSide},
    {"glCopyTexImage2D", 5, kSide},
    {"glCopyTexImage2D", 6, kSide},
    {"glRenderbufferStorage", 2, kSide},
    {"glRenderbufferStorage", 3, kSide},
    {"glRenderbufferStorageEXT", 2, kSide},
    {"glRenderbufferStorageEXT", 3, kSide},
    {"glRenderbufferStorageMultisample", 3, kSide},
    {"glRenderbufferStorageMultisample", 4, kSide},
    {"glRenderbufferStorageMultisampleEXT", 3, kSide},
    {"glRenderbufferStorageMultisampleEXT", 4, kSide},
    {"glDispatchCompute", 0, kGroups},
    {"glDispatchCompute", 1, kGroups},
    {"glDispatchCompute", 2, kGroups},
};

const std::unordered_multimap<std::string_view, Bound>& bounds() {
  static const std::unordered_multimap<std::string_view, Bound> map = [] {
    std::unordered_multimap<std::string_view, Bound> out;
    for (const Bound& bound : kBounds) out.emplace(bound.row, bound);
    return out;
  }();
  return map;
}

void cutNumbers(const RowFacts& row, uint8_t* fixed) {
  const auto [begin, end] = bounds().equal_range(row.name);
  for (auto at = begin; at != end; ++at) {
    if (at->second.argument >= row.arguments.size()) continue;
    const ArgumentFacts& argument = row.arguments[at->second.argument];
    if (argument.wireWidth != 4) continue;
    const auto value = get<uint32_t>(fixed + argument.offset);
    const bool negative = argument.kind == ValueKind::Signed && (value >> 31) != 0;  // refused, and so not slow
    if (!negative && value > at->second.most) put(fixed + argument.offset, value % (at->second.most + 1));
  }
}

}  // namespace

// Whether a command that opens, closes or calls a list may stay.
bool StreamBounds::allowsCall(uint32_t opcode, const uint8_t* fixed, uint64_t bytes) {
  switch (opcode) {
    case opcodeOf<op::glNewList>:
      if (bytes >= 4) openList_ = get<uint32_t>(fixed);
      listCalls_ = 0;
      return true;
    case opcodeOf<op::glEndList>:
      openList_ = 0;
      return true;
    case opcodeOf<op::glCallList>:
      // A list that calls only lists below it cannot call itself.
      return openList_ == 0 || (bytes >= 4 && get<uint32_t>(fixed) < openList_ && ++listCalls_ <= kListCalls);
    case opcodeOf<op::glCallLists>:
      return openList_ == 0;
    default:
      return true;
  }
}

std::vector<uint8_t> StreamBounds::bound(std::span<const uint8_t> stream, bool mayBeMalformed) {
  std::vector<uint8_t> out;
  out.reserve(stream.size());
  CommandWalk walk(stream.data(), stream.size());
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  uint64_t begin = 0;
  while (walk.next(opcode, payload)) {
    begin = walk.offset();
    const uint64_t bytes = payload.left();
    const uint8_t* const from = payload.rest().data();
    const uint64_t head = static_cast<uint64_t>(from - (stream.data() + begin));
    const RowFacts* const row = findRow(opcode);
    const uint64_t there = std::min<uint64_t>(padded(head + bytes), stream.size() - begin);
    if (!mayBeMalformed && !hasItsSize(stream.subspan(begin, there))) continue;
    if (!allowsCall(opcode, from, bytes)) continue;
    if (row != nullptr && !faults_.allows(*row, from, bytes)) continue;
    const size_t at = out.size();
    out.insert(out.end(), stream.data() + begin, stream.data() + begin + there);
    if (row != nullptr && bytes >= row->fixedBytes) cutNumbers(*row, out.data() + at + head);
  }
  if (walk.malformed() && mayBeMalformed)
    out.insert(out.end(), stream.begin() + static_cast<std::ptrdiff_t>(walk.offset()), stream.end());
  return out;
}

}  // namespace qv::fuzz
