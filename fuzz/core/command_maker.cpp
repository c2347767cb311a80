// Makes commands by the facts of their rows.
#include "fuzz/core/command_maker.h"

#include <algorithm>
#include <cstring>

#include "fuzz/core/image_sizes.h"
#include "fuzz/core/run_maker.h"
#include "wire/entry_table.h"
#include "wire/sizes.h"

namespace qv::fuzz {
namespace {

constexpr uint64_t kLongestTail = 16 * 1024;  // more teaches nothing and takes time

bool hasExtraWord(const RowFacts& row) {
  return row.form == FormKind::Counted || row.reply == ReplyKind::Counted || row.form == FormKind::Text ||
         row.form == FormKind::TextQuery;
}

// The rows by what they are for a maker.
struct Rows {
  std::vector<const RowFacts*> attributes, commands;
  Rows() {
    for (const RowFacts& row : allRows()) {
      if (row.opcode == kNoOpcode || row.form == FormKind::Local || row.openTail) continue;
      commands.push_back(&row);
      if (row.attribute) attributes.push_back(&row);
    }
  }
};
const Rows& rows() {
  static const Rows instance;
  return instance;
}

void putBits(Bytes& payload, size_t at, uint64_t bits, uint32_t width) { std::memcpy(payload.data() + at, &bits, width); }

}  // namespace

void appendCommand(Bytes& out, uint32_t opcode, const Bytes& payload, bool large) {
  const size_t at = out.size();
  if (large || needsLargeForm(payload.size())) {
    out.resize(at + kLargeHeaderBytes);
    putLargeHeader(out.data() + at, opcode, static_cast<uint32_t>(payload.size() + kLargeHeaderBytes));
  } else {
    out.resize(at + kSmallHeaderBytes);
    put(out.data() + at, smallHeader(opcode, static_cast<uint32_t>(payload.size() + kSmallHeaderBytes)));
  }
  out.insert(out.end(), payload.begin(), payload.end());
  out.resize(padded(out.size()), 0xEE);
}

uint64_t CommandMaker::bits(const ArgumentFacts& argument, Kind kind) {
  return wild() ? drawAnything(argument, random_) : drawBits(argument, kind, random_);
}

void CommandMaker::fixedPart(const RowFacts& row, const CallLine* line, Bytes& payload) {
  payload.assign(row.fixedBytes, 0);
  for (size_t i = 0; i < row.arguments.size(); ++i) {
    const ArgumentFacts& argument = row.arguments[i];
    for (uint32_t k = 0; k < argument.components; ++k) {
      putBits(payload, argument.offset + size_t{k} * argument.wireWidth, bits(argument, kindOf(line, i)), argument.wireWidth);
    }
  }
}

void CommandMaker::extraWord(const RowFacts& row, Bytes& payload) {
  static constexpr uint32_t kCounts[] = {4, 4, 4, 1, 1, 2, 3, 16, 0};
  uint32_t word = random_.of(kCounts);
  if (row.form == FormKind::Text || row.form == FormKind::TextQuery) word = 1 + random_.below(20);
  if (wild()) word = random_.oneIn(2) ? random_.below(70000) : static_cast<uint32_t>(random_.next());
  put(payload.data() + row.fixedBytes - 4, word);
}

// The pointer and the number of an image's elements: as many as the image needs under some pixel store state, or other ones.
void CommandMaker::imageWords(const RowFacts& row, Bytes& payload) {
  static constexpr PixelStoreHalf kStates[] = {{}, {}, {.alignment = 1}, {.alignment = 8}, {.rowLength = 4, .skipPixels = 3}};
  std::vector<uint64_t> values(row.arguments.size());
  for (size_t i = 0; i < values.size(); ++i) {
    if (!row.arguments[i].pointer) std::memcpy(&values[i], payload.data() + row.arguments[i].offset, row.arguments[i].wireWidth);
  }
  const PixelStoreHalf& store = kStates[random_.below(std::size(kStates))];
  auto elements = static_cast<uint32_t>(*uploadElements(row, values.data(), {.store = {.unpack = store, .pack = store}}));
  if (random_.oneIn(8)) elements = random_.oneIn(2) ? 0 : random_.below(4096);
  if (wild()) elements = static_cast<uint32_t>(random_.next());
  put(payload.data() + row.fixedBytes - 8, random_.below(4) * 8);
  put(payload.data() + row.fixedBytes - 4, elements);
}

void CommandMaker::recordWords(const RowFacts& row, const CallLine* line, Bytes& payload) {
  static constexpr ArgumentFacts kWord = {.width = 4, .wireWidth = 4, .components = 1};
  payload.assign(row.fixedBytes, 0);
  // The words of a GL routine are those of its scalars, as far as these go.
  for (size_t i = 0; i < row.words.size(); ++i) {
    const Kind kind = line != nullptr && i < line->kinds.size() ? line->kinds[i] : Kind::Anything;
    put(payload.data() + 4 * i, static_cast<uint32_t>(bits(kWord, kind)));
  }
  // The number of its names' bytes.
  if (row.opcode == static_cast<int>(opcodeOf<op::glCallLists>) && !wild())
    put(payload.data() + 8, static_cast<uint32_t>(row.tailBytes(payload.data())));
}

void CommandMaker::text(uint64_t bytes, Bytes& payload) {
  if (bytes == 0) return;
  const std::string_view some = drawText(random_);
  for (uint64_t i = 0; i + 1 < bytes; ++i) payload.push_back(i < some.size() ? static_cast<uint8_t>(some[i]) : 'a');
  payload.push_back(wild() ? 'z' : 0);
}

void CommandMaker::tail(const RowFacts& row, const CallLine* line, Bytes& payload) {
  const uint64_t bytes = row.tailBytes(payload.data());
  if (bytes > kLongestTail) return;  // without it: passed over where it fits no command, and malformed elsewhere
  if (row.form == FormKind::Text || row.form == FormKind::TextQuery) return text(bytes, payload);
  const size_t end = payload.size() + bytes;
  const bool isProgram = row.opcode == static_cast<int>(opcodeOf<op::glProgramStringARB>);
  if (isProgram) text(bytes, payload);
  size_t pointers = 0;
  for (const ArgumentFacts& argument : row.arguments) pointers += argument.pointer;
  for (size_t i = 0; i < row.arguments.size() && payload.size() < end; ++i) {
    const ArgumentFacts& argument = row.arguments[i];
    if (!argument.pointer) continue;
    for (uint64_t k = 0; k + argument.width <= bytes / pointers && payload.size() < end; k += argument.width) {
      const size_t at = payload.size();
      payload.resize(at + argument.width);
      putBits(payload, at, bits(argument, kindOf(line, i)), argument.width);
    }
  }
  while (payload.size() < end) payload.push_back(static_cast<uint8_t>(random_.below(8)));
}

void CommandMaker::commandOf(const RowFacts& row, Bytes& out) {
  const auto opcode = static_cast<uint32_t>(row.opcode);
  Bytes payload;
  const CallLine* const line = drawLine(row, random_);
  if (row.form == FormKind::Record) {
    recordWords(row, line, payload);
  } else {
    fixedPart(row, line, payload);
    if (hasExtraWord(row)) extraWord(row, payload);
    if (row.form == FormKind::Image) imageWords(row, payload);
  }
  if (row.hasTail) tail(row, line, payload);
  appendCommand(out, opcode, payload, random_.oneIn(64));
}

void CommandMaker::remakeArgument(const RowFacts& row, uint8_t* payload) {
  if (row.form == FormKind::Record) {
    if (row.words.empty()) return;
    return put(payload + size_t{4} * random_.below(row.words.size()),
               static_cast<uint32_t>(random_.oneIn(2) ? random_.below(9) : random_.next()));
  }
  if (row.arguments.empty()) return;
  const size_t i = random_.below(row.arguments.size());
  const ArgumentFacts& argument = row.arguments[i];
  if (argument.components == 0) return;
  const uint64_t value = random_.oneIn(3) ? drawAnything(argument, random_) : bits(argument, kindOf(drawLine(row, random_), i));
  const size_t at = argument.offset + size_t{random_.below(argument.components)} * argument.wireWidth;
  std::memcpy(payload + at, &value, argument.wireWidth);
}

void CommandMaker::attribute(Bytes& out) { commandOf(*random_.of(std::span<const RowFacts* const>(rows().attributes)), out); }

void CommandMaker::command(Bytes& out) {
  const uint32_t dice = random_.below(64);
  if (dice < 36) {
    const RowFacts& row = *random_.of(callLines()).row;
    if (row.opcode != kNoOpcode && row.form != FormKind::Local) return commandOf(row, out);
  }
  if (dice < 44) return attribute(out);
  if (dice < 48) return makeRun(random_, out);
  if (dice < 63) return commandOf(*random_.of(std::span<const RowFacts* const>(rows().commands)), out);
  Bytes payload(random_.below(40), 0x5A);
  appendCommand(out, random_.below(kOpcodes), payload, random_.oneIn(2));
}

void CommandMaker::plainPrimitive(Bytes& out) {
  commandOf(*findRow(opcodeOf<op::glBegin>), out);
  for (uint32_t n = random_.below(12); n > 0; --n) random_.oneIn(16) ? command(out) : attribute(out);
  if (!random_.oneIn(8)) commandOf(*findRow(opcodeOf<op::glEnd>), out);
}

void CommandMaker::list(Bytes& out) {
  commandOf(*findRow(opcodeOf<op::glNewList>), out);
  for (uint32_t n = random_.below(8); n > 0; --n) random_.oneIn(4) ? plainPrimitive(out) : command(out);
  if (!random_.oneIn(8)) commandOf(*findRow(opcodeOf<op::glEndList>), out);
  for (uint32_t n = random_.below(3); n > 0; --n) commandOf(*findRow(opcodeOf<op::glCallList>), out);
}

void CommandMaker::scene(Bytes& out) {
  switch (random_.below(5)) {
    case 0:
      return plainPrimitive(out);
    case 1:
      return list(out);
    case 2:
      // Of one layout, so that they can be joined.
      return makeRuns(random_, 2 + random_.below(20), out);
    case 3:
      makeBrokenRun(random_, out);
      for (uint32_t n = random_.below(6); n > 0; --n) attribute(out);
      return commandOf(*findRow(opcodeOf<op::glEnd>), out);
    default:
      commandOf(*findRow(opcodeOf<op::glPushMatrix>), out);
      for (uint32_t n = random_.below(6); n > 0; --n) command(out);
      return commandOf(*findRow(opcodeOf<op::glPopMatrix>), out);
  }
}

void CommandMaker::commands(uint32_t count, Bytes& out) {
  for (uint32_t i = 0; i < count; ++i) random_.oneIn(10) ? scene(out) : command(out);
}

}  // namespace qv::fuzz
