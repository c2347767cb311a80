// Lists of texts in a command: the texts one behind the other, each with its zero, then their lengths.
#pragma once

#include <cstdint>
#include <cstring>

#include "driver/stream/entry.h"
#include "driver/stream/write_command.h"

namespace qv {

struct TextList {
  // A length of -1 or no `lengths` at all means that the text ends with a zero. Other negative lengths count as unsigned numbers.
  TextList(GLsizei textCount, const GLchar* const* texts, const GLint* textLengths = nullptr)
      : count(textCount < 0 ? 0 : static_cast<uint32_t>(textCount)), strings(texts), lengths(textLengths) {
    if (strings == nullptr) count = 0;
    for (uint32_t i = 0; i < count; ++i) bytes += uint64_t{lengthOf(i)} + 1;
  }

  uint32_t lengthOf(uint32_t i) const {
    if (lengths != nullptr && lengths[i] != -1) return static_cast<uint32_t>(lengths[i]);
    return strings[i] == nullptr ? 0 : static_cast<uint32_t>(std::strlen(strings[i]));
  }
  // Longer lists than this are no program's: their lengths are garbage.
  bool isTooLong() const { return bytes > 0x7FFFFFFF; }

  uint32_t count;
  const GLchar* const* strings;
  const GLint* lengths;
  uint64_t bytes = 0;  // of the texts with their zeros
};

// Closes an open run, sets lastOpcode and writes the command: the record, which tells `texts.bytes`, and the list.
template <typename Row, typename Record>
void sendTexts(GlContext* context, const Record& record, const TextList& texts) {
  if (context->runOpen) closeRun(context, kRunBroken);
  context->lastOpcode = Row::kOpcode;
  const uint64_t payload = payloadOf(sizeof record, texts.bytes + uint64_t{4} * texts.count);
  uint8_t* at = beginCommand(*context, opcodeOf<Row>, payload);
  put(at, record);
  if (payload == sizeof record) return;
  at += sizeof record;
  // In bounds: the payload was taken as room, and counts each text with its zero and its length.
  for (uint32_t i = 0; i < texts.count; ++i) {
    const uint32_t length = texts.lengthOf(i);
    if (length != 0) std::memcpy(at, texts.strings[i], length);
    at[length] = 0;
    at += length + 1;
  }
  for (uint32_t i = 0; i < texts.count; ++i, at += 4) put(at, texts.lengthOf(i));
}

}  // namespace qv
