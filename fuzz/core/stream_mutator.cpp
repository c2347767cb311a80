// Mutations of flushes and commands.
#include "fuzz/core/stream_mutator.h"

#include <algorithm>
#include <cstring>

#include "fuzz/core/command_size.h"
#include "fuzz/core/stream_input.h"
#include "wire/command_walk.h"

namespace qv::fuzz {
namespace {

constexpr size_t kMostFlushes = 32;

// Cuts a stream into its commands; what is malformed stays one piece.
template <typename Keep>
void cut(std::span<const uint8_t> stream, Keep&& keep) {
  CommandWalk walk(stream.data(), stream.size());
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  uint64_t begin = 0;
  bool any = false;
  while (walk.next(opcode, payload)) {
    if (any) keep(stream.subspan(begin, walk.offset() - begin));
    begin = walk.offset();
    any = true;
  }
  const uint64_t end = std::min<uint64_t>(walk.offset(), stream.size());
  if (any && end > begin) keep(stream.subspan(begin, end - begin));
  if (end < stream.size()) keep(stream.subspan(end));
}

uint32_t freshOptions(Random& random) {
  auto options = static_cast<uint32_t>(random.next());
  if (random.oneIn(2)) options &= ~0xFFFFu;  // in one stretch
  return options;
}

}  // namespace

StreamMutator::Piece StreamMutator::keep(Bytes bytes) { return made_.emplace_back(std::move(bytes)); }

void StreamMutator::read(std::span<const uint8_t> input) {
  flushes_.clear();
  made_.clear();
  for (const FlushInput& given : readFlushes(input)) {
    Flush& flush = flushes_.emplace_back();
    flush.options = given.options;
    cut(given.stream, [&](Piece piece) { flush.pieces.push_back(piece); });
  }
}

std::vector<uint8_t> StreamMutator::write(size_t room) const {
  std::vector<uint8_t> out;
  Bytes stream;
  for (const Flush& flush : flushes_) {
    if (out.size() + kFlushHeadBytes >= room) break;
    const size_t most = room - out.size() - kFlushHeadBytes;
    stream.clear();
    for (const Piece& piece : flush.pieces) {
      if (stream.size() + piece.size() > most) break;
      stream.insert(stream.end(), piece.begin(), piece.end());
    }
    appendFlush(out, flush.options, stream);
  }
  return out;
}

std::vector<uint8_t> StreamMutator::mutate(std::span<const uint8_t> input, size_t room) {
  read(input);
  if (flushes_.empty()) {
    flushes_.emplace_back().options = freshOptions(random_);
    Bytes stream;
    maker_.commands(4 + random_.below(60), stream);
    insertPieces(flushes_.back(), stream);
  }
  for (uint32_t n = 1 + random_.below(random_.oneIn(4) ? 12 : 3); n > 0; --n) change();
  return write(room);
}

std::vector<uint8_t> StreamMutator::cross(std::span<const uint8_t> first, std::span<const uint8_t> second, size_t room) {
  read(second);
  const std::vector<Flush> others = flushes_;
  read(first);
  if (others.empty()) return write(room);
  if (flushes_.empty() || random_.oneIn(2)) {
    const auto at = flushes_.begin() + static_cast<std::ptrdiff_t>(random_.below(flushes_.size() + 1));
    flushes_.insert(at, others[random_.below(others.size())]);
  } else {
    Flush& flush = anyFlush();
    const Flush& other = others[random_.below(others.size())];
    const size_t begin = random_.below(other.pieces.size()), count = random_.below(other.pieces.size() - begin + 1);
    const auto from = other.pieces.begin() + static_cast<std::ptrdiff_t>(begin);
    flush.pieces.insert(flush.pieces.begin() + static_cast<std::ptrdiff_t>(random_.below(flush.pieces.size() + 1)), from,
                        from + static_cast<std::ptrdiff_t>(count));
  }
  return write(room);
}

void StreamMutator::change() {
  switch (random_.below(16)) {
    case 0:
    case 1:
    case 2:
    case 3:
      return insertCommands();
    case 4:
    case 5:
      return dropPieces();
    case 6:
      return copyPieces();
    case 7:
      return random_.oneIn(2) ? movePiece() : mend();
    case 8:
      return changeFlushes();
    default:
      return changePiece();
  }
}

void StreamMutator::insertPieces(Flush& flush, const Bytes& stream) {
  std::vector<Piece> fresh;
  cut(keep(stream), [&](Piece piece) { fresh.push_back(piece); });
  const size_t at = random_.below(flush.pieces.size() + 1);
  flush.pieces.insert(flush.pieces.begin() + static_cast<std::ptrdiff_t>(at), fresh.begin(), fresh.end());
}

void StreamMutator::insertCommands() {
  Bytes stream;
  maker_.commands(1 + random_.below(random_.oneIn(8) ? 64 : 6), stream);
  insertPieces(anyFlush(), stream);
}

void StreamMutator::dropPieces() {
  std::vector<Piece>& pieces = anyFlush().pieces;
  if (pieces.empty()) return;
  const size_t begin = random_.below(pieces.size());
  const size_t most = std::min<size_t>(pieces.size() - begin, random_.oneIn(8) ? 256 : 4);
  const auto from = pieces.begin() + static_cast<std::ptrdiff_t>(begin);
  pieces.erase(from, from + static_cast<std::ptrdiff_t>(1 + random_.below(most)));
}

void StreamMutator::copyPieces() {
  const Flush& from = anyFlush();
  if (from.pieces.empty()) return;
  const size_t begin = random_.below(from.pieces.size()),
               count = 1 + random_.below(std::min<size_t>(from.pieces.size() - begin, 16));
  const auto first = from.pieces.begin() + static_cast<std::ptrdiff_t>(begin);
  const std::vector<Piece> copy(first, first + static_cast<std::ptrdiff_t>(count));
  std::vector<Piece>& to = anyFlush().pieces;
  const size_t at = random_.below(to.size() + 1);
  for (uint32_t times = random_.oneIn(4) ? 1 + random_.below(12) : 1; times > 0; --times) {
    to.insert(to.begin() + static_cast<std::ptrdiff_t>(at), copy.begin(), copy.end());
  }
}

void StreamMutator::movePiece() {
  std::vector<Piece>& pieces = anyFlush().pieces;
  if (pieces.size() < 2) return;
  std::swap(pieces[random_.below(pieces.size())], pieces[random_.below(pieces.size())]);
}

// Drops what is malformed, so that what stands behind it is reached.
void StreamMutator::mend() {
  for (Flush& flush : flushes_) std::erase_if(flush.pieces, [](Piece piece) { return !hasItsSize(piece); });
}

void StreamMutator::changePiece() {
  std::vector<Piece>& pieces = anyFlush().pieces;
  if (pieces.empty()) return insertCommands();
  Piece& piece = pieces[random_.below(pieces.size())];
  Bytes bytes(piece.begin(), piece.end());
  if (bytes.size() < kSmallHeaderBytes) return;
  const auto header = get<uint32_t>(bytes.data());
  const uint32_t opcode = header & (kOpcodes - 1), total = header >> 12;
  const size_t head = total < kSmallHeaderBytes ? kLargeHeaderBytes : kSmallHeaderBytes;
  const RowFacts* const row = findRow(opcode);
  switch (random_.below(12)) {
    case 0:  // another size in the header
      put(bytes.data(), smallHeader(opcode, total + random_.below(9) - 4));
      break;
    case 1:  // another size of the payload, header and all
      if (head == kSmallHeaderBytes) {
        const size_t size = bytes.size() + 4 * random_.below(4) + (random_.oneIn(2) ? 0 : random_.below(4));
        bytes.resize(std::min(size, size_t{kLargeFormAt - 1}));
        put(bytes.data(), smallHeader(opcode, static_cast<uint32_t>(bytes.size())));
        bytes.resize(padded(bytes.size()));
      }
      break;
    case 2:  // another command with the same payload
      put(bytes.data(), (header & ~(kOpcodes - 1)) | random_.below(kOpcodes));
      break;
    case 3:  // the other form of header
      if (head == kSmallHeaderBytes) {
        bytes.insert(bytes.begin() + 4, 4, 0);
        putLargeHeader(bytes.data(), opcode, total + 4);
      } else if (bytes.size() >= kLargeHeaderBytes) {
        put(bytes.data() + 4, get<uint32_t>(bytes.data() + 4) + 4 * random_.below(9) - 16);
      }
      break;
    case 4:  // cut
      bytes.resize(random_.below(bytes.size()));
      break;
    case 5:
    case 6: {  // any bytes
      const size_t size = bytes.size(), room = size + 16;
      bytes.resize(room);
      bytes.resize(mutateBytes_(bytes.data() + (random_.oneIn(8) ? 0 : kSmallHeaderBytes), size - kSmallHeaderBytes,
                                room - kSmallHeaderBytes) +
                   kSmallHeaderBytes);
      bytes.resize(random_.oneIn(4) ? bytes.size() : size);
      break;
    }
    default:
      if (row == nullptr || bytes.size() < head + row->fixedBytes) {
        put(bytes.data() + 4 * random_.below(bytes.size() / 4),
            random_.oneIn(2) ? random_.below(16) : static_cast<uint32_t>(random_.next()));
      } else {
        maker_.remakeArgument(*row, bytes.data() + head);
      }
      break;
  }
  piece = keep(std::move(bytes));
}

void StreamMutator::changeFlushes() {
  const size_t at = random_.below(flushes_.size());
  const auto place = flushes_.begin() + static_cast<std::ptrdiff_t>(at);
  switch (random_.below(5)) {
    case 0:
      flushes_[at].options = freshOptions(random_);
      break;
    case 1: {  // two out of one
      if (flushes_.size() >= kMostFlushes || flushes_[at].pieces.size() < 2) break;
      Flush rest;
      rest.options = freshOptions(random_);
      std::vector<Piece>& pieces = flushes_[at].pieces;
      const auto middle = pieces.begin() + static_cast<std::ptrdiff_t>(1 + random_.below(pieces.size() - 1));
      rest.pieces.assign(middle, pieces.end());
      pieces.erase(middle, pieces.end());
      flushes_.insert(place + 1, std::move(rest));
      break;
    }
    case 2:
      if (flushes_.size() > 1) flushes_.erase(place);
      break;
    case 3: {
      if (flushes_.size() >= kMostFlushes) break;
      Flush fresh;
      fresh.options = freshOptions(random_);
      Bytes stream;
      maker_.commands(1 + random_.below(30), stream);
      insertPieces(fresh, stream);
      flushes_.insert(place, std::move(fresh));
      break;
    }
    default:
      std::swap(flushes_[at], flushes_[random_.below(flushes_.size())]);
      break;
  }
}

}  // namespace qv::fuzz
