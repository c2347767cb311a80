// The example of docs/wire_format.md: the driver writes the bytes of its table, and the dump tells the lines below it.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/context_fixture.h"
#include "wire/command_walk.h"
#include "wire/row_facts.h"

namespace qv::test {
namespace {

struct Example {
  std::vector<int> bytes;  // -1: a pad byte
  std::vector<std::string> lines;
};

// Rows "| 56 | `01 .. .. ..` | ..." of the table, then the indented lines of the dump.
Example exampleOfTheDocs() {
  std::ifstream file(QV_ROOT "/docs/wire_format.md");
  Example out;
  std::string line;
  while (std::getline(file, line) && line != "## An example") {
  }
  while (std::getline(file, line) && line.rfind("## ", 0) != 0) {
    const size_t from = line.find('`'), to = line.find('`', from + 1);
    if (line.rfind("| ", 0) == 0 && from != std::string::npos && std::isdigit(static_cast<unsigned char>(line[2])) != 0) {
      EXPECT_EQ(std::stoul(line.substr(2)), out.bytes.size()) << line;
      std::istringstream bytes(line.substr(from + 1, to - from - 1));
      for (std::string byte; bytes >> byte;) out.bytes.push_back(byte == ".." ? -1 : std::stoi(byte, nullptr, 16));
    } else if (line.rfind("       ", 0) == 0) {
      out.lines.push_back(line.substr(4));
    }
  }
  return out;
}

class WorkedExample : public ContextTest {};

// What stands in the docs is what is sent.
TEST_F(WorkedExample, IsWhatTheDriverSends) {
  const Example example = exampleOfTheDocs();
  ASSERT_EQ(example.bytes.size(), 120u);
  const GLfloat position[] = {0, 0, 1, 0};
  GLint size = 0;
  drop();
  host.submissions.clear();
  QV_CALL(glClearColor)(0.0f, 0.5f, 1.0f, 1.0f);
  QV_CALL(glLightfv)(GL_LIGHT0, GL_POSITION, position);
  QV_CALL(glDepthMask)(GL_TRUE);
  QV_CALL(glBegin)(GL_LINES);
  QV_CALL(glColor3ub)(255, 128, 0);
  QV_CALL(glVertex3f)(0, 0, 0);
  QV_CALL(glColor3ub)(0, 128, 255);
  QV_CALL(glVertex3f)(1, 0, 0);
  QV_CALL(glEnd)();
  QV_CALL(glGetIntegerv)(GL_MAX_TEXTURE_SIZE, &size);
  ASSERT_FALSE(host.submissions.empty());
  const std::vector<uint8_t> stream = host.submissions.back().stream;
  ASSERT_EQ(stream.size(), example.bytes.size());
  for (size_t i = 0; i < stream.size(); ++i) {
    if (example.bytes[i] >= 0) {
      EXPECT_EQ(stream[i], example.bytes[i]) << i;
    }
  }
  CommandWalk walk(stream.data(), stream.size());
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  std::vector<std::string> lines;
  while (walk.next(opcode, payload)) {
    char text[160];
    std::snprintf(text, sizeof text, "%8u %7u  %s", static_cast<unsigned>(walk.offset()), static_cast<unsigned>(payload.left()),
                  describeCommand(opcode, payload).c_str());
    lines.emplace_back(text);
  }
  EXPECT_EQ(lines, example.lines);
}

}  // namespace
}  // namespace qv::test
