// The peer's reader against every row of the table: commands laid out by the driver's forms come back as the same arguments.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <tuple>

#include "peer/egl_display.h"
#include "peer/gl_functions.h"
#include "peer/replay/hand_written.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/replayer.h"
#include "test_guest.h"

namespace qv::peer::test {
namespace {

// What a replaced GL function was called with: scalars as their bytes, pointers as the bytes they must show.
struct Called {
  int times = 0;
  std::vector<std::vector<uint8_t>> arguments;
};
Called called;
// Bytes to look at behind each pointer of the call under test.
uint32_t bytesBehind = 0;

template <typename T>
std::vector<uint8_t> shown(T value) {
  std::vector<uint8_t> out;
  if constexpr (kIsPointer<T>) {
    const uint8_t* const from = reinterpret_cast<const uint8_t*>(value);
    out.assign(from, from + bytesBehind);
  } else {
    Stream::append(out, value);
  }
  return out;
}

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Recorder;
template <typename Row, typename R, typename... A>
struct Recorder<Row, R(APIENTRY*)(A...)> {
  static R APIENTRY call(A... arguments) {
    ++called.times;
    called.arguments = {shown(arguments)...};
    return R();
  }
};

// Argument values that differ from each other in every byte, for each position and component.
template <typename T>
T distinct(uint32_t position) {
  uint8_t bytes[sizeof(T)];
  for (size_t i = 0; i < sizeof(T); ++i) bytes[i] = static_cast<uint8_t>(0x11 + 13 * position + i);
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct RowCase;
template <typename Row, typename R, typename... A>
struct RowCase<Row, R(APIENTRY*)(A...)> {
  using RowLayout = Layout<typename Row::Form, A...>;
  static constexpr uint32_t kVector = FormTraits<typename Row::Form>::kVector;

  // Lays the command out with the form, replays it and compares what GL got.
  static void run() {
    SCOPED_TRACE(Row::kName);
    // Pointers to vectors of distinct components.
    static uint8_t vectors[sizeof...(A) + 1][64 * 8];
    for (auto& vector : vectors) {
      for (size_t i = 0; i < sizeof vector; ++i)
        vector[i] = static_cast<uint8_t>(i * 7 + 3 + static_cast<size_t>(&vector - vectors));
    }
    uint32_t position = 0;
    [[maybe_unused]] const auto argument = [&]<typename T>(std::type_identity<T>) -> T {
      const uint32_t at = position++;
      if constexpr (kIsPointer<T>) {
        return reinterpret_cast<T>(static_cast<uint8_t*>(vectors[at]));
      } else if constexpr (std::is_same_v<T, GLsync>) {
        return reinterpret_cast<GLsync>(uintptr_t{0x77665544});
      } else if constexpr (scalarWidth<T>() < sizeof(T)) {
        return static_cast<T>(distinct<uint32_t>(at));  // only the low half crosses
      } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(at) + T{0.25};
      } else {
        return distinct<T>(at);
      }
    };
    const std::tuple<A...> arguments{argument(std::type_identity<A>{})...};
    std::vector<uint8_t> payload(RowLayout::kPayload, 0xEE);
    std::apply([&](A... values) { RowLayout::store(payload.data(), values...); }, arguments);

    bytesBehind = 0;
    (
        [&] {
          if constexpr (kIsPointer<A>) bytesBehind = kVector * sizeof(Pointee<A>);
        }(),
        ...);
    called = {};
    Replayer replayer;
    const Stream stream = Stream().bytes(Row::kOpcode, payload);
    const auto length = static_cast<uint32_t>(stream.data.size());
    const Replayer::Result result = replayer.replay(stream.data.data(), length, length);
    ASSERT_EQ(result.outcome, Replayer::Outcome::Done) << replayer.complaint();
    ASSERT_EQ(called.times, 1);
    const auto expected = std::apply([](A... values) { return std::vector<std::vector<uint8_t>>{shown(values)...}; }, arguments);
    EXPECT_EQ(called.arguments, expected);
  }
};

class Decode : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(EglDisplay::get(), nullptr);
    before_ = gl;
    opcodeTable();  // while the real functions are there
#define QV_ROW(name, ...) gl.name = &Recorder<op::name>::call;
#include "driver/stream/entry_points.def"
  }
  void TearDown() override { gl = before_; }

 private:
  GlFunctions before_;
};

template <typename Form>
inline constexpr bool kWholeInFixedPart = std::is_same_v<Form, Fixed>;
template <uint32_t N>
inline constexpr bool kWholeInFixedPart<Vec<N>> = true;

// Fixed and vector rows, scalars and components alike. What is left out is counted and named.
TEST_F(Decode, FixedRows) {
  int tried = 0;
  std::vector<std::string> passedOver;
  forEachRow([&]<typename Row>(Row) {
    if constexpr (Row::kOpcode != kNoOpcode && kWholeInFixedPart<typename Row::Form>) {
      if constexpr (kWithheld<Row> == nullptr && !HandWritten<Row>::kIs) {
        RowCase<Row>::run();
        ++tried;
      } else {
        passedOver.push_back(Row::kName);
      }
    }
  });
  std::printf("rows decoded: %d, replayed by hand or withheld: %zu\n", tried, passedOver.size());
  EXPECT_GE(tried, 633);
}

