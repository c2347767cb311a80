// Parses streams.
#include "tests/support/commands.h"

#include <gtest/gtest.h>

#include "wire/command_walk.h"

namespace qv::test {

std::vector<Command> parse(const uint8_t* stream, uint64_t bytes) {
  std::vector<Command> commands;
  CommandWalk walk(stream, bytes);
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  while (walk.next(opcode, payload)) {
    Command& command = commands.emplace_back();
    command.opcode = opcode;
    command.words.resize((payload.left() + 3) / 4);
    payload.rest().copyTo(command.words.data());
  }
  if (walk.malformed()) ADD_FAILURE() << "malformed stream at " << walk.offset();
  return commands;
}

}  // namespace qv::test
