// Makes calls by the facts of their rows.
#include "fuzz/core/call_maker.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "wire/entry_table.h"
#include "wire/map_points.h"
#include "wire/sizes.h"

namespace qv::fuzz {
namespace {

constexpr uint64_t kMostElements = 65536;  // behind a pointer; more teaches nothing and takes time

bool listHas(std::span<const GLenum> list, uint64_t key) {
  return std::find(list.begin(), list.end(), static_cast<GLenum>(key)) != list.end();
}

// Values of the answer to a query that the tables of value counts tell about.
uint64_t answerRoom(CountRule rule, GLenum pname) {
  switch (pname) {
    case GL_COEFF:
      return rule == CountRule::Map ? uint64_t{256} * 256 * 4 : 16;
    case GL_COMPRESSED_TEXTURE_FORMATS:
    case GL_SHADER_BINARY_FORMATS:
    case GL_PROGRAM_BINARY_FORMATS:
      return 1024;
    default:
      return 16;
  }
}

// Elements behind a pointer of the routine.
uint64_t elementsBehind(const RowFacts& row, const uint64_t* values) {
  size_t firstPointer = 0;
  while (firstPointer < row.arguments.size() && !row.arguments[firstPointer].pointer) ++firstPointer;
  const auto count = [&](size_t argument) { return static_cast<uint64_t>(std::max(0, static_cast<int32_t>(values[argument]))); };
  const auto sized = [&] { return uint64_t{listHas(row.keys, values[row.n]) ? row.listed : row.otherwise}; };
  switch (row.form) {
    case FormKind::Vec:
      return row.n;
    case FormKind::Sized:
      return sized();
    case FormKind::Counted:
      return 16;
    case FormKind::Array:
      return count(firstPointer - 1) * row.n;
    case FormKind::Evaluator: {
      const auto number = [&](size_t argument) { return static_cast<int32_t>(values[argument]); };
      const auto target = static_cast<GLenum>(values[0]);
      const MapDirection first{number(3), number(4)};
      return row.n == 1 ? mapSpan(target, first) : mapSpan(target, first, MapDirection{number(7), number(8)});
    }
    case FormKind::Record:
      if (row.opcode == op::glBufferData::kOpcode) return count(1);
      return count(0) * listNameBytes(static_cast<GLenum>(values[1]));  // glCallLists
    case FormKind::Query:
      switch (row.reply) {
        case ReplyKind::Components:
          return row.n;
        case ReplyKind::Sized:
          return sized();
        case ReplyKind::Counted:
          return answerRoom(row.rule, static_cast<GLenum>(values[row.rule == CountRule::ValueFirst ? 0 : firstPointer - 1]));
        case ReplyKind::Names:
          return count(0);
        case ReplyKind::Length:
          return count(firstPointer - 1);
        default:
          return 0;
      }
    default:
      return 0;
  }
}

// Reads whose bytes are told apart from their form.
bool isRead(const RowFacts& row) {
  switch (row.opcode) {
    case op::glReadPixels::kOpcode:
    case op::glGetPolygonStipple::kOpcode:
    case op::glGetBufferSubData::kOpcode:
      return true;
    default:
      return isSizedByHost(row);
  }
}

// Whether elementsBehind() tells of the routine's pointers. Who adds the calls of a form adds its rule there.
bool isMemoryKnown(const RowFacts& row) {
  switch (row.form) {
    case FormKind::Fixed:
    case FormKind::Vec:
    case FormKind::Sized:
    case FormKind::Counted:
    case FormKind::Array:
    case FormKind::Evaluator:
    case FormKind::Image:
    case FormKind::Local:
      return true;
    case FormKind::Query:
      return row.reply != ReplyKind::List;
    default:
      return row.opcode == op::glCallLists::kOpcode || row.opcode == op::glBufferData::kOpcode || isRead(row);
  }
}

void addMemory(Call& call, size_t argument, size_t bytes) {
  CallMemory memory{argument, bytes, std::make_unique<uint8_t[]>(bytes)};
  call.values[argument] = reinterpret_cast<uintptr_t>(memory.data.get());
  call.memory.push_back(std::move(memory));
}

// The memory of an upload or a read. That of a read is full of other things, which show what is written. With a buffer the
// pointer is a place in that.
void addImage(Call& call, Random& random, const PixelState& pixels) {
  constexpr uint64_t kMostBytes = 1 << 20;
  const RowFacts& row = *call.row;
  const bool reads = isRead(row);
  size_t pointer = 0;
  while (!row.arguments[pointer].pointer) ++pointer;
  const uint32_t width = row.arguments[pointer].width;
  // The driver follows the pointer of a pattern all the same: required oddity 85.
  const bool never = row.opcode == op::glGetBufferSubData::kOpcode || row.opcode == op::glPolygonStipple::kOpcode;
  const bool inBuffer = !never && (reads ? pixels.packs : pixels.unpacks);
  const auto bytes = [&] {
    return reads ? *readBytes(row, call.values.data(), pixels) : *uploadElements(row, call.values.data(), pixels) * width;
  };
  if (bytes() > kMostBytes) {
    for (size_t i = 0; i < row.arguments.size(); ++i) {
      if (row.arguments[i].kind == ValueKind::Signed && !row.arguments[i].pointer) call.values[i] = 0;
    }
  }
  const uint64_t length = bytes();
  if (inBuffer) {
    call.values[pointer] = uint64_t{8} * random.below(4);
  } else if (length <= kMostBytes) {
    addMemory(call, pointer, length);
    uint8_t* const data = call.memory.back().data.get();
    const bool drawn = !reads && row.arguments[pointer].kind == ValueKind::Real;
    for (uint64_t at = 0; at + width <= length; at += width) {
      const uint64_t bits = drawn ? drawBits(row.arguments[pointer], kindOf(call.line, pointer), random) : random.next();
      std::memcpy(data + at, &bits, width);
    }
  }
}

// The memory of all pointers, filled where the routine reads it.
void addElements(Call& call, Random& random, const PixelState& pixels = {}) {
  const RowFacts& row = *call.row;
  if (row.form == FormKind::Image || isRead(row)) return addImage(call, random, pixels);
  uint64_t elements = elementsBehind(row, call.values.data());
  if (elements > kMostElements && row.reply != ReplyKind::Counted) elements = 0;
  for (size_t i = 0; i < row.arguments.size(); ++i) {
    const ArgumentFacts& argument = row.arguments[i];
    if (!argument.pointer) continue;
    addMemory(call, i, elements * argument.width);
    if (row.form == FormKind::Query) continue;
    uint8_t* const data = call.memory.back().data.get();
    for (uint64_t k = 0; k < elements; ++k) {
      const uint64_t bits = drawBits(argument, kindOf(call.line, i), random);
      std::memcpy(data + k * argument.width, &bits, argument.width);
    }
  }
}

// The routines without a command, whose arguments the rows do not tell: glIs...(name), glGenLists(count), glGen...(count, names),
// glGetStringi(name, index).
void makeLocal(Call& call, Random& random) {
  static constexpr ArgumentFacts kWord = {.width = 4};
  const std::string_view name = call.row->name;
  call.values.assign(2, 0);
  for (size_t i = 0; call.line != nullptr && i < call.line->kinds.size(); ++i)
    call.values[i] = drawBits(kWord, kindOf(call.line, i), random);
  if (name.starts_with("glGen") && name != "glGenLists") {
    addMemory(call, 1, 4 * static_cast<size_t>(std::max(0, static_cast<int32_t>(call.values[0]))));
  }
}

struct Routines {
  using Entry = std::pair<uint16_t, const RowFacts*>;
  std::vector<Entry> told, any;  // by their names' hashes
  std::vector<const RowFacts*> attributes;

