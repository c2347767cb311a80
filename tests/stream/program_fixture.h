// ProgramTest: a context of OpenGL 4.3 over a host that makes programs and tells what they expose as the test says.
#pragma once

#include <cstring>
#include <string>
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
    blank();
  }
  // No question shows a picture.
  void TearDown() override {
    for (const Submission& one : host.submissions) EXPECT_EQ(one.presentMode, 0u);
  }
  // Drops what is written, and zeroes the memory of the next commands: pad bytes have no defined value.
  void blank() {
    drop();
    std::memset(context().base, 0, 4096);
  }
  // A program with the name 2, linked with these resources; nothing is left in the stream.
  void link(const std::vector<Resource>& uniforms, const std::vector<Resource>& attributes = {}) {
    QV_CALL(glCreateProgram)();
    answerLists(uniforms, attributes);
    QV_CALL(glLinkProgram)(2);
    host.submissions.clear();
    blank();
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

// Makes the program 2 current, with an attribute and a uniform array of two for every type that has setters: floats from location
// 10, integers from 110, unsigned ones from 210, doubles from 310 on, ten locations for each number of components.
inline void linkProgramOfEveryType() {
  static constexpr GLenum kTypes[4][4] = {{GL_FLOAT, GL_FLOAT_VEC2, GL_FLOAT_VEC3, GL_FLOAT_VEC4},
                                          {GL_INT, GL_INT_VEC2, GL_INT_VEC3, GL_INT_VEC4},
                                          {GL_UNSIGNED_INT, GL_UNSIGNED_INT_VEC2, GL_UNSIGNED_INT_VEC3, GL_UNSIGNED_INT_VEC4},
                                          {GL_DOUBLE, GL_DOUBLE_VEC2, GL_DOUBLE_VEC3, GL_DOUBLE_VEC4}};
  std::vector<Resource> uniforms;
  for (int kind = 0; kind < 4; ++kind) {
    for (int n = 0; n < 4; ++n) {
      const std::string name = {'u', static_cast<char>('0' + kind), static_cast<char>('0' + n)};
      uniforms.push_back({kTypes[kind][n], 2, 100 * kind + 10 * n + 10, 1, name});
    }
  }
  const std::vector<Resource> attributes = {{GL_FLOAT, 1, 0, 0, "a"}};
  const std::vector<uint8_t> first = resourceList(uniforms), second = resourceList(attributes);
  host.answerCommand(kCreateProgram, words({2}));
  host.answerCommand(kActiveUniforms, first, listTotals(first.size(), uniforms.size()));
  host.answerCommand(kActiveAttributes, second, listTotals(second.size(), attributes.size()));
  QV_CALL(glCreateProgram)();
  QV_CALL(glLinkProgram)(2);
  QV_CALL(glUseProgram)(2);
  host.submissions.clear();
}

}  // namespace qv::test
