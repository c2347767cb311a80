// CommandMaker: commands of streams, out of the table of entry points.
#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/core/call_table.h"
#include "fuzz/core/random.h"

namespace qv::fuzz {

using Bytes = std::vector<uint8_t>;

// What it makes has the right sizes. Its values are mostly such as the table of call makers tells; every `oneInWild`-th is any.
class CommandMaker {
 public:
  explicit CommandMaker(Random& random, uint32_t oneInWild = 24) : random_(random), oneInWild_(oneInWild) {}

  // Appends one command of any row, or of a number without one.
  void command(Bytes& out);
  // Appends one command of the row, whose form is known.
  void commandOf(const RowFacts& row, Bytes& out);
  // Appends commands that belong together: a primitive, a display list, matrices, runs that can be joined.
  void scene(Bytes& out);
  // Appends about so many commands.
  void commands(uint32_t count, Bytes& out);

  // Gives one argument of a command another value. `payload` is that of a command of the row, at least its fixed part.
  void remakeArgument(const RowFacts& row, uint8_t* payload);

 private:
  struct Run;

  bool wild() { return random_.oneIn(oneInWild_); }
  uint64_t bits(const ArgumentFacts& argument, Kind kind);
  void fixedPart(const RowFacts& row, const CallLine* line, Bytes& payload);
  void extraWord(const RowFacts& row, Bytes& payload);
  void imageWords(const RowFacts& row, Bytes& payload);
  void recordWords(const RowFacts& row, const CallLine* line, Bytes& payload);
  void tail(const RowFacts& row, const CallLine* line, Bytes& payload);
  void text(uint64_t bytes, Bytes& payload);
  void attribute(Bytes& out);
  void runs(Bytes& out);
  void plainPrimitive(Bytes& out);
  void list(Bytes& out);

  Random& random_;
  const uint32_t oneInWild_;
};

// Appends a command with its header and pad; the large form where it must be, or where it is asked for.
void appendCommand(Bytes& out, uint32_t opcode, const Bytes& payload, bool large = false);

}  // namespace qv::fuzz
