// Replayer: walks a command stream with one bounds-checked cursor and replays it on the current OpenGL context.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace qv::peer {

class WindowCommands;
class RunArrays;

// Commands come in stretches of a stream. Nothing in a stretch is trusted, but it must be memory that no guest can change
// while it is read: values are checked in one place and used in another.
class Replayer {
 public:
  // Without `windows`, which outlives it, the commands on pbuffers and on accumulation
  // buffers are passed over or GL's to answer.
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

  // Before the first stretch of a submission.
  void begin();
  // Replays the whole commands among the `bytes` at `data`, which is aligned to 4. `left` counts the bytes from `data` to the
  // end of the stream, a command that reaches beyond it being malformed; `bytes` equals it or is a lower multiple of 4.
  Result replay(const uint8_t* data, uint32_t bytes, uint32_t left);

  // Commands since construction, a vertex run counting as one.
  uint64_t commands() const { return commands_; }
  // Whether the commands so far leave a primitive open.
  bool insideBegin() const { return insideBegin_; }
  // The answer of the submission's last command; empty when that command has none.
  const std::vector<uint8_t>& reply() const { return replyAt_ == commands_ ? reply_ : kNoReply; }
  const std::vector<uint8_t>& reply2() const { return replyAt_ == commands_ ? reply2_ : kNoReply; }
  uint32_t failedOpcode() const { return opcode_; }
  const char* complaint() const { return complaint_.c_str(); }

  // --- for the handlers of this folder ---

  // Says why the command is malformed. Always false, the handlers' own result then.
  [[gnu::format(printf, 2, 3)]] bool fail(const char* format, ...);
  // Complains, once per opcode and reason, about a command that is passed over.
  // `why` is one of a few constants.
  void passOver(uint32_t opcode, const char* name, const char* why);
  // At least kScratchBytes of memory for what GL writes, of which the first `bytes` are zero and the rest is left over from
  // earlier uses. Aligned to 8, valid until the next call.
  uint8_t* scratch(uint32_t bytes);
  static constexpr uint32_t kScratchBytes = 65536;
  void answer(const void* data, uint32_t bytes);
  // Bytes of the stretch from `at` on, which is at or behind the end of the command being replayed; they may be looked at.
  // For a handler that has replayed `commands` more commands, up to `next`, a command's start within the stretch or its end.
  void took(const uint8_t* next, uint64_t commands) {
    next_ = next;
    commands_ += commands;
  }
  size_t bytesFrom(const uint8_t* at) const { return at < end_ ? static_cast<size_t>(end_ - at) : 0; }
  void setInsideBegin(bool inside) { insideBegin_ = inside; }
  void setListOpen(bool open) { listOpen_ = open; }
  bool listOpen() const { return listOpen_; }
  RunArrays& runArrays() { return *runArrays_; }
  WindowCommands* windows() { return windows_; }

 private:
  static const std::vector<uint8_t> kNoReply;

  WindowCommands* const windows_;
  const uint8_t* end_ = nullptr;   // of the stretch
  const uint8_t* next_ = nullptr;  // the command behind the one being replayed
  uint64_t commands_ = 0;
  uint64_t replyAt_ = ~uint64_t{0};  // value of commands_ when the reply was made
  std::vector<uint8_t> reply_, reply2_;
  bool insideBegin_ = false;
  bool listOpen_ = false;  // between glNewList and glEndList
  uint32_t opcode_ = 0;    // of the malformed command
  std::string complaint_;
  std::vector<uint64_t> scratch_;
  std::set<std::pair<uint32_t, const char*>> passedOver_;
  std::unique_ptr<RunArrays> runArrays_;
};

}  // namespace qv::peer
