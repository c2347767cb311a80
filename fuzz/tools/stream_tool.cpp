// Prints inputs of the stream targets, and makes a finding small.
//
//   stream_tool dump INPUT                       a command a line
//   stream_tool reduce INPUT OUTPUT PROGRAM...   drops commands while `PROGRAM... OUTPUT` still fails in the same way
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "fuzz/core/stream_input.h"
#include "wire/command_walk.h"
#include "wire/row_facts.h"

extern char** environ;

namespace qv::fuzz {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes readFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}
void writeFile(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

int dump(const char* path) {
  const Bytes input = readFile(path);
  for (const FlushInput& flush : readFlushes(input)) {
    std::printf("flush of %zu bytes: context %u, window %u, size %u, present %u, replies %u, cuts %u, options 0x%x\n",
                flush.stream.size(), flush.context(), flush.window(), flush.size(), flush.presentMode(), flush.replies(),
                flush.cutSeed(), flush.options);
    CommandWalk walk(flush.stream.data(), flush.stream.size());
    uint32_t opcode = 0;
    Reader payload(nullptr, 0);
    while (walk.next(opcode, payload)) {
      std::printf("  %6llu  %s\n", static_cast<unsigned long long>(walk.offset()), describeCommand(opcode, payload).c_str());
    }
    if (walk.malformed()) std::printf("  %6llu  malformed\n", static_cast<unsigned long long>(walk.offset()));
  }
  return 0;
}

struct Part {
  uint32_t options = 0;
  std::vector<std::span<const uint8_t>> commands;
};

std::vector<Part> partsOf(const Bytes& input) {
  std::vector<Part> out;
  for (const FlushInput& flush : readFlushes(input)) {
    Part& part = out.emplace_back();
    part.options = flush.options;
    CommandWalk walk(flush.stream.data(), flush.stream.size());
    uint32_t opcode = 0;
    Reader payload(nullptr, 0);
    size_t begin = 0;
    bool any = false;
    while (walk.next(opcode, payload)) {
      if (any) part.commands.push_back(flush.stream.subspan(begin, walk.offset() - begin));
      begin = walk.offset();
      any = true;
    }
    if (begin < flush.stream.size()) part.commands.push_back(flush.stream.subspan(begin));
  }
  return out;
}

class Reducer {
 public:
  Reducer(std::string output, char** program) : output_(std::move(output)), program_(program) {}

  int run(const Bytes& input) {
    parts_ = partsOf(input);
    if (!fails(parts_)) {
      std::fprintf(stderr, "the program does not fail on the input\n");
      return 1;
    }
    while (dropParts() || dropCommands()) {
    }
    for (Part& part : parts_) {
      for (const uint32_t mask : {0xFFFFu, 3u << 16, 3u << 18, 3u << 20, 7u << 22, 1u << 25}) {
        const uint32_t before = part.options;
        part.options &= ~mask;
        if (!fails(parts_)) part.options = before;
      }
    }
    write(parts_);
    return 0;
  }

 private:
  bool dropParts() {
    bool any = false;
    for (size_t i = 0; i < parts_.size() && parts_.size() > 1;) {
      std::vector<Part> fewer = parts_;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
      if (!take(fewer, any)) ++i;
    }
    return any;
  }
  bool dropCommands() {
    bool any = false;
    for (size_t p = 0; p < parts_.size(); ++p) {
      for (size_t size = (parts_[p].commands.size() + 1) / 2; size > 0; size /= 2) {
        for (size_t at = 0; at < parts_[p].commands.size();) {
          std::vector<Part> fewer = parts_;
          auto& commands = fewer[p].commands;
          const size_t end = std::min(at + size, commands.size());
          commands.erase(commands.begin() + static_cast<std::ptrdiff_t>(at), commands.begin() + static_cast<std::ptrdiff_t>(end));
          if (!take(fewer, any)) at += size;
        }
      }
    }
    return any;
  }
  bool take(const std::vector<Part>& fewer, bool& any) {
    if (!fails(fewer)) return false;
    parts_ = fewer;
    return any = true;
  }

  void write(const std::vector<Part>& parts) const {
    Bytes out, stream;
    for (const Part& part : parts) {
      stream.clear();
      for (const auto& command : part.commands) stream.insert(stream.end(), command.begin(), command.end());
      appendFlush(out, part.options, stream);
    }
    writeFile(output_, out);
  }

  // With the status of the first failure.
  bool fails(const std::vector<Part>& parts) {
    write(parts);
    std::vector<char*> words;
    for (char** word = program_; *word != nullptr; ++word) words.push_back(*word);
    words.push_back(output_.data());
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    const int failure = posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (failure != 0 || waitpid(child, &status, 0) != child) return false;
    if (status == 0) return false;
    if (status_ == 0) status_ = status;
    return status == status_;
  }

  std::string output_;
  char** const program_;
  std::vector<Part> parts_;
  int status_ = 0;
};

}  // namespace
}  // namespace qv::fuzz

int main(int argc, char** argv) {
  const std::string verb = argc > 1 ? argv[1] : "";
  if (verb == "dump" && argc == 3) return qv::fuzz::dump(argv[2]);
  if (verb == "reduce" && argc > 4) return qv::fuzz::Reducer(argv[3], argv + 4).run(qv::fuzz::readFile(argv[2]));
  std::fprintf(stderr, "use: stream_tool dump INPUT | stream_tool reduce INPUT OUTPUT PROGRAM...\n");
  return 2;
}
