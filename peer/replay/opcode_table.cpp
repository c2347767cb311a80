// Builds the table of handlers from the table of entry points.
#include "peer/replay/opcode_table.h"

#include <array>

#include "driver/stream/opcodes.h"
#include "peer/replay/generic.h"
#include "peer/replay/hand_written.h"

namespace qv::peer {
namespace {

using Table = std::array<OpcodeEntry, kOpcodes>;

constexpr const char* kNoFunction = "the host's OpenGL has no such function";
constexpr const char* kNoFamily = "its family is not replayed";

template <typename Row, const char* const& Why>
bool passOverRow(Replayer& replayer, const uint8_t*, uint32_t) {
  replayer.passOver(opcodeOf<Row>, Row::kName, Why);
  return true;
}

template <typename Row>
constexpr OpcodeEntry entryOf() {
  using Form = typename Row::Form;
  if constexpr (HandWritten<Row>::kIs) {
    return HandWritten<Row>::kEntry;
  } else if constexpr (kWithheld<Row> != nullptr) {
    return {&passOverRow<Row, kWithheld<Row>>, FormReplay<Row, Form>::kLeast, FormReplay<Row, Form>::kSpan};
  } else if constexpr (std::is_same_v<Form, Family>) {
    return {&passOverRow<Row, kNoFamily>, 0, kAnySpan};
  } else {
    using Replay = FormReplay<Row, Form>;
    return {&Replay::replay, Replay::kLeast, Replay::kSpan};
  }
}

// One element per row, in the order of the table, as constants: code that walked the rows would be one function of them all.
struct RowEntry {
  int opcode = kNoOpcode;
  bool command = false;  // false for a routine that writes none
  OpcodeEntry entry;
  Handler missing = nullptr;  // for a host without the function
};

template <typename Row>
constexpr RowEntry rowEntryOf() {
  if constexpr (Row::kOpcode != kNoOpcode && !std::is_same_v<typename Row::Form, Local>) {
    return {Row::kOpcode, true, entryOf<Row>(), &passOverRow<Row, kNoFunction>};
  } else {
    return {};
  }
}

constexpr RowEntry kRows[] = {
#define QV_ROW(name, ...) rowEntryOf<op::name>(),
#include "driver/stream/entry_points.def"
};
static_assert(sizeof(GlFunctions) == std::size(kRows) * sizeof(void*));

Table makeTable() {
  Table table;
  // A number without a row is skipped by its size, whatever that is.
  table.fill({nullptr, 0, kAnySpan});
  for (size_t i = 0; i < std::size(kRows); ++i) {
    const RowEntry& row = kRows[i];
    if (!row.command) continue;
    void* function = nullptr;
    std::memcpy(&function, reinterpret_cast<const uint8_t*>(&gl) + i * sizeof function, sizeof function);
    table[static_cast<size_t>(row.opcode)] = function != nullptr ? row.entry : OpcodeEntry{row.missing, 0, kAnySpan};
  }
  table[kRunBroken] = {&replayBrokenRun, 4, kAnySpan};
  table[kRunEnded] = {&replayEndedRun, 4, kAnySpan};
  table[kOpcodePbufferAttrib] = {&replayPbufferAttrib, 12, 0};
  table[kOpcodeBindTexImage] = {&replayBindTexImage, 8, 0};
  table[kOpcodeReleaseTexImage] = {&replayReleaseTexImage, 8, 0};
  return table;
}

constexpr std::array<const char*, kOpcodes> makeNames() {
  std::array<const char*, kOpcodes> names{};
  forEachRow([&]<typename Row>(Row) {
    if constexpr (Row::kOpcode != kNoOpcode) names[Row::kOpcode] = Row::kName;
  });
  names[kOpcodePbufferAttrib] = "pbuffer attribute";
  names[kOpcodeBindTexImage] = "bind pbuffer";
  names[kOpcodeReleaseTexImage] = "release pbuffer";
  names[kOpcodeActiveAttributes] = "active attributes";
  names[kOpcodeActiveUniforms] = "active uniforms";
  names[kRunBroken] = "broken run";
  names[kRunEnded] = "run";
  names[kOpcodeQueryBatch] = "query batch";
  return names;
}

}  // namespace

const OpcodeEntry* opcodeTable() {
  static const Table table = makeTable();
  return table.data();
}

const char* opcodeName(uint32_t opcode) {
  static constexpr std::array<const char*, kOpcodes> kNames = makeNames();
  return opcode < kOpcodes ? kNames[opcode] : nullptr;
}

}  // namespace qv::peer
