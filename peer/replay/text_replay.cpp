// Reading of lists of texts.
#include "peer/replay/text_replay.h"

namespace qv::peer {

bool TextArguments::read(Replayer& replayer, Reader& rest, GLsizei count, GLsizei countAgain, uint32_t bytes) {
  const auto complain = [&](const char* why) {
    replayer.fail("%s", why);
    return false;
  };
  if (count != countAgain) return complain("two counts of texts that differ");
  const uint8_t* at = bytes == 0 ? nullptr : rest.bytes(bytes);
  if (count <= 0) return bytes == 0 || complain("texts without a count");
  const auto given = rest.elements<GLint>(static_cast<uint64_t>(count));
  if (rest.failed()) return false;
  texts.reserve(given.size());
  lengths.reserve(given.size());
  uint64_t left = bytes;
  for (uint64_t i = 0; i < given.size(); ++i) {
    const GLint length = given[i];
    if (length < 0 || static_cast<uint64_t>(length) >= left || at[length] != 0)
      return complain("text that does not fit its length");
    texts.push_back(reinterpret_cast<const GLchar*>(at));
    lengths.push_back(length);
    at += length + 1;
    left -= static_cast<uint64_t>(length) + 1;
  }
  return left == 0 || complain("more bytes of texts than their lengths say");
}

bool mayAsk(Replayer& replayer) {
  if (!replayer.state().insideBegin) return true;
  refuse(replayer, GL_INVALID_OPERATION);
  return false;
}

}  // namespace qv::peer
