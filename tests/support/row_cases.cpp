// Calls of rows and the bytes that the payload rules give them.
#include "tests/support/row_cases.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string_view>

#include "tests/support/stream_builder.h"
#include "wire/columns.h"

namespace qv::test {
namespace {

constexpr size_t kMostArguments = 16, kBytesBehind = 512;

// Behind the pointer at each position stand bytes of its own.
uint8_t caseMemory[kMostArguments][kBytesBehind];

std::vector<uint8_t> pattern(size_t position, size_t bytes) {
  std::vector<uint8_t> out(bytes);
  for (size_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>(7 * i + 3 + position);
  return out;
}

// GLintptr, GLsizeiptr and GLsync go as their low 32 bits. Of the 64-bit integers only GLuint64 does not.
bool isCut(const RowFacts& row, const ArgumentFacts& argument) {
  const std::string_view name = row.name;
  const bool wholeTimeout = name == "glClientWaitSync" || name == "glWaitSync";
  const bool isTimeout = wholeTimeout && &argument == &row.arguments.back();
  return !argument.pointer && argument.width == 8 && argument.kind != ValueKind::Real && !isTimeout;
}

uint32_t wireWidth(const RowFacts& row, const ArgumentFacts& argument) { return isCut(row, argument) ? 4 : argument.width; }

// Value counts typed in by hand, for the names that casesOf() uses.
struct NamedCount {
  uint32_t name, count;
};
std::vector<NamedCount> namesOf(CountRule rule) {
  switch (rule) {
    case CountRule::Value:
      return {{GL_AMBIENT, 4}, {GL_SHININESS, 1}, {GL_SPOT_DIRECTION, 3}};
    case CountRule::ValueFirst:
      return {{GL_SAMPLE_POSITION, 2}};
    case CountRule::TexEnv:
      return {{GL_TEXTURE_ENV_COLOR, 4}, {GL_TEXTURE_ENV_MODE, 1}};
    case CountRule::Map:
      return {};  // takes a question to the host
  }
  return {};
}

size_t firstPointer(const RowFacts& row) {
  size_t i = 0;
  while (!row.arguments[i].pointer) ++i;
  return i;
}

RowCase plainCase(const RowFacts& row, uint32_t elements) {
  RowCase out;
  out.row = &row;
  out.elements = elements;
  for (size_t i = 0; i < row.arguments.size(); ++i) {
    const ArgumentFacts& argument = row.arguments[i];
    uint64_t value = 0;
    if (argument.pointer) {
      value = reinterpret_cast<uintptr_t>(caseMemory[i]);
    } else if (argument.kind == ValueKind::Real) {
      const double real = static_cast<double>(i) + 0.25;
      value = argument.width == 4 ? std::bit_cast<uint32_t>(static_cast<float>(real)) : std::bit_cast<uint64_t>(real);
    } else {
      for (uint32_t k = 0; k < wireWidth(row, argument); ++k)
        value |= uint64_t{(0x11 + 13 * i + k) & (k == 3 ? 0x1F : 0x7F)} << 8 * k;  // near enough for the host
    }
    out.values.push_back(value);
  }
  return out;
}

RowCase caseWith(const RowFacts& row, uint32_t elements, size_t argument, uint64_t value) {
  RowCase out = plainCase(row, elements);
  out.values[argument] = value;
  return out;
}

std::vector<RowCase> sizedCases(const RowFacts& row) {
  std::vector<RowCase> out = {plainCase(row, row.otherwise)};
  for (const uint32_t key : row.keys) out.push_back(caseWith(row, row.listed, row.n, key));
  return out;
}

std::vector<RowCase> countedCases(const RowFacts& row) {
  // An index follows the name of ValueFirst; elsewhere the name is the second argument.
  const size_t nameArgument = row.rule == CountRule::ValueFirst ? 0 : 1;
  std::vector<RowCase> out;
  for (const NamedCount& named : namesOf(row.rule)) out.push_back(caseWith(row, named.count, nameArgument, named.name));
  return out;
}

struct Encoder {
  std::vector<uint8_t> bytes;
  bool anyWide = false;
  bool inGroup = false;

  void raw(const std::vector<uint8_t>& data) { bytes += data; }
  void endGroup() {
    if (inGroup && anyWide)
      while (bytes.size() % 4 != 0) bytes.push_back(0);
    inGroup = false;
  }
  void components(uint32_t width, const std::vector<uint8_t>& data) {
    if (width < 4) {
      inGroup = true;
    } else {
      endGroup();
    }
    raw(data);
  }
};

std::vector<uint8_t> bytesOf(uint64_t value, uint32_t width) {
  std::vector<uint8_t> out(width);
  std::memcpy(out.data(), &value, width);
  return out;
}

}  // namespace

void RowCase::call(Routine routine) const {
  for (size_t i = 0; i < kMostArguments; ++i) std::memcpy(caseMemory[i], pattern(i, kBytesBehind).data(), kBytesBehind);
  callRoutine(*row, routine, values.data());
}

std::vector<uint8_t> RowCase::command() const {
  const bool vector = row->form == FormKind::Vec;
  Encoder out;
  for (const ArgumentFacts& argument : row->arguments) {
    out.anyWide = out.anyWide || ((!argument.pointer || vector) && argument.width >= 4);
  }
  for (size_t i = 0; i < row->arguments.size(); ++i) {
    const ArgumentFacts& argument = row->arguments[i];
    if (!argument.pointer) {
      const uint32_t width = wireWidth(*row, argument);
      out.components(width, bytesOf(values[i], width));
    } else if (vector) {
      out.components(argument.width, pattern(i, size_t{elements} * argument.width));
    }
  }
  out.endGroup();
  if (row->form == FormKind::Counted || row->reply == ReplyKind::Counted) out.raw(bytesOf(elements, 4));
  if (row->form == FormKind::Counted || row->form == FormKind::Sized || row->form == FormKind::Array) {
    for (size_t i = 0; i < row->arguments.size(); ++i) {
      if (row->arguments[i].pointer) out.raw(pattern(i, size_t{elements} * row->arguments[i].width));
    }
  }
  const uint32_t size = static_cast<uint32_t>(out.bytes.size()) + 4;
  if (row->size >= 0) {
    EXPECT_EQ(static_cast<int>(size), row->size) << row->name;
  }
  std::vector<uint8_t> command = words({size << 12 | static_cast<uint32_t>(row->opcode)});
  command += out.bytes;
  while (command.size() % 4 != 0) command.push_back(0);
  return command;
}

uint32_t RowCase::replyBytes() const {
  if (row->reply == ReplyKind::Answer) return row->returnBytes;
  return row->reply == ReplyKind::None ? 0 : elements * row->arguments.back().width;
}

std::vector<std::vector<uint8_t>> RowCase::arguments() const {
  std::vector<std::vector<uint8_t>> out;
  for (size_t i = 0; i < row->arguments.size(); ++i) {
    const ArgumentFacts& argument = row->arguments[i];
    // The host's memory for a reply holds nothing yet.
    const bool carried = row->reply == ReplyKind::None;
    out.push_back(!argument.pointer ? bytesOf(values[i], argument.width)
                  : carried         ? pattern(i, size_t{elements} * argument.width)
                                    : std::vector<uint8_t>{});
  }
  return out;
}

std::vector<RowCase> casesOf(const RowFacts& row) {
  if (row.opcode == kNoOpcode || row.isPrivate) return {};
  switch (row.form) {
    case FormKind::Fixed:
      return {plainCase(row, 0)};
    case FormKind::Vec:
      return {plainCase(row, row.n)};
    case FormKind::Sized:
      return sizedCases(row);
    case FormKind::Counted:
      return countedCases(row);
    case FormKind::Array:
      return {caseWith(row, kArrayCount * row.n, firstPointer(row) - 1, kArrayCount)};
    case FormKind::Query:
      break;
    case FormKind::Matrices:
    case FormKind::Evaluator:
    case FormKind::Text:
    case FormKind::TextQuery:
    case FormKind::Image:
    case FormKind::Record:
    case FormKind::Local:
      return {};
  }
  switch (row.reply) {
    case ReplyKind::Answer:
      return {plainCase(row, 0)};
    case ReplyKind::Components:
      return {plainCase(row, row.n)};
    case ReplyKind::Sized:
      return sizedCases(row);
    case ReplyKind::Counted:
      return countedCases(row);
    case ReplyKind::Names:
      return {caseWith(row, kArrayCount, 0, kArrayCount)};
    case ReplyKind::Length:
      return {caseWith(row, kArrayCount, row.arguments.size() - 2, kArrayCount)};
    case ReplyKind::None:
    case ReplyKind::Bytes:
    case ReplyKind::List:
      return {};
  }
  return {};
}

}  // namespace qv::test