  Routines() {
    for (const RowFacts& row : allRows()) {
      if (row.isPrivate || !isMemoryKnown(row)) continue;
      Random none(0);
      const bool hasLine = drawLine(row, none) != nullptr;
      const bool simple = row.form != FormKind::Local;
      const Entry entry{hashOf(row.name), &row};
      if (row.attribute) attributes.push_back(&row);
      if (hasLine || row.attribute) told.push_back(entry);
      if (hasLine || simple) any.push_back(entry);
    }
    std::sort(told.begin(), told.end());
    std::sort(any.begin(), any.end());
  }
  static uint16_t hashOf(std::string_view name) {
    uint32_t hash = 2166136261;
    for (const char c : name) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619;
    return static_cast<uint16_t>(hash ^ hash >> 16);
  }
};
const Routines& routines() {
  static const Routines instance;
  return instance;
}

const RowFacts& routineOf(uint16_t which, bool any) {
  const std::vector<Routines::Entry>& list = any ? routines().any : routines().told;
  const auto at = std::lower_bound(list.begin(), list.end(), which,
                                   [](const Routines::Entry& entry, uint16_t word) { return entry.first < word; });
  return *(at == list.end() ? list.front() : *at).second;
}

}  // namespace

Call makeCall(const RowFacts& row, Random& random, uint32_t oneInWild, const PixelState& pixels) {
  Call call;
  call.row = &row;
  call.line = drawLine(row, random);
  if (row.form == FormKind::Local) {
    makeLocal(call, random);
    return call;
  }
  call.values.resize(row.arguments.size());
  for (size_t i = 0; i < row.arguments.size(); ++i) {
    const ArgumentFacts& argument = row.arguments[i];
    if (argument.pointer) continue;
    const bool wild = oneInWild != 0 && random.oneIn(oneInWild);
    call.values[i] = wild ? drawAnything(argument, random) : drawBits(argument, kindOf(call.line, i), random);
  }
  const bool image = row.form == FormKind::Image || isRead(row);
  if (!image && elementsBehind(row, call.values.data()) > kMostElements && row.reply != ReplyKind::Counted) {
    for (size_t i = 0; i < row.arguments.size(); ++i) {
      if (row.arguments[i].kind == ValueKind::Signed && !row.arguments[i].pointer) call.values[i] = random.below(8);
    }
  }
  addElements(call, random, pixels);
  return call;
}

Call callWith(const CallLine& line, std::vector<uint64_t> values, Random& random) {
  Call call{line.row, &line, std::move(values), {}};
  addElements(call, random);
  return call;
}

std::string describe(const Call& call) {
  std::string out = call.row->name;
  char text[32];
  for (size_t i = 0; i < call.values.size(); ++i) {
    const bool pointer = i < call.row->arguments.size() && call.row->arguments[i].pointer;
    std::snprintf(text, sizeof text, call.values[i] < 256 ? "%llu" : "0x%llx", static_cast<unsigned long long>(call.values[i]));
    out += (i == 0 ? "(" : ", ") + std::string(pointer ? "pointer" : text);
  }
  return out + (call.values.empty() ? "()" : ")");
}

Call copyOf(const Call& call) {
  Call copy{call.row, call.line, call.values, {}};
  for (const CallMemory& memory : call.memory) {
    addMemory(copy, memory.argument, memory.bytes);
    if (memory.bytes != 0) std::memcpy(copy.memory.back().data.get(), memory.data.get(), memory.bytes);
  }
  return copy;
}

std::vector<Step> readSteps(std::span<const uint8_t> input) {
  constexpr size_t kStepBytes = 6;
  std::vector<Step> out;
  for (; input.size() >= kStepBytes; input = input.subspan(kStepBytes)) {
    out.push_back({get<uint16_t>(input.data()), get<uint32_t>(input.data() + 2)});
  }
  return out;
}

std::vector<const RowFacts*> routinesOf(const Step& step, Random& random, bool any) {
  const RowFacts& first = routineOf(step.which, any);
  std::vector<const RowFacts*> out = {&first};
  const auto opcode = static_cast<uint32_t>(first.opcode);
  const auto attributes = [&](uint32_t most) {
    for (uint32_t n = random.below(most); n > 0; --n)
      out.push_back(random.of(std::span<const RowFacts* const>(routines().attributes)));
  };
  if (opcode == opcodeOf<op::glBegin>) {
    attributes(12);
    out.push_back(findRow(opcodeOf<op::glEnd>));
  }
  if (opcode == opcodeOf<op::glNewList>) {
    for (uint32_t n = random.below(6); n > 0; --n) out.push_back(&routineOf(static_cast<uint16_t>(random.next()), any));
    if (random.oneIn(2)) {
      out.push_back(findRow(opcodeOf<op::glBegin>));
      attributes(12);
      out.push_back(findRow(opcodeOf<op::glEnd>));
    }
    out.push_back(findRow(opcodeOf<op::glEndList>));
    out.push_back(findRow(opcodeOf<op::glCallList>));
  }
  return out;
}

}  // namespace qv::fuzz
