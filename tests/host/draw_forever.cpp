// A guest process that draws without end until it is killed: `host_draw_forever SOCKET`. A second argument names one command that
// takes forever: `lists`, `line` or `mesh`, or `compile` with the number of a source bomb as a third.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "peer/link/host_client.h"
#include "tests/host/source_bombs.h"
#include "tests/peer/test_guest.h"

namespace {

using namespace qv::peer::test;

// Draws with a shader of the source. What becomes of that is the host's affair.
void drawWith(TestGuest& guest, const std::string& source) {
  const auto shader = guest.askFor<uint32_t>(Stream().add(kCreateShader, GL_VERTEX_SHADER));
  const auto program = guest.askFor<uint32_t>(Stream().add(kCreateProgram));
  const auto bytes = static_cast<uint32_t>(source.size());
  std::vector<uint8_t> payload = words({shader, 1, 0, 0, bytes + 1, 1});
  payload.insert(payload.end(), source.begin(), source.end());
  payload.push_back(0);
  payload += words({bytes});
  Stream stream;
  stream.large(kShaderSource, payload).add(kCompileShader, shader).add(kAttachShader, program, shader);
  stream.add(kLinkProgram, program).add(kUseProgram, program).add(kRectf, -1.0f, -1.0f, 1.0f, 1.0f);
  guest.flush(stream, GL_BACK);
}

}  // namespace

int main(int argc, char** argv) {
  const auto client = qv::peer::connectToHost(argc > 1 ? argv[1] : "");
  if (client == nullptr) return 2;
  TestGuest guest(*client, static_cast<uint32_t>(getpid()));
  if (!guest.start(300, 300)) return 2;
  const char* const command = argc > 2 ? argv[2] : "";
  if (argc > 3 && std::strcmp(command, "compile") == 0) {
    if (write(1, "d", 1) != 1) return 2;
    drawWith(guest, sourceBombs().at(static_cast<size_t>(std::atoi(argv[3]))));
    return 2;
  }
  if (std::strcmp(command, "line") == 0 || std::strcmp(command, "mesh") == 0) {
    // All points, or all cells, of an evaluator's grid.
    const bool line = std::strcmp(command, "line") == 0;
    constexpr uint32_t kEnableMap = GL_MAP1_VERTEX_3, kEnableMap2 = GL_MAP2_VERTEX_3, kEvalMesh1 = 236, kEvalMesh2 = 238;
    constexpr int32_t kLast = 0x7FFFFFFF;
    const Stream enable = Stream().add(kEnable, kEnableMap).add(kEnable, kEnableMap2);
    if (guest.flush(enable, GL_BACK) != 0 || write(1, "d", 1) != 1) return 2;
    guest.flush(line ? Stream().add(kEvalMesh1, GL_LINE, 0, kLast) : Stream().add(kEvalMesh2, GL_FILL, 0, kLast, 0, kLast),
                GL_BACK);
    return 2;
  }
  if (std::strcmp(command, "lists") == 0) {
    // 40 lists, each of which calls the next one twice.
    Stream lists;
    for (uint32_t list = 1; list <= 40; ++list) {
      lists.add(kNewList, list, GL_COMPILE).add(kCallList, list + 1).add(kCallList, list + 1).add(kEndList);
    }
    if (guest.flush(lists, GL_BACK) != 0 || write(1, "d", 1) != 1) return 2;
    guest.flush(Stream().add(kCallList, 1u), GL_BACK);
    return 2;
  }
  Stream heavy;
  for (int i = 0; i < 100000; ++i) heavy.add(kClearColor, 0.0f, 0.0f, 1.0f, 1.0f);
  heavy.add(kClear, GL_COLOR_BUFFER_BIT);
  guest.flush(heavy, GL_BACK);
  if (write(1, "d", 1) != 1) return 2;
  for (;;) {
    guest.flush(heavy, GL_BACK);
    guest.glError();
    guest.flush(Stream().add(kBegin, GL_TRIANGLES).add(kVertex3f, 0.0f, 0.0f, 0.0f));
    guest.flush(Stream().add(kEnd), GL_BACK);
  }
}
