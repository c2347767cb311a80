// What the handlers of texts have in common: texts that the guest gives, and texts that GL gives.
#pragma once

#include <algorithm>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "wire/reader.h"

namespace qv::peer {

// A list of texts in a payload. The texts stay where they are, each with its zero.
struct TextArguments {
  std::vector<const GLchar*> texts;
  std::vector<GLint> lengths;

  // False, with the command refused as malformed, when words and tail contradict each other.
  bool read(Replayer& replayer, Reader& rest, GLsizei count, GLsizei countAgain, uint32_t bytes);
};

// Whether GL may be asked something of the host's own: not inside a primitive, where every question is an error. There the
// command is refused.
bool mayAsk(Replayer& replayer);

// Answers with a text and its length. `lengthOf()` asks GL for the length of the text with its zero, and `textOf(room, &length,
// text)` for the text. When GL refuses there is no reply.
template <typename LengthOf, typename TextOf>
void replayText(Replayer& replayer, GLsizei room, LengthOf&& lengthOf, TextOf&& textOf) {
  if (room < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (!mayAsk(replayer)) return;
  holdGlError(replayer);
  const GLint most = lengthOf();
  if (glRefused(replayer)) return;
  // A length of 0 is that of no text at all.
  const uint32_t taken = std::min({static_cast<uint32_t>(room), static_cast<uint32_t>(std::max(most, 1)), replayer.reply2Room()});
  auto* const text = reinterpret_cast<GLchar*>(replayer.scratch(uint64_t{taken} + 1));
  GLsizei length = 0;
  textOf(static_cast<GLsizei>(taken), &length, text);
  if (glRefused(replayer)) return;
  length = taken == 0 ? 0 : std::clamp(length, 0, static_cast<GLsizei>(taken) - 1);
  replayer.answer(&length, sizeof length, text, taken == 0 ? 0 : static_cast<uint32_t>(length) + 1);
}

}  // namespace qv::peer
