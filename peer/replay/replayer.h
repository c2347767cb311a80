// Replayer: walks a command stream with one bounds-checked cursor and replays it on the current OpenGL context.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "peer/link/reply_rows.h"

namespace qv::peer {

class WindowCommands;
struct ReplayState;

// Commands come in stretches of a stream. Nothing in a stretch is trusted. But a stretch must be memory that no guest can change
// meanwhile: values are checked in one place and read again in another.
class Replayer {
 public:
  // `windows` outlives the replayer. Without it the commands on pbuffers are passed over, and GL itself answers those on
  // accumulation buffers.
  explicit Replayer(WindowCommands* windows = nullptr);
  ~Replayer();
  Replayer(const Replayer&) = delete;
  Replayer& operator=(const Replayer&) = delete;

  enum class Outcome {
    Done,      // all of the stretch consumed
    NeedMore,  // the command at `consumed` needs `wanted` bytes
    Failed,    // malformed at `consumed`: complaint() says how
  };
  struct Result {
    Outcome outcome = Outcome::Done;
    uint32_t consumed = 0;
    uint32_t wanted = 0;
  };

  // Before the first stretch of a flush, whose guest has room for replies of these lengths.
  void begin(uint32_t replyRoom = ~0u, uint32_t reply2Room = ~0u);
  // Replays the commands that are complete in the `bytes` at `data`, which is aligned to 4. `left` counts the bytes from `data` to
  // the end of the stream: a command that reaches beyond it is malformed. `bytes` is `left` or a lower multiple of 4.
  Result replay(const uint8_t* data, uint32_t bytes, uint32_t left);

  // Commands since construction, a vertex run counting as one.
  uint64_t commands() const { return commands_; }
  // Whether the commands so far leave a primitive open.
  bool insideBegin() const;
  bool listOpen() const;
  // The replies of the flush's last command; empty when that command has none.
  const std::vector<uint8_t>& reply() const { return replyAt_ == commands_ ? reply_ : kNoReply; }
  const std::vector<uint8_t>& reply2() const { return replyAt_ == commands_ ? reply2_ : kNoReply; }
  // Where the first reply belongs.
  ReplyRows replyRows() const { return replyAt_ == commands_ ? replyRows_ : ReplyRows{}; }
  uint32_t failedOpcode() const { return opcode_; }
  const char* complaint() const { return complaint_.c_str(); }
  // The commands before the one that failed, oldest first, at most kRemembered of them: "glBegin, glVertex3f x12, glEnd".
  std::string lastCommands() const;

  // --- for the handlers of this folder ---

  // Says why the command is malformed. The handler that calls it returns at once.
  [[gnu::format(printf, 2, 3)]] void fail(const char* format, ...);
  bool sound() const { return !failed_; }
  // The same for a payload of another size, and for a tail whose inner lengths do not fit. Both return false, for the handler to
  // return.
  [[gnu::cold]] bool wrongSize(uint64_t bytes, uint64_t expected);
  [[gnu::cold]] bool wrongData();
  // Writes a log line about a command that is passed over, once per opcode and reason. `why` is one of a few constants.
  void passOver(uint32_t opcode, const char* name, const char* why);
  // At least kScratchBytes of memory for what GL writes. The first `bytes` are zero, the rest holds data of earlier uses. Aligned
  // to 8, valid until the next call.
  uint8_t* scratch(uint64_t bytes);
  static constexpr uint32_t kScratchBytes = 65536;
  // The command's reply, and its second one. What exceeds the room is cut by the caller of the replayer.
  void answer(const void* data, uint32_t bytes) { answer(data, bytes, nullptr, 0); }
  void answer(const void* data, uint32_t bytes, const void* second, uint32_t secondBytes);
  // The command's reply as memory for GL to write into: zeros so far. It holds until the next answer.
  uint8_t* answerInPlace(uint32_t bytes);
  // Makes the reply an image; `rows` fits its bytes.
  void placeRows(const ReplyRows& rows) { replyRows_ = rows; }
  uint32_t replyRoom() const { return replyRoom_; }
  uint32_t reply2Room() const { return reply2Room_; }
  // Whether nothing of the stream follows the command being replayed.
  bool endsStream() const { return next_ == end_ && beyond_ == 0; }
  // How many bytes of the stretch follow from `at` on, for a look ahead. `at` is at or behind the end of the present command.
  size_t bytesFrom(const uint8_t* at) const { return at < end_ ? static_cast<size_t>(end_ - at) : 0; }
  // For a handler that has also replayed the next `commands` commands, all of its own opcode. `next` is where the command behind
  // them begins, or the end of the stretch.
  void took(const uint8_t* next, uint64_t commands);
  ReplayState& state() { return *state_; }

 private:
  void remember(uint32_t opcode) {
    ++commands_;
    remembered_[commands_ % kRemembered] = static_cast<uint16_t>(opcode);
  }
  static const std::vector<uint8_t> kNoReply;
  static constexpr uint32_t kRemembered = 64;

  const uint8_t* end_ = nullptr;   // of the stretch
  uint32_t beyond_ = 0;            // bytes of the stream behind the stretch
  const uint8_t* next_ = nullptr;  // the command behind the one being replayed
  uint64_t commands_ = 0;
  uint16_t remembered_[kRemembered] = {};  // opcode of command number n, from 1 on, at n mod kRemembered
  uint64_t replyAt_ = ~uint64_t{0};        // value of commands_ when the reply was made
  std::vector<uint8_t> reply_, reply2_;
  ReplyRows replyRows_;
  uint32_t replyRoom_ = ~0u, reply2Room_ = ~0u;
  bool failed_ = false;
  uint32_t opcode_ = 0;        // of the malformed command
  uint64_t beforeFailure_ = 0;  // number of the command before it
  std::string complaint_;
  std::vector<uint64_t> scratch_;
  std::set<std::pair<uint32_t, const char*>> passedOver_;
  std::unique_ptr<ReplayState> state_;
};

}  // namespace qv::peer
