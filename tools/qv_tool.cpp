// qv-tool: looks at what the system leaves behind.
//
//   qv-tool dump FILE   prints a recorded stream (QV_RECORD), a command a line
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "peer/link/stream_record.h"
#include "wire/command_walk.h"
#include "wire/row_facts.h"

namespace {

using namespace qv;

int fail(const std::string& text) {
  std::fprintf(stderr, "qv-tool: %s\n", text.c_str());
  return 2;
}

// Offset in the stream, payload bytes, the command.
void printStream(const std::vector<uint8_t>& stream) {
  CommandWalk walk(stream.data(), stream.size());
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  while (walk.next(opcode, payload)) {
    const auto bytes = static_cast<unsigned long long>(payload.left());
    std::printf("%8llu %7llu  %s\n", static_cast<unsigned long long>(walk.offset()), bytes,
                describeCommand(opcode, payload).c_str());
  }
  if (walk.malformed()) std::printf("%8llu          malformed header\n", static_cast<unsigned long long>(walk.offset()));
}

int dump(const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return fail(path + ": " + std::strerror(errno));
  peer::RecordedFlush flush;
  std::vector<uint8_t> stream;
  std::string error;
  for (unsigned long number = 1; peer::readRecordedFlush(file, flush, stream, error); ++number) {
    const char* const present = flush.presentMode == 0      ? ""
                                : flush.presentMode == 1028 ? ", shows the front buffer"
                                                            : ", ends a frame";
    std::printf("flush %lu of context %u: %u bytes%s", number, flush.contextId, flush.streamBytes, present);
    if (flush.replyBytes != 0) std::printf(", asks for %u bytes", flush.replyBytes);
    std::printf("\n");
    printStream(stream);
  }
  std::fclose(file);
  return error.empty() ? 0 : fail(path + ": " + error);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string verb = argc == 3 ? argv[1] : "";
  if (verb == "dump") return dump(argv[2]);
  return fail("use: qv-tool dump FILE");
}