// No row is without an answer to how it is replayed: the numbers say what the peer does not do yet.
TEST_F(Decode, WhatIsNotReplayed) {
  int replayed = 0, withheld = 0, family = 0;
  forEachRow([&]<typename Row>(Row) {
    if constexpr (Row::kOpcode != kNoOpcode && !std::is_same_v<typename Row::Form, Local>) {
      if constexpr (HandWritten<Row>::kIs) {
        ++replayed;
      } else if constexpr (kWithheld<Row> != nullptr) {
        ++withheld;
      } else if constexpr (std::is_same_v<typename Row::Form, Family>) {
        ++family;
      } else {
        ++replayed;
      }
    }
  });
  std::printf("rows replayed: %d, withheld: %d, of families that are not replayed: %d\n", replayed, withheld, family);
  EXPECT_EQ(withheld, 24);
}

// --- an independent list: bytes by hand, arguments by hand ---

TEST_F(Decode, ByHand) {
  const auto expect = [&](const std::vector<uint8_t>& command, const std::vector<std::vector<uint8_t>>& arguments,
                          uint32_t behind = 0) {
    bytesBehind = behind;
    called = {};
    Replayer replayer;
    const auto length = static_cast<uint32_t>(command.size());
    ASSERT_EQ(replayer.replay(command.data(), length, length).outcome, Replayer::Outcome::Done) << replayer.complaint();
    EXPECT_EQ(called.arguments, arguments);
  };
  using V = std::vector<uint8_t>;
  // glDepthMask: 5 bytes, one of payload.
  expect({0xD3, 0x50, 0, 0, 1, 9, 9, 9}, {V{1}});
  // glColorMask: four bytes in a row.
  expect({0xD2, 0x80, 0, 0, 1, 0, 1, 0}, {V{1}, V{0}, V{1}, V{0}});
  // glColor3ub: three packed bytes.
  expect({0x13, 0x70, 0, 0, 1, 2, 3, 9}, {V{1}, V{2}, V{3}});
  // glVertex3s: three packed shorts.
  expect({0x8C, 0xA0, 0, 0, 1, 0, 2, 0, 3, 0, 9, 9}, {V{1, 0}, V{2, 0}, V{3, 0}});
  // glLineStipple: the pattern in the low half of its word.
  expect({0xA7, 0xC0, 0, 0, 4, 0, 0, 0, 0xAA, 0x55, 9, 9}, {V{4, 0, 0, 0}, V{0xAA, 0x55}});
  // glClearDepth: the double at offset 4.
  expect({0xD0, 0xC0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, {V{0, 0, 0, 0, 0, 0, 0xE0, 0x3F}});
  // glBindBufferRange: offset and size of 4 bytes each, zero-extended.
  expect({0x08, 0x88, 1, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0x80, 5, 0, 0, 0},
         {V{1, 0, 0, 0}, V{2, 0, 0, 0}, V{3, 0, 0, 0}, V{4, 0, 0, 0x80, 0, 0, 0, 0}, V{5, 0, 0, 0, 0, 0, 0, 0}});
  // glColor3fv: the same bytes as glColor3f under a number of its own.
  expect({0x0E, 0x00, 1, 0, 0, 0, 0x80, 0x3F, 0, 0, 0, 0x40, 0, 0, 0x40, 0x40},
         {V{0, 0, 0x80, 0x3F, 0, 0, 0, 0x40, 0, 0, 0x40, 0x40}}, 12);
  // glRectsv: two corners of two shorts.
  expect({0x5D, 0xC0, 0, 0, 1, 0, 2, 0, 3, 0, 4, 0}, {V{1, 0, 2, 0}, V{3, 0, 4, 0}}, 4);
  // glFogfv with GL_FOG_COLOR: four floats and no count.
  expect({0x9A, 0x80, 1, 0, 0x66, 0x0B, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4},
         {V{0x66, 0x0B, 0, 0}, V{1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4}}, 16);
  // glLightfv: a count before the values.
  expect({0xA0, 0x40, 1, 0, 0, 0x40, 0, 0, 5, 0x12, 0, 0, 1, 0, 0, 0, 7, 7, 7, 7},
         {V{0, 0x40, 0, 0}, V{5, 0x12, 0, 0}, V{7, 7, 7, 7}}, 4);
  // glDeleteTextures: a count and as many names.
  expect({0x48, 0x01, 1, 0, 2, 0, 0, 0, 8, 0, 0, 0, 9, 0, 0, 0}, {V{2, 0, 0, 0}, V{8, 0, 0, 0, 9, 0, 0, 0}}, 8);
  // glBindAttribLocation: the length with the zero, then the name.
  expect({0xEA, 0x21, 1, 0, 3, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 'a', 0, 9, 9}, {V{3, 0, 0, 0}, V{1, 0, 0, 0}, V{'a', 0}}, 2);
}

}  // namespace
}  // namespace qv::peer::test
