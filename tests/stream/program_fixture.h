// ProgramTest: a context of OpenGL 4.3 over a host that makes programs and tells what they expose as the test says.
#pragma once

#include <vector>

#include "driver/state/program_objects.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"
#include "tests/support/resource_list.h"

namespace qv::test {

class ProgramTest : public ContextTest {
 protected:
  explicit ProgramTest(uint16_t version = 430) : ContextTest(4, version, 1) {
    context().reserve(1);
    host.answerCommand(kCreateProgram, words({2}));
    host.answerCommand(kCreateShader, words({5}));
    drop();
  }
  // A program with the name 2, linked with these resources; nothing is left in the stream.
  void link(const std::vector<Resource>& uniforms, const std::vector<Resource>& attributes = {}) {
    QV_CALL(glCreateProgram)();
    answerLists(uniforms, attributes);
    QV_CALL(glLinkProgram)(2);
    host.submissions.clear();
    drop();
  }
  void answerLists(const std::vector<Resource>& uniforms, const std::vector<Resource>& attributes) {
    const std::vector<uint8_t> first = resourceList(uniforms), second = resourceList(attributes);
    host.answerCommand(kActiveUniforms, first, listTotals(first.size(), uniforms.size()));
    host.answerCommand(kActiveAttributes, second, listTotals(second.size(), attributes.size()));
  }
  ProgramRecord* record(GLuint program = 2) { return findProgram(&context(), program); }
  // The call was refused: one error, nothing written, nothing sent.
  void expectRefused(GLenum error, uint32_t opcode) {
    EXPECT_EQ(takeError(), error);
    EXPECT_EQ(context().lastOpcode, static_cast<int32_t>(opcode));
    EXPECT_TRUE(pending().empty());
    EXPECT_TRUE(host.submissions.empty());
  }
  void expectNothing() {
    EXPECT_EQ(takeError(), 0u);
    EXPECT_TRUE(pending().empty());
    EXPECT_TRUE(host.submissions.empty());
  }
};

}  // namespace qv::test
