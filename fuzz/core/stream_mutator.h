// StreamMutator: changes inputs of flushes command by command.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "fuzz/core/command_maker.h"
#include "fuzz/core/random.h"

namespace qv::fuzz {

// Changes bytes at will, as libFuzzer's own mutator does. Returns the new size.
using ByteMutator = size_t (*)(uint8_t* data, size_t size, size_t room);

class StreamMutator {
 public:
  StreamMutator(Random& random, ByteMutator mutateBytes) : random_(random), mutateBytes_(mutateBytes), maker_(random) {}

  // The input, changed, at most `room` bytes.
  std::vector<uint8_t> mutate(std::span<const uint8_t> input, size_t room);
  // Flushes of both.
  std::vector<uint8_t> cross(std::span<const uint8_t> first, std::span<const uint8_t> second, size_t room);

 private:
  // A command with its pad, or what is left of a malformed stream.
  using Piece = std::span<const uint8_t>;
  struct Flush {
    uint32_t options = 0;
    std::vector<Piece> pieces;
  };

  void read(std::span<const uint8_t> input);
  std::vector<uint8_t> write(size_t room) const;
  Piece keep(Bytes bytes);
  Flush& anyFlush() { return flushes_[random_.below(flushes_.size())]; }

  void change();
  void insertCommands();
  void insertPieces(Flush& flush, const Bytes& stream);
  void dropPieces();
  void copyPieces();
  void movePiece();
  void changePiece();
  void mend();
  void changeFlushes();

  Random& random_;
  ByteMutator mutateBytes_;
  CommandMaker maker_;
  std::vector<Flush> flushes_;
  std::deque<Bytes> made_;
};

}  // namespace qv::fuzz
