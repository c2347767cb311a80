// Shaders and programs on the host, by streams written by hand: what GL gets, what the guest is told, and what is refused.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>

#include "peer/host/egl_display.h"
#include "peer/host/in_process_gpu.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "tests/peer/test_guest.h"
#include "tests/support/resource_list.h"

namespace qv::peer::test {
namespace {

using Bytes = std::vector<uint8_t>;

// The tail of a list of texts: the texts with their zeros, then their lengths.
Bytes textTail(const std::vector<std::string>& texts) {
  Bytes out;
  for (const std::string& text : texts) {
    out.insert(out.end(), text.begin(), text.end());
    out.push_back(0);
  }
  for (const std::string& text : texts) Stream::append(out, static_cast<uint32_t>(text.size()));
  return out;
}
uint32_t textBytes(const std::vector<std::string>& texts) {
  uint32_t bytes = 0;
  for (const std::string& text : texts) bytes += static_cast<uint32_t>(text.size()) + 1;
  return bytes;
}

class Programs : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(guest.start(16, 16));
    guest.glError();
  }

  Stream source(uint32_t shader, const std::vector<std::string>& texts) {
    const auto count = static_cast<uint32_t>(texts.size());
    Bytes payload = words({shader, count, 0x11, 0x22, textBytes(texts), count});
    payload += textTail(texts);
    return payload.size() < 0xF0000 ? Stream().bytes(kShaderSource, payload) : Stream().large(kShaderSource, payload);
  }
  uint32_t shader(uint32_t type, const std::string& text) {
    const auto name = guest.askFor<uint32_t>(Stream().add(kCreateShader, type));
    EXPECT_EQ(guest.flush(source(name, {text}).add(kCompileShader, name)), 0);
    return name;
  }
  uint32_t program(const std::string& vertex, const std::string& fragment) {
    const auto name = guest.askFor<uint32_t>(Stream().add(kCreateProgram));
    for (const uint32_t one : {shader(GL_VERTEX_SHADER, vertex), shader(GL_FRAGMENT_SHADER, fragment)}) {
      guest.flush(Stream().add(kAttachShader, name, one));
    }
    EXPECT_EQ(guest.flush(Stream().add(kLinkProgram, name)), 0);
    return name;
  }
  // A linked program whose vertex shader gives these varyings, as they are captured.
  uint32_t capturing(const std::vector<std::string>& varyings) {
    const auto name = guest.askFor<uint32_t>(Stream().add(kCreateProgram));
    const uint32_t vertex = shader(GL_VERTEX_SHADER,
                                   "#version 150 compatibility\nout vec2 place; out vec3 tint;\n"
                                   "void main() { place = gl_Vertex.xy; tint = gl_Vertex.xyz; gl_Position = gl_Vertex; }");
    const auto count = static_cast<uint32_t>(varyings.size());
    Bytes payload = words({name, count, 0, textBytes(varyings), GL_INTERLEAVED_ATTRIBS, count});
    payload += textTail(varyings);
    Stream stream = Stream().add(kAttachShader, name, vertex);
    stream.bytes(kTransformFeedbackVaryings, payload).add(kLinkProgram, name);
    EXPECT_EQ(guest.flush(stream), 0);
    EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetProgramiv, name, GL_LINK_STATUS)), 1);
    return name;
  }
  TestGuest::Replies list(uint32_t opcode, uint32_t name, uint32_t capacity = 4096) {
    return guest.askBoth(Stream().add(opcode, name, capacity), capacity, 8);
  }
  // Expects the list to have these entries, in this order.
  void expectList(uint32_t opcode, uint32_t name, const std::vector<Resource>& resources) {
    const TestGuest::Replies got = list(opcode, name);
    const Bytes expected = resourceList(resources);
    EXPECT_EQ(got.first, expected);
    EXPECT_EQ(got.second, listTotals(expected.size(), resources.size()));
  }
  uint32_t indexOf(uint32_t name, const std::string& uniform) {
    Bytes payload = words({name, 1, 0, textBytes({uniform}), 1});
    payload += textTail({uniform});
    return guest.askFor<uint32_t>(Stream().bytes(kGetUniformIndices, payload));
  }
  void expectMalformed(const Stream& stream) {
    EXPECT_NE(guest.flush(stream), 0);
    EXPECT_EQ(log.take().size(), 1u);
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

const std::string kPlainVertex = "#version 120\nvoid main() { gl_Position = gl_Vertex; }";

// --- sources ---

// A source of several texts is one source; it comes back as it was given, cut to the room that the guest has.
TEST_F(Programs, SourcesComeBack) {
  const auto name = guest.askFor<uint32_t>(Stream().add(kCreateShader, GL_VERTEX_SHADER));
  ASSERT_NE(name, 0u);
  EXPECT_EQ(guest.flush(source(name, {"void ", "", "main(){}"})), 0);
  const auto text = [&](int32_t room, uint32_t capacity) {
    return guest.askBoth(Stream().add(kGetShaderSource, name, room), 4, capacity);
  };
  EXPECT_EQ(text(100, 100).first, words({13}));
  const Bytes whole = text(100, 100).second;
  EXPECT_EQ(std::string(whole.begin(), whole.end()), std::string("void main(){}") + '\0');
  EXPECT_EQ(text(6, 100).second, (Bytes{'v', 'o', 'i', 'd', ' ', 0}));
  EXPECT_EQ(text(6, 100).first, words({5}));
  EXPECT_EQ(text(100, 6).second.size(), 6u);
  EXPECT_EQ(text(1, 100).second, Bytes{0});
  EXPECT_EQ(text(0, 100).second, Bytes{});
  EXPECT_EQ(text(0, 100).first, words({0}));
  EXPECT_EQ(text(0x7FFFFFFF, 100).first, words({13}));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(text(-1, 100).first, Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  // No texts are an empty source, fewer than none an error.
  EXPECT_EQ(guest.flush(Stream().add(kShaderSource, name, 0, 0, 0, 0, 0)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.flush(Stream().add(kShaderSource, name, -1, 0, 0, 0, -1)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.askFor<uint32_t>(Stream().add(kCreateShaderProgramv, GL_VERTEX_SHADER, -1, 0, 0, -1)), 0u);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_NE(guest.askFor<uint32_t>(Stream().add(kCreateShaderProgramv, GL_VERTEX_SHADER, 0, 0, 0, 0)), 0u);
}

// Texts whose words and bytes contradict each other are malformed, in every command that has them.
TEST_F(Programs, ContradictoryTextsAreMalformed) {
  const auto payload = [](std::vector<uint32_t> head, uint32_t bytes, const Bytes& tail, uint32_t count, uint32_t countAgain) {
    // Two of the words before the bytes are the count and a pointer.
    Bytes out;
    for (uint32_t& word : head) Stream::append(out, word == 0xC0 ? count : word);
    Stream::append(out, bytes);
    Stream::append(out, countAgain);
    out += tail;
    return out;
  };
  const std::vector<std::pair<uint32_t, std::vector<uint32_t>>> commands = {
      {kShaderSource, {1, 0xC0, 0, 0}}, {kCreateShaderProgramv, {GL_VERTEX_SHADER, 0xC0, 0}}, {kGetUniformIndices, {1, 0xC0, 0}}};
  const Bytes good = textTail({"ab", "c"});
  for (const auto& [opcode, head] : commands) {
    SCOPED_TRACE(opcode);
    const auto command = [&, code = opcode](const Bytes& bytes) { return Stream().bytes(code, bytes); };
    EXPECT_EQ(guest.flush(command(payload(head, 5, good, 2, 2))), 0);
    expectMalformed(command(payload(head, 5, good, 1, 2)));
    expectMalformed(command(payload(head, 5, good, 2, 1)));
    expectMalformed(command(payload(head, 4, good, 2, 2)));
    expectMalformed(command(payload(head, 6, good, 2, 2)));
    Bytes bad = good;
    bad[2] = 'x';  // no zero behind the first text
    expectMalformed(command(payload(head, 5, bad, 2, 2)));
    for (const int length : {0, 1, 3, 4, 200}) {
      bad = good;
      bad[5] = static_cast<uint8_t>(length);
      expectMalformed(command(payload(head, 5, bad, 2, 2)));
    }
    bad = good;
    bad[8] = uint8_t{0x80};  // a negative length
    expectMalformed(command(payload(head, 5, bad, 2, 2)));
    expectMalformed(command(payload(head, 5, good, 0x7FFFFFFF, 0x7FFFFFFF)));
    expectMalformed(command(payload(head, 5, Bytes(5), 0, 0)));
  }
}

// A log longer than the ring of replies comes whole, and a cut one is its beginning.
TEST_F(Programs, LongLogsComeWhole) {
  std::string text = "#version 120\nvoid main() {\n";
  for (int i = 0; i < 6000; ++i) text += "gl_Position = nothing_of_this_name_" + std::to_string(i) + ";\n";
  const uint32_t name = shader(GL_VERTEX_SHADER, text + "}");
  const auto length = guest.askFor<int32_t>(Stream().add(kGetShaderiv, name, GL_INFO_LOG_LENGTH));
  ASSERT_GT(length, 300 * 1024);
  const TestGuest::Replies whole = guest.askBoth(Stream().add(kGetShaderInfoLog, name, length), 4, static_cast<uint32_t>(length));
  EXPECT_EQ(whole.first, words({static_cast<uint32_t>(length - 1)}));
  ASSERT_EQ(whole.second.size(), static_cast<size_t>(length));
  EXPECT_EQ(whole.second.back(), 0);
  const std::string told(whole.second.begin(), whole.second.end());
  EXPECT_NE(told.find("nothing_of_this_name_5999"), std::string::npos);
  const TestGuest::Replies cut = guest.askBoth(Stream().add(kGetShaderInfoLog, name, 16), 4, 16);
  EXPECT_EQ(cut.first, words({15}));
  EXPECT_EQ(std::string(cut.second.begin(), cut.second.end()), told.substr(0, 15) + '\0');
  // Of nothing there is no log.
  EXPECT_EQ(guest.askBoth(Stream().add(kGetShaderInfoLog, 999, 16), 4, 16).first, Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// A deep source is compiled without a crash.
TEST_F(Programs, DeepSourcesAreCompiled) {
  std::string text = "#version 120\nvoid main() { float x = 1.0";
  for (int i = 0; i < 20000; ++i) text += "+gl_Vertex.x";
  const uint32_t name = shader(GL_VERTEX_SHADER, text + "; gl_Position = vec4(x); }");
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetShaderiv, name, GL_COMPILE_STATUS)), 1);
}

// --- pictures ---

// A program draws with a uniform that is set by bytes.
TEST_F(Programs, ProgramsDraw) {
  const uint32_t name = program(kPlainVertex, "#version 120\nuniform vec4 c[2]; void main() { gl_FragColor = c[1]; }");
  Stream stream = Stream().add(kUseProgram, name);
  stream.bytes(kUniform4fv, [] {
    Bytes payload = words({0, 2});
    payload += floats({1, 0, 0, 1, 0, 1, 0.5f, 1});
    return payload;
  }());
  stream.add(kBegin, GL_QUADS)
      .add(kVertex2f, -1.0f, -1.0f)
      .add(kVertex2f, 1.0f, -1.0f)
      .add(kVertex2f, 1.0f, 1.0f)
      .add(kVertex2f, -1.0f, 1.0f)
      .add(kEnd);
  ASSERT_EQ(guest.flush(stream, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(8, 8) & 0xFFFFFF, 0x00FF80u);
  EXPECT_EQ(guest.glError(), 0u);
  const Bytes value = guest.ask(Stream().add(kGetUniformfv, name, 1, 4), 16);
  EXPECT_EQ(value, floats({0, 1, 0.5f, 1}));
  EXPECT_EQ(guest.ask(Stream().add(kGetUniformfv, name, 1, 2), 16).size(), 8u);
  EXPECT_EQ(guest.ask(Stream().add(kGetUniformfv, name, 1, 0xFFFFFFFF), 64).size(), 64u);
  EXPECT_EQ(guest.ask(Stream().add(kGetUniformfv, name, 77, 4), 16).size(), 0u);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
}

// Negative counts of uniforms are errors, and a count without its data is malformed.
TEST_F(Programs, CountsOfUniformsAreChecked) {
  const uint32_t name =
      program(kPlainVertex, "#version 120\nuniform vec4 c[2]; uniform mat4 m; void main() { gl_FragColor = m * c[1]; }");
  EXPECT_EQ(guest.flush(Stream().add(kUseProgram, name).add(kUniform4fv, 0, -1)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.flush(Stream().add(kUniformMatrix4fv, 2, -1, 0)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  expectMalformed(Stream().add(kUniform4fv, 0, 1, 1.0f));
  expectMalformed(Stream().add(kUniform4fv, 0, 0x7FFFFFFF, 1.0f));
  expectMalformed(Stream().add(kUniformMatrix4fv, 2, 1, 0, 1.0f));
  // A command whose values are too long for it is passed over.
  EXPECT_EQ(guest.flush(Stream().add(kUniform4fv, 0, 0x7FFFFFFF)), 0);
  EXPECT_EQ(log.take().size(), 1u);
}

// --- the lists ---

// Names without "[0]", arrays with a step, the longest name last: then the guest's longest name is GL's.
TEST_F(Programs, UniformsAreListed) {
  const uint32_t name = program(
      "#version 430 compatibility\nlayout(location = 9) uniform vec4 a; layout(location = 3) uniform float b[3];\n"
      "layout(location = 1) uniform float longestOfAll; layout(location = 0) uniform float one[1];\n"
      "void main() { gl_Position = gl_Vertex * b[1] * b[2] + a * longestOfAll * one[0]; }",
      "#version 120\nvoid main() { gl_FragColor = vec4(1.0); }");
  const TestGuest::Replies got = list(kActiveUniforms, name);
  int32_t totals[2];
  ASSERT_EQ(got.second.size(), 8u);
  std::memcpy(totals, got.second.data(), 8);
  EXPECT_EQ(totals[1], 4);
  EXPECT_EQ(static_cast<size_t>(totals[0]), got.first.size());
  const std::string all(got.first.begin(), got.first.end());
  EXPECT_EQ(all.find("[0]"), std::string::npos);
  EXPECT_EQ(all.rfind("longestOfAll"), all.size() - 16 - 12 + 12);  // 12 characters and their zero fill 16 bytes
  expectList(
      kActiveUniforms, name,
      {{GL_FLOAT, 1, 0, 1, "one"}, {GL_FLOAT, 3, 3, 1, "b"}, {GL_FLOAT_VEC4, 1, 9, 0, "a"}, {GL_FLOAT, 1, 1, 0, "longestOfAll"}});
  // The guest sorts by location: one, longestOfAll, b, a. Its indices are not GL's.
  EXPECT_EQ(indexOf(name, "one"), 0u);
  EXPECT_EQ(indexOf(name, "longestOfAll"), 1u);
  EXPECT_EQ(indexOf(name, "b"), 2u);
  EXPECT_EQ(indexOf(name, "a"), 3u);
  EXPECT_EQ(indexOf(name, "nothing"), static_cast<uint32_t>(GL_INVALID_INDEX));
  const Bytes types = guest.ask(Stream().add(kGetActiveUniformsiv, name, 4, GL_UNIFORM_TYPE, 0, 1, 2, 3), 16);
  EXPECT_EQ(types, words({GL_FLOAT, GL_FLOAT, GL_FLOAT, GL_FLOAT_VEC4}));
  const Bytes sizes = guest.ask(Stream().add(kGetActiveUniformsiv, name, 2, GL_UNIFORM_SIZE, 2, 3), 8);
  EXPECT_EQ(sizes, words({3, 1}));
  EXPECT_EQ(guest.ask(Stream().add(kGetActiveUniformsiv, name, 1, GL_UNIFORM_SIZE, 4), 4), Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// Members of blocks have no location: then the list is in GL's order, and so are the indices.
TEST_F(Programs, BlockMembersKeepTheOrder) {
  const uint32_t name = program(
      "#version 430 compatibility\nlayout(location = 9) uniform vec4 z; layout(std140) uniform B { vec4 y[2]; float x; };\n"
      "layout(location = 1) uniform float w; void main() { gl_Position = gl_Vertex * x + y[1] * w + z; }",
      "#version 120\nvoid main() { gl_FragColor = vec4(1.0); }");
  const TestGuest::Replies got = list(kActiveUniforms, name);
  std::vector<uint32_t> locations;
  std::vector<std::string> names;
  for (size_t at = 0; at < got.first.size();) {
    uint32_t location;
    std::memcpy(&location, got.first.data() + at + 8, 4);
    locations.push_back(location);
    names.emplace_back(reinterpret_cast<const char*>(got.first.data() + at + 16));
    at += (names.back().size() + 20) & ~size_t{3};
  }
  ASSERT_EQ(names.size(), 4u);
  for (uint32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(indexOf(name, names[i]), i) << names[i];
    const bool inBlock = names[i] == "x" || names[i] == "y";
    EXPECT_EQ(locations[i] == 0xFFFFFFFF, inBlock) << names[i];
  }
  const Bytes members = guest.ask(Stream().add(kGetActiveUniformBlockiv, name, 0, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES), 64);
  EXPECT_EQ(members.size(), 8u);
  const auto number = guest.askFor<int32_t>(Stream().add(kGetActiveUniformBlockiv, name, 0, GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS));
  EXPECT_EQ(number, 2);
  const TestGuest::Replies blockName = guest.askBoth(Stream().add(kGetActiveUniformBlockName, name, 0, 9), 4, 9);
  EXPECT_EQ(blockName.second, (Bytes{'B', 0}));
  EXPECT_EQ(guest.askBoth(Stream().add(kGetActiveUniformBlockName, name, 5, 9), 4, 9).second, Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.ask(Stream().add(kGetActiveUniformBlockiv, name, 5, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES), 64), Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// Attributes that take several locations have that step.
TEST_F(Programs, AttributesAreListed) {
  const uint32_t name = program(
      "#version 430 compatibility\nlayout(location = 2) in mat3 turn[2]; layout(location = 9) in vec4 p; layout(location = 10) "
      "in float f[2];\n"
      "void main() { gl_Position = p + vec4(turn[1][0] * turn[0][1], f[1] + f[0]); }",
      "#version 120\nvoid main() { gl_FragColor = vec4(1.0); }");
  expectList(kActiveAttributes, name,
             {{GL_FLOAT_VEC4, 1, 9, 0, "p"}, {GL_FLOAT, 2, 10, 1, "f"}, {GL_FLOAT_MAT3, 2, 2, 3, "turn"}});
}

// The questions about resources of programs know uniforms and attributes by the guest's indices too, those in order of locations.
TEST_F(Programs, ResourcesHaveTheGuestsIndices) {
  const uint32_t name = program(
      "#version 430 compatibility\nlayout(location = 9) uniform vec4 a; layout(location = 3) uniform float b[3];\n"
      "layout(location = 8) in vec4 p; layout(location = 2) in float f; layout(location = 5) in float g;\n"
      "void main() { gl_Position = p * b[1] * b[2] + a * f * g; }",
      "#version 430 compatibility\nlayout(location = 1) uniform float c; layout(location = 0) out vec4 first;\n"
      "layout(location = 1) out vec4 second; void main() { first = vec4(c); second = vec4(0.0); }");
  list(kActiveUniforms, name);
  list(kActiveAttributes, name);
  const auto indexIn = [&](uint32_t kind, const std::string& resource) {
    constexpr uint32_t kGetProgramResourceIndex = 2355;
    Bytes payload = words({name, kind, static_cast<uint32_t>(resource.size()) + 1});
    payload.insert(payload.end(), resource.begin(), resource.end());
    payload.push_back(0);
    return guest.askFor<uint32_t>(Stream().bytes(kGetProgramResourceIndex, payload));
  };
  const auto nameIn = [&](uint32_t kind, uint32_t index) {
    const Bytes text = guest.askBoth(Stream().add(kGetProgramResourceName, name, kind, index, 100), 4, 100).second;
    return std::string(text.begin(), text.empty() ? text.end() : text.end() - 1);
  };
  const auto locationIn = [&](uint32_t kind, uint32_t index) {
    return guest.askBoth(Stream().add(kGetProgramResourceiv, name, kind, index, 1, 1, GL_LOCATION), 4, 4).second;
  };
  const struct {
    uint32_t kind;
    const char* name;
    uint32_t index, location;
  } known[] = {{GL_UNIFORM, "c", 0, 1},       {GL_UNIFORM, "b[0]", 1, 3},    {GL_UNIFORM, "a", 2, 9},
               {GL_PROGRAM_INPUT, "f", 0, 2}, {GL_PROGRAM_INPUT, "g", 1, 5}, {GL_PROGRAM_INPUT, "p", 2, 8}};
  for (const auto& each : known) {
    EXPECT_EQ(indexIn(each.kind, each.name), each.index) << each.name;
    EXPECT_EQ(nameIn(each.kind, each.index), each.name);
    EXPECT_EQ(locationIn(each.kind, each.index), words({each.location})) << each.name;
  }
  EXPECT_EQ(indexIn(GL_UNIFORM, "nothing"), static_cast<uint32_t>(GL_INVALID_INDEX));
  // Other kinds have GL's own indices.
  for (const uint32_t index : {0u, 1u}) EXPECT_EQ(indexIn(GL_PROGRAM_OUTPUT, nameIn(GL_PROGRAM_OUTPUT, index)), index);
  EXPECT_EQ(guest.glError(), 0u);
}

// A list that does not fit tells its length alone, and comes when there is room for it.
TEST_F(Programs, LongListsTellTheirLength) {
  std::string fragment = "#version 120\n", sum = "vec4(0.0)";
  for (int i = 0; i < 200; ++i) {
    const std::string uniform = "aRatherLongNameOfAUniform" + std::to_string(i);
    fragment += "uniform vec4 " + uniform + ";\n";
    sum += " + " + uniform;
  }
  const uint32_t name = program(kPlainVertex, fragment + "void main() { gl_FragColor = " + sum + "; }");
  const TestGuest::Replies asked = list(kActiveUniforms, name);
  EXPECT_TRUE(asked.first.empty());
  int32_t totals[2];
  std::memcpy(totals, asked.second.data(), 8);
  EXPECT_EQ(totals[1], 200);
  EXPECT_GT(totals[0], 4096);
  const TestGuest::Replies whole = list(kActiveUniforms, name, static_cast<uint32_t>(totals[0]));
  EXPECT_EQ(whole.first.size(), static_cast<size_t>(totals[0]));
  EXPECT_EQ(whole.second, asked.second);
  // A capacity that the guest's own buffer does not have counts for nothing.
  EXPECT_TRUE(guest.askBoth(Stream().add(kActiveUniforms, name, 0xFFFFFFFF), 64, 8).first.empty());
}

// No program, one that is not linked, a shader, and an open primitive: no list and no error.
TEST_F(Programs, WithoutALinkThereIsNoList) {
  const Bytes none = listTotals(0, 0);
  const auto unlinked = guest.askFor<uint32_t>(Stream().add(kCreateProgram));
  const uint32_t aShader = shader(GL_VERTEX_SHADER, kPlainVertex);
  const uint32_t broken = program("#version 120\nvoid main() { gl_Position = nothing; }", "#version 120\nvoid main() {}");
  for (const uint32_t opcode : {kActiveUniforms, kActiveAttributes}) {
    for (const uint32_t name : {0u, unlinked, aShader, broken, 0xFFFFFFFFu}) {
      const TestGuest::Replies got = list(opcode, name);
      EXPECT_TRUE(got.first.empty());
      EXPECT_EQ(got.second, none) << name;
    }
  }
  EXPECT_EQ(guest.glError(), 0u);
  const uint32_t good = program(kPlainVertex, "#version 120\nuniform vec4 c; void main() { gl_FragColor = c; }");
  EXPECT_EQ(guest.askBoth(Stream().add(kBegin, GL_POINTS).add(kActiveUniforms, good, 4096), 4096, 8).second, none);
  EXPECT_EQ(guest.flush(Stream().add(kEnd)), 0);
  EXPECT_EQ(guest.glError(), 0u);
}

// Inside a primitive no question of the host's own is asked, and the guest hears of its own error.
TEST_F(Programs, QuestionsInsideAPrimitiveAreErrors) {
  const uint32_t name = program(kPlainVertex, "#version 120\nuniform vec4 c; void main() { gl_FragColor = c; }");
  Bytes indices = words({name, 1, 0, 2, 1});
  indices += textTail({"c"});
  const Stream questions[] = {Stream().add(kGetProgramInfoLog, name, 10),
                              Stream().add(kGetAttachedShaders, name, 4),
                              Stream().add(kGetUniformfv, name, 0, 4),
                              Stream().add(kGetSynciv, 1, GL_SYNC_STATUS, 1),
                              Stream().add(kGetActiveUniformsiv, name, 1, GL_UNIFORM_TYPE, 0),
                              Stream().add(kGetProgramResourceName, name, GL_UNIFORM, 0, 10),
                              Stream().add(kGetProgramResourceiv, name, GL_UNIFORM, 0, 1, 1, GL_TYPE),
                              Stream().bytes(kGetUniformIndices, indices),
                              Stream().add(kGetActiveUniformBlockiv, name, 0, GL_UNIFORM_BLOCK_BINDING),
                              Stream().add(kGetActiveAtomicCounterBufferiv, name, 0, GL_ATOMIC_COUNTER_BUFFER_BINDING, 1),
                              Stream().add(kGetActiveSubroutineUniformiv, name, GL_VERTEX_SHADER, 0, GL_UNIFORM_SIZE, 1),
                              Stream().add(kGetShaderPrecisionFormat, GL_VERTEX_SHADER, GL_HIGH_FLOAT),
                              Stream().add(kGetProgramBinary, name, 16, 0, 0, 0),
                              Stream().add(kGetTransformFeedbackVarying, name, 0, 8, 0, 0, 0),
                              Stream().add(kGetProgramStringARB, GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, 4),
                              Stream().add(kGetFramebufferParameteriv, GL_FRAMEBUFFER, GL_DOUBLEBUFFER, 1),
                              Stream().add(kGetInternalformati64v, GL_RENDERBUFFER, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, 1, 1),
                              Stream().add(kGetQueryiv, GL_SAMPLES_PASSED, GL_CURRENT_QUERY),
                              Stream().add(kGetQueryIndexediv, GL_SAMPLES_PASSED, 0, GL_CURRENT_QUERY),
                              Stream().add(kGetQueryObjectiv, 1, GL_QUERY_RESULT)};
  for (const Stream& question : questions) {
    Stream stream = Stream().add(kBegin, GL_POINTS);
    stream.raw(question.data);
    const TestGuest::Replies got = guest.askBoth(stream, 16, 16);
    SCOPED_TRACE(&question - questions);
    EXPECT_TRUE(got.first.empty());
    EXPECT_TRUE(got.second.empty());
    EXPECT_EQ(guest.status, 0);
    EXPECT_EQ(guest.flush(Stream().add(kEnd)), 0);
    EXPECT_NE(guest.glError(), 0u);
    EXPECT_EQ(guest.glError(), 0u);
  }
}

// An error that was there before a question is neither taken for its refusal nor lost.
TEST_F(Programs, OlderErrorsRefuseNoQuestion) {
  const uint32_t name = program(
      "#version 430 compatibility\nuniform B { vec4 y; }; out vec4 tint; uniform float f;\n"
      "void main() { tint = y; gl_Position = gl_Vertex * f; }",
      "#version 430 compatibility\nlayout(binding = 0) uniform atomic_uint a; in vec4 tint;\n"
      "subroutine vec4 Shade(); subroutine uniform Shade shade; subroutine(Shade) vec4 red() { return vec4(1, 0, 0, 1); }\n"
      "void main() { gl_FragColor = tint * shade() * float(atomicCounter(a)); }");
  Bytes varyings = words({name, 1, 0, 5, GL_INTERLEAVED_ATTRIBS, 1}), indices = words({name, 1, 0, 2, 1});
  varyings += textTail({"tint"});
  indices += textTail({"f"});
  ASSERT_EQ(guest.flush(Stream().bytes(kTransformFeedbackVaryings, varyings).add(kLinkProgram, name)), 0);
  ASSERT_EQ(guest.askFor<int32_t>(Stream().add(kGetProgramiv, name, GL_LINK_STATUS)), 1);
  const auto location = static_cast<int32_t>(guest.askFor<uint32_t>(Stream().bytes(2358, [&] {
    Bytes payload = words({name, GL_UNIFORM, 2});
    payload += {'f', 0};
    return payload;
  }())));
  const auto fence = guest.askFor<uint32_t>(Stream().add(kFenceSync, GL_SYNC_GPU_COMMANDS_COMPLETE, 0));
  ASSERT_EQ(guest.flush(Stream().add(kBeginQuery, GL_SAMPLES_PASSED, 1).add(kEndQuery, GL_SAMPLES_PASSED)), 0);
  ASSERT_EQ(guest.glError(), 0u);
  const Stream questions[] = {
      Stream().add(kGetProgramInfoLog, name, 10),
      Stream().add(kGetAttachedShaders, name, 4),
      Stream().add(kGetUniformfv, name, location, 1),
      Stream().add(kGetSynciv, fence, GL_SYNC_CONDITION, 1),
      Stream().add(kGetActiveUniformsiv, name, 1, GL_UNIFORM_TYPE, 0),
      Stream().add(kGetProgramResourceName, name, GL_UNIFORM, 0, 10),
      Stream().add(kGetProgramResourceiv, name, GL_UNIFORM, 0, 1, 1, GL_TYPE),
      Stream().bytes(kGetUniformIndices, indices),
      Stream().add(kGetActiveUniformBlockiv, name, 0, GL_UNIFORM_BLOCK_BINDING),
      Stream().add(kGetActiveUniformBlockiv, name, 0, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES),
      Stream().add(kGetActiveAtomicCounterBufferiv, name, 0, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, 1),
      Stream().add(kGetActiveSubroutineUniformiv, name, GL_FRAGMENT_SHADER, 0, GL_COMPATIBLE_SUBROUTINES, 1),
      Stream().add(kGetShaderPrecisionFormat, GL_VERTEX_SHADER, GL_HIGH_FLOAT),
      Stream().add(kGetTransformFeedbackVarying, name, 0, 8, 0, 0, 0),
      Stream().add(kGetProgramStringARB, GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, 4),
      Stream().add(kGetFramebufferParameteriv, GL_FRAMEBUFFER, GL_DOUBLEBUFFER, 1),
      Stream().add(kGetInternalformati64v, GL_RENDERBUFFER, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, 1, 1),
      Stream().add(kGetQueryiv, GL_SAMPLES_PASSED, GL_QUERY_COUNTER_BITS),
      Stream().add(kGetQueryIndexediv, GL_SAMPLES_PASSED, 0, GL_QUERY_COUNTER_BITS),
      Stream().add(kGetQueryObjectiv, 1, GL_QUERY_RESULT)};
  for (const Stream& question : questions) {
    SCOPED_TRACE(&question - questions);
    const TestGuest::Replies expected = guest.askBoth(question, 16, 16);
    EXPECT_EQ(guest.glError(), 0u);
    Stream stream = Stream().add(kUseProgram, 9999);
    stream.raw(question.data);
    const TestGuest::Replies got = guest.askBoth(stream, 16, 16);
    EXPECT_EQ(got.first, expected.first);
    EXPECT_EQ(got.second, expected.second);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    EXPECT_EQ(guest.glError(), 0u);
  }
}

// What GL refuses has no reply: what the guest holds stays as it was.
TEST_F(Programs, RefusedQuestionsHaveNoReply) {
  const uint32_t name = program(kPlainVertex, "#version 120\nuniform vec4 c; void main() { gl_FragColor = c; }");
  Bytes indices = words({999, 1, 0, 2, 1});
  indices += textTail({"c"});
  const Stream questions[] = {
      Stream().add(kGetProgramInfoLog, 999, 10),
      Stream().add(kGetAttachedShaders, 999, 4),
      Stream().add(kGetUniformfv, name, 77, 1),
      Stream().add(kGetActiveUniformsiv, name, 1, GL_UNIFORM_TYPE, 5),
      Stream().add(kGetProgramResourceiv, name, GL_UNIFORM, 9, 1, 1, GL_TYPE),
      Stream().bytes(kGetUniformIndices, indices),
      Stream().add(kGetActiveUniformBlockiv, name, 5, GL_UNIFORM_BLOCK_BINDING),
      Stream().add(kGetActiveUniformBlockiv, name, 5, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES),
      Stream().add(kGetActiveAtomicCounterBufferiv, name, 5, GL_ATOMIC_COUNTER_BUFFER_BINDING, 1),
      Stream().add(kGetActiveAtomicCounterBufferiv, name, 5, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, 1),
      Stream().add(kGetActiveSubroutineUniformiv, name, GL_VERTEX_SHADER, 5, GL_UNIFORM_SIZE, 1),
      Stream().add(kGetActiveSubroutineUniformiv, name, GL_VERTEX_SHADER, 5, GL_COMPATIBLE_SUBROUTINES, 1),
      Stream().add(kGetShaderPrecisionFormat, 1, 2),
      Stream().add(kGetTransformFeedbackVarying, name, 5, 8, 0, 0, 0),
      Stream().add(kGetProgramStringARB, GL_TEXTURE_2D, GL_PROGRAM_STRING_ARB, 4),
      Stream().add(kGetFramebufferParameteriv, GL_TEXTURE_2D, GL_DOUBLEBUFFER, 1),
      Stream().add(kGetInternalformati64v, GL_POINTS, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, 1, 1),
      Stream().add(kGetQueryiv, GL_TEXTURE_2D, GL_QUERY_COUNTER_BITS),
      Stream().add(kGetQueryIndexediv, GL_TEXTURE_2D, 0, GL_QUERY_COUNTER_BITS),
      Stream().add(kGetQueryObjectiv, 1, GL_QUERY_RESULT)};
  for (const Stream& question : questions) {
    SCOPED_TRACE(&question - questions);
    const TestGuest::Replies got = guest.askBoth(question, 16, 16);
    EXPECT_EQ(got.first, Bytes{});
    EXPECT_EQ(got.second, Bytes{});
    EXPECT_EQ(guest.status, 0);
    EXPECT_NE(guest.glError(), 0u);
    EXPECT_EQ(guest.glError(), 0u);
  }
}

// A shader's and a program's own questions.
TEST_F(Programs, AttachedShadersAreTold) {
  const uint32_t name = program(kPlainVertex, "#version 120\nvoid main() { gl_FragColor = vec4(1.0); }");
  EXPECT_EQ(guest.askBoth(Stream().add(kGetAttachedShaders, name, 9), 4, 36).second.size(), 8u);
  EXPECT_EQ(guest.askBoth(Stream().add(kGetAttachedShaders, name, 1), 4, 4).second.size(), 4u);
  EXPECT_EQ(guest.askBoth(Stream().add(kGetAttachedShaders, name, 0), 4, 4).first, words({0}));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.askBoth(Stream().add(kGetAttachedShaders, name, 0x7FFFFFFF), 4, 64).first, words({2}));
  EXPECT_EQ(guest.askBoth(Stream().add(kGetAttachedShaders, name, -1), 4, 4).first, Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.askBoth(Stream().add(kGetAttachedShaders, 999, 4), 4, 4).first, Bytes{});
  EXPECT_NE(guest.glError(), 0u);
}

// The name of a resource: its errors are those of the question for the name, not of the host's own for its length.
TEST_F(Programs, ResourcesWithoutNamesAreBadInterfaces) {
  const uint32_t name = program(kPlainVertex, "#version 120\nuniform vec4 c; void main() { gl_FragColor = c; }");
  const TestGuest::Replies known = guest.askBoth(Stream().add(kGetProgramResourceName, name, GL_UNIFORM, 0, 100), 4, 100);
  EXPECT_EQ(known.first, words({1}));
  EXPECT_EQ(known.second, (Bytes{'c', 0}));
  const auto errorFor = [&](uint32_t kind, uint32_t index, int32_t room) {
    const TestGuest::Replies got = guest.askBoth(Stream().add(kGetProgramResourceName, name, kind, index, room), 4, 100);
    EXPECT_TRUE(got.first.empty());
    EXPECT_TRUE(got.second.empty());
    const uint32_t error = guest.glError();
    EXPECT_EQ(guest.glError(), 0u);
    return error;
  };
  EXPECT_EQ(errorFor(GL_ATOMIC_COUNTER_BUFFER, 0, 100), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(errorFor(GL_TEXTURE_2D, 0, 100), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(errorFor(GL_UNIFORM, 7, 100), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(errorFor(GL_UNIFORM, 0, -1), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// A varying that is captured is told with its size and type, and its name as far as there is room.
TEST_F(Programs, VaryingsAreTold) {
  const uint32_t name = capturing({"place", "tint"});
  const auto told = [&](uint32_t index, int32_t room, uint32_t capacity = 64) {
    return guest.askBoth(Stream().add(kGetTransformFeedbackVarying, name, index, room, 0, 0, 0), 12, capacity);
  };
  EXPECT_EQ(told(1, 64).first, words({4, 1, GL_FLOAT_VEC3}));
  EXPECT_EQ(told(1, 64).second, (Bytes{'t', 'i', 'n', 't', 0}));
  EXPECT_EQ(told(0, 64).first, words({5, 1, GL_FLOAT_VEC2}));
  EXPECT_EQ(told(0, 3).first, words({2, 1, GL_FLOAT_VEC2}));
  EXPECT_EQ(told(0, 3).second, (Bytes{'p', 'l', 0}));
  EXPECT_EQ(told(0, 64, 3).second, (Bytes{'p', 'l', 0}));
  EXPECT_EQ(told(0, 1).second, Bytes{0});
  EXPECT_EQ(told(0, 0).first, words({0, 1, GL_FLOAT_VEC2}));
  EXPECT_EQ(told(0, 0).second, Bytes{});
  EXPECT_EQ(told(0, 0x7FFFFFFF).first, words({5, 1, GL_FLOAT_VEC2}));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(told(2, 64).first, Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.askBoth(Stream().add(kGetTransformFeedbackVarying, 999, 0, 64, 0, 0, 0), 12, 64).first, Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
}

// An object that is capturing is not deleted, and keeps the guest's name.
TEST_F(Programs, CapturingObjectsStay) {
  const uint32_t name = capturing({"place"});
  const Stream binding = Stream().add(kGetIntegerv, GL_TRANSFORM_FEEDBACK_BINDING, 1u);
  Stream stream = Stream().add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 7);
  stream.add(kBindBuffer, GL_ARRAY_BUFFER, 3);
  stream.bytes(kBufferData, words({GL_ARRAY_BUFFER, 64, 0, GL_STATIC_DRAW, 0}));
  stream.add(kBindBufferBase, GL_TRANSFORM_FEEDBACK_BUFFER, 0, 3).add(kUseProgram, name).add(kBeginTransformFeedback, GL_POINTS);
  ASSERT_EQ(guest.flush(stream), 0);
  ASSERT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kDeleteTransformFeedbacks, 1, 7)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(guest.askFor<uint32_t>(binding), 7u);
  ASSERT_EQ(guest.flush(Stream().add(kEndTransformFeedback).add(kDeleteTransformFeedbacks, 1, 7)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.askFor<uint32_t>(binding), 0u);
}

// What an object has captured is drawn out of the guest's arrays.
TEST_F(Programs, CapturedVerticesAreDrawn) {
  constexpr uint32_t kDrawTransformFeedback = 2258;
  const uint32_t name = capturing({"place"});
  Stream capture = Stream().add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 7).add(kBindBuffer, GL_ARRAY_BUFFER, 3);
  capture.bytes(kBufferData, words({GL_ARRAY_BUFFER, 64, 0, GL_STATIC_DRAW, 0}));
  capture.add(kBindBufferBase, GL_TRANSFORM_FEEDBACK_BUFFER, 0, 3).add(kUseProgram, name);
  capture.add(kBeginTransformFeedback, GL_TRIANGLES).add(kBegin, GL_TRIANGLES);
  capture.add(kVertex2f, -1.0f, -1.0f).add(kVertex2f, 3.0f, -1.0f).add(kVertex2f, -1.0f, 3.0f).add(kEnd);
  capture.add(kEndTransformFeedback).add(kUseProgram, 0);
  ASSERT_EQ(guest.flush(capture), 0);
  ASSERT_EQ(guest.glError(), 0u);
  Stream draw = Stream().add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
  draw.add(kVertexPointer, 2, GL_FLOAT, 0, 0, 3).add(kEnableClientState, GL_VERTEX_ARRAY).add(kColor3f, 0.0f, 1.0f, 0.0f);
  draw.add(kDrawTransformFeedback, GL_TRIANGLES, 7);
  ASSERT_EQ(guest.flush(draw, GL_BACK), 0);
  EXPECT_EQ(guest.surface->pixel(8, 8) & 0xFFFFFF, 0x00FF00u);
  EXPECT_EQ(guest.glError(), 0u);
  // Neither inside a primitive nor into a list.
  for (const Stream& around : {Stream().add(kBegin, GL_POINTS), Stream().add(kNewList, 1, GL_COMPILE)}) {
    Stream stream = around;
    stream.add(kDrawTransformFeedback, GL_TRIANGLES, 7).add(kEnd).add(kEndList);
    ASSERT_EQ(guest.flush(stream), 0);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
    guest.glError();
  }
}

// The order of a program's resources goes with the program, and stays while the program does.
TEST(ProgramDeletes, OrdersGoWithTheirProgram) {
  ASSERT_NE(EglDisplay::get(), nullptr);
  static GLboolean remains;
  const GlFunctions before = gl;
  gl.glDeleteProgram = +[](GLuint) {};
  gl.glDeleteObjectARB = +[](GLhandleARB) {};
  gl.glIsProgram = +[](GLuint) -> GLboolean { return remains; };
  gl.glBegin = +[](GLenum) {};
  Replayer replayer;
  const auto replay = [&](const Stream& stream) {
    replayer.begin();
    const auto bytes = static_cast<uint32_t>(stream.data.size());
    EXPECT_EQ(replayer.replay(stream.data.data(), bytes, bytes).outcome, Replayer::Outcome::Done);
  };
  SharedObjects& shared = *replayer.state().shared;
  const auto kept = [&] {
    GLuint uniform = 0, attribute = 0;
    shared.uniformOrders.toGl(5, &uniform, 1);
    shared.attributeOrders.toGl(5, &attribute, 1);
    return std::make_pair(uniform == 1, attribute == 1);
  };
  const auto setOrders = [&] {
    shared.uniformOrders.set(5, {1, 0});
    shared.attributeOrders.set(5, {1, 0});
  };
  for (const uint32_t opcode : {kDeleteProgram, kDeleteObjectARB}) {
    setOrders();
    remains = GL_TRUE;
    replay(Stream().add(opcode, 5));
    EXPECT_EQ(kept(), std::make_pair(true, true)) << opcode;
    remains = GL_FALSE;
    replay(Stream().add(opcode, 5));
    EXPECT_EQ(kept(), std::make_pair(false, false)) << opcode;
  }
  // Inside a primitive nothing is deleted.
  setOrders();
  replay(Stream().add(kBegin, GL_POINTS).add(kDeleteProgram, 5));
  EXPECT_EQ(kept(), std::make_pair(true, true));
  gl = before;
}

// Counters and subroutines are told by number: as many values as there are and the guest has room for.
TEST_F(Programs, CountersAndSubroutinesAreTold) {
  const uint32_t name = program(
      kPlainVertex,
      "#version 430 compatibility\n"
      "layout(binding = 3) uniform atomic_uint a; layout(binding = 3) uniform atomic_uint b;\n"
      "subroutine vec4 Shade(); subroutine uniform Shade shade;\n"
      "subroutine(Shade) vec4 red() { return vec4(1, 0, 0, 1); } subroutine(Shade) vec4 green() { return vec4(0, 1, 0, 1); }\n"
      "void main() { gl_FragColor = shade() * float(atomicCounter(a) + atomicCounter(b)); }");
  ASSERT_EQ(guest.askFor<int32_t>(Stream().add(kGetProgramiv, name, GL_LINK_STATUS)), 1);
  list(kActiveUniforms, name);
  const auto counters = [&](uint32_t pname, uint32_t room) {
    return guest.ask(Stream().add(kGetActiveAtomicCounterBufferiv, name, 0, pname, room), 64);
  };
  EXPECT_EQ(counters(GL_ATOMIC_COUNTER_BUFFER_BINDING, 1), words({3}));
  EXPECT_EQ(counters(GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTERS, 1), words({2}));
  Bytes indices = counters(GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, 9);
  Bytes both;
  for (const char* const counter : {"a", "b"}) Stream::append(both, indexOf(name, counter));
  EXPECT_EQ(indices, both);
  EXPECT_EQ(counters(GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, 1).size(), 4u);
  const auto subroutines = [&](uint32_t index, uint32_t pname, uint32_t room) {
    return guest.ask(Stream().add(kGetActiveSubroutineUniformiv, name, GL_FRAGMENT_SHADER, index, pname, room), 64);
  };
  EXPECT_EQ(subroutines(0, GL_NUM_COMPATIBLE_SUBROUTINES, 1), words({2}));
  EXPECT_EQ(subroutines(0, GL_COMPATIBLE_SUBROUTINES, 9), words({0, 1}));
  EXPECT_EQ(subroutines(0, GL_COMPATIBLE_SUBROUTINES, 1).size(), 4u);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(subroutines(5, GL_COMPATIBLE_SUBROUTINES, 9), Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  const TestGuest::Replies text =
      guest.askBoth(Stream().add(kGetActiveSubroutineName, name, GL_FRAGMENT_SHADER, 1, 64, 0), 4, 64);
  EXPECT_EQ(text.first, words({5}));
  EXPECT_EQ(text.second, (Bytes{'g', 'r', 'e', 'e', 'n', 0}));
  const TestGuest::Replies uniform = guest.askBoth(Stream().add(2245, name, GL_FRAGMENT_SHADER, 0, 64, 0), 4, 64);
  EXPECT_EQ(uniform.second, (Bytes{'s', 'h', 'a', 'd', 'e', 0}));
}

// Longer lists than any one property has come whole.
TEST_F(Programs, LongListsOfIndicesComeWhole) {
  constexpr uint32_t kMany = 100;
  std::string fragment = "#version 430 compatibility\nsubroutine vec4 Shade(); subroutine uniform Shade shade;\n", sum = "0u";
  std::string block = "layout(std140) uniform B {", members = "vec4(0.0)";
  for (uint32_t i = 0; i < kMany; ++i) {
    const std::string n = std::to_string(i);
    fragment += "subroutine(Shade) vec4 s" + n + "() { return vec4(" + n + "); }\n";
    fragment += "layout(binding = 0) uniform atomic_uint a" + n + ";\n";
    sum += "+ atomicCounter(a" + n + ")";
    block += "vec4 m" + n + ";";
    members += "+ m" + n;
  }
  const uint32_t name = program(
      kPlainVertex, fragment + block + "};\nvoid main() { gl_FragColor = shade() * float(" + sum + ") + " + members + "; }");
  ASSERT_EQ(guest.askFor<int32_t>(Stream().add(kGetProgramiv, name, GL_LINK_STATUS)), 1);
  const Bytes subroutines =
      guest.ask(Stream().add(kGetActiveSubroutineUniformiv, name, GL_FRAGMENT_SHADER, 0, GL_COMPATIBLE_SUBROUTINES, 1000), 4000);
  const Bytes counters = guest.ask(
      Stream().add(kGetActiveAtomicCounterBufferiv, name, 0, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, 1000), 4000);
  const Bytes uniforms =
      guest.ask(Stream().add(kGetActiveUniformBlockiv, name, 0, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES), 4000);
  for (const Bytes& list : {subroutines, counters, uniforms}) {
    ASSERT_EQ(list.size(), 4 * kMany);
    std::vector<uint32_t> indices(kMany);
    std::memcpy(indices.data(), list.data(), list.size());
    EXPECT_EQ(std::set<uint32_t>(indices.begin(), indices.end()).size(), kMany);
  }
  EXPECT_EQ(guest.glError(), 0u);
}

// Assembly programs give their text back, as much as the guest has room for; precisions come in two replies.
TEST_F(Programs, AssemblyTextsAndPrecisionsAreTold) {
  const std::string text = "!!ARBvp1.0\nMOV result.position, vertex.position;\nEND\n";
  Bytes payload = words({GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_FORMAT_ASCII_ARB, static_cast<uint32_t>(text.size())});
  payload.insert(payload.end(), text.begin(), text.end());
  ASSERT_EQ(guest.flush(Stream().bytes(kProgramStringARB, payload)), 0);
  const auto told = [&](uint32_t room) {
    const Bytes got = guest.ask(Stream().add(kGetProgramStringARB, GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, room), 200);
    return std::string(got.begin(), got.end());
  };
  EXPECT_EQ(told(200).substr(0, text.size()), text);
  EXPECT_EQ(told(10), "!!ARBvp1.0");
  EXPECT_EQ(told(0), "");
  const TestGuest::Replies precision =
      guest.askBoth(Stream().add(kGetShaderPrecisionFormat, GL_FRAGMENT_SHADER, GL_HIGH_FLOAT), 8, 4);
  EXPECT_EQ(precision.first, words({127, 127}));
  EXPECT_EQ(precision.second, words({23}));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.askBoth(Stream().add(kGetShaderPrecisionFormat, 1, 2), 8, 4).first, Bytes{});
  EXPECT_NE(guest.glError(), 0u);
}

// Binaries are refused whatever their format, and none is handed out.
TEST_F(Programs, BinariesAreRefused) {
  const uint32_t name = program(kPlainVertex, "#version 120\nvoid main() { gl_FragColor = vec4(1.0); }");
  EXPECT_EQ(guest.ask(Stream().add(kGetProgramBinary, name, 1000000, 0, 0, 0), 4), words({0}));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(guest.ask(Stream().add(kGetProgramBinary, name, -1, 0, 0, 0), 4), words({0}));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.ask(Stream().add(kGetProgramBinary, 0xDEADBEEF, 1000000, 0, 0, 0), 4), words({0}));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  const uint32_t aShader = shader(GL_VERTEX_SHADER, kPlainVertex);
  EXPECT_EQ(guest.ask(Stream().add(kGetProgramBinary, aShader, 1000000, 0, 0, 0), 4), words({0}));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(guest.flush(Stream().add(kProgramBinary, name, 0x875F, 0, 1000)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(guest.flush(Stream().add(kShaderBinary, 2, 0x875F, 0, 1000, 1, 2)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetProgramiv, name, GL_LINK_STATUS)), 1);
}

// Questions of absurd sizes are answered as far as GL has values.
TEST_F(Programs, AbsurdSizesAreBounded) {
  const uint32_t name = program("#version 430 compatibility\nuniform float f; void main() { gl_Position = gl_Vertex * f; }",
                                "#version 120\nvoid main() { gl_FragColor = vec4(1.0); }");
  const TestGuest::Replies resource =
      guest.askBoth(Stream().add(kGetProgramResourceiv, name, GL_UNIFORM, 0, 1, 0x7FFFFFFF, GL_NAME_LENGTH), 4, 64);
  EXPECT_EQ(resource.first, words({1}));
  EXPECT_EQ(resource.second, words({2}));
  for (const int32_t bad : {-1, static_cast<int32_t>(0x80000000)}) {
    guest.askBoth(Stream().add(kGetProgramResourceiv, name, GL_UNIFORM, 0, 0, bad), 4, 64);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    guest.askBoth(Stream().add(kGetProgramResourceiv, name, GL_UNIFORM, 0, bad, 4), 4, 64);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    guest.ask(Stream().add(kGetInternalformati64v, GL_RENDERBUFFER, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, bad, 1), 8);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    guest.askBoth(Stream().add(kGetTransformFeedbackVarying, name, 0, bad, 0, 0, 0), 12, 8);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    guest.askBoth(Stream().add(kGetActiveSubroutineName, name, GL_VERTEX_SHADER, 0, bad, 0), 4, 8);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    guest.ask(Stream().add(kGetActiveUniformsiv, name, bad, GL_UNIFORM_TYPE), 8);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  }
  EXPECT_EQ(
      guest.ask(Stream().add(kGetInternalformati64v, GL_RENDERBUFFER, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, 0x7FFFFFFF, 0x7FFFFFFF), 64)
          .size(),
      64u);
  EXPECT_EQ(guest.ask(Stream().add(kGetInternalformati64v, GL_RENDERBUFFER, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, 0, 0), 64), Bytes{});
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.ask(Stream().add(kGetActiveAtomicCounterBufferiv, name, 0, GL_ATOMIC_COUNTER_BUFFER_BINDING, 0xFFFFFFFF), 64),
            Bytes{});
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.ask(Stream().add(kGetFramebufferParameteriv, GL_FRAMEBUFFER, GL_DOUBLEBUFFER, 0xFFFFFFFF), 64).size(), 4u);
  EXPECT_EQ(guest.status, 0);
}

}  // namespace
}  // namespace qv::peer::test
