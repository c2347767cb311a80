// The peer's reader against every row of the table: commands laid out by the driver's forms come back as the same arguments.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "peer/host/egl_display.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replayer.h"
#include "peer/replay/withheld.h"
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

using Arguments = std::vector<std::vector<uint8_t>>;

[[gnu::noinline]] void addBytes(Arguments& list, const void* from, size_t bytes) {
  const uint8_t* const at = static_cast<const uint8_t*>(from);
  list.emplace_back(at, at + bytes);
}

template <typename T>
void show(Arguments& list, T value) {
  if constexpr (kIsPointer<T>) {
    addBytes(list, reinterpret_cast<const void*>(value), bytesBehind);
  } else {
    addBytes(list, &value, sizeof value);
  }
}

// Components behind the pointer at a position, different for each.
uint8_t* vectorOf(uint32_t position) {
  alignas(8) static uint8_t vectors[16][64 * 8];
  for (uint32_t i = 0; i < sizeof vectors[0]; ++i) vectors[position][i] = static_cast<uint8_t>(i * 7 + 3 + position);
  return vectors[position];
}

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Recorder;
template <typename Row, typename R, typename... A>
struct Recorder<Row, R(APIENTRY*)(A...)> {
  static R APIENTRY call(A... arguments) {
    ++called.times;
    called.arguments.clear();
    (show(called.arguments, arguments), ...);
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

// One row's command and what GL must get for it.
struct RowCase {
  const char* name;
  uint32_t opcode;
  std::vector<uint8_t> payload;
  std::vector<std::vector<uint8_t>> arguments;
  uint32_t bytesBehind;
};

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct RowCaseOf;
template <typename Row, typename R, typename... A>
struct RowCaseOf<Row, R(APIENTRY*)(A...)> {
  using RowLayout = Layout<typename Row::Form, A...>;

  static RowCase make() { return make(std::index_sequence_for<A...>{}); }

 private:
  template <size_t... I>
  static RowCase make(std::index_sequence<I...>) {
    RowCase out{Row::kName, Row::kOpcode, std::vector<uint8_t>(RowLayout::kPayload, 0xEE), {}, 0};
    RowLayout::store(out.payload.data(), argument<A>(I)...);
    ((out.bytesBehind = std::max(out.bytesBehind, behind<A>())), ...);
    bytesBehind = out.bytesBehind;
    (show(out.arguments, argument<A>(I)), ...);
    return out;
  }
  template <typename T>
  static constexpr uint32_t behind() {
    if constexpr (kIsPointer<T>) {
      return FormTraits<typename Row::Form>::kVector * sizeof(Pointee<T>);
    } else {
      return 0;
    }
  }
  template <typename T>
  static T argument(uint32_t at) {
    if constexpr (kIsPointer<T>) {
      return reinterpret_cast<T>(vectorOf(at));
    } else if constexpr (std::is_same_v<T, GLsync>) {
      return reinterpret_cast<GLsync>(uintptr_t{0x77665544});
    } else if constexpr (scalarWidth<T>() < sizeof(T)) {
      return static_cast<T>(distinct<uint32_t>(at));  // only the low half crosses
    } else if constexpr (std::is_floating_point_v<T>) {
      return static_cast<T>(at) + T{0.25};
    } else {
      return distinct<T>(at);
    }
  }
};

class Decode : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(EglDisplay::get(), nullptr);
    before_ = gl;
    opcodeTable();  // while the real functions are there
#define QV_ROW(name, ...) gl.name = &Recorder<op::name>::call;
#include "wire/entry_points.def"
  }
  void TearDown() override { gl = before_; }

 private:
  GlFunctions before_;
};

template <typename Form>
inline constexpr bool kWholeInFixedPart = std::is_same_v<Form, Fixed>;
template <uint32_t N>
inline constexpr bool kWholeInFixedPart<Vec<N>> = true;

// Rows that a function replays because it looks at the window too: in a stream without windows, that is the replay of the form.
template <typename Row>
inline constexpr bool kLooksBeyond = std::is_same_v<Row, op::glAccum> || std::is_same_v<Row, op::glClear>;

// Every row as constants.
struct RowKind {
  bool command;
  bool byHand, withheld, family, fixed;
  RowCase (*make)();  // for the rows that their form replays from its fixed part
};
template <typename Row>
constexpr RowKind kindOf() {
  using Form = typename Row::Form;
  constexpr bool kFixed = Row::kOpcode != kNoOpcode && kWholeInFixedPart<Form>;
  RowKind out{kHasCommand<Row>,
              kHasOwnReplay<Row>,
              kWithheld<Row> != nullptr,
              std::is_same_v<Form, Family>,
              kFixed,
              nullptr};
  if constexpr (kFixed && kWithheld<Row> == nullptr && (!kHasOwnReplay<Row> || kLooksBeyond<Row>))
    out.make = &RowCaseOf<Row>::make;
  return out;
}
constexpr RowKind kRowKinds[] = {
#define QV_ROW(name, ...) kindOf<op::name>(),
#include "wire/entry_points.def"
};

// Fixed and vector rows, scalars and components alike. What is left out is counted.
TEST_F(Decode, FixedRows) {
  size_t tried = 0, others = 0;
  for (const RowKind& kind : kRowKinds) {
    others += kind.fixed && kind.make == nullptr;
    if (kind.make == nullptr) continue;
    ++tried;
    const RowCase one = kind.make();
    SCOPED_TRACE(one.name);
    bytesBehind = one.bytesBehind;
    called = {};
    Replayer replayer;
    const Stream stream = Stream().bytes(one.opcode, one.payload);
    const auto length = static_cast<uint32_t>(stream.data.size());
    ASSERT_EQ(replayer.replay(stream.data.data(), length, length).outcome, Replayer::Outcome::Done) << replayer.complaint();
    ASSERT_EQ(called.times, 1);
    EXPECT_EQ(called.arguments, one.arguments);
  }
  std::printf("rows decoded: %zu, replayed by hand or withheld: %zu\n", tried, others);
  EXPECT_GE(tried, 627u);
}

// No row is without an answer to how it is replayed: the numbers say what the peer does not do yet.
TEST_F(Decode, WhatIsNotReplayed) {
  int replayed = 0, withheld = 0, family = 0;
  for (const RowKind& kind : kRowKinds) {
    withheld += kind.command && kind.withheld;
    family += kind.command && kind.family && !kind.byHand && !kind.withheld;
    replayed += kind.command && !kind.withheld && (!kind.family || kind.byHand);
  }
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
