// Elements of arrays on their way to GL as current values: what glArrayElement needs of arrays in the program's memory.
#include "peer/replay/array_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/gl_recorder.h"

namespace qv::peer::test {
namespace {

using qv::test::GlCall;
using qv::test::GlRecorder;

class ArrayElements : public testing::Test {
 protected:
  ArrayElements() { recorder.bytesBehind = 4 * sizeof(float); }

  // The call of GL for an element with these bytes.
  template <typename T>
  GlCall give(uint32_t number, ArrayRow row, const std::vector<T>& data) {
    std::vector<uint8_t> bytes(data.size() * sizeof(T) + 64);
    std::memcpy(bytes.data(), data.data(), data.size() * sizeof(T));
    recorder.calls.clear();
    giveElement(number, row, bytes.data());
    EXPECT_EQ(recorder.calls.size(), 1u);
    return recorder.calls.empty() ? GlCall{} : recorder.calls[0];
  }
  template <typename T>
  static std::vector<T> valuesOf(const GlCall& call, size_t argument, size_t count) {
    std::vector<T> values(count);
    if (call.arguments.size() > argument) std::memcpy(values.data(), call.arguments[argument].data(), count * sizeof(T));
    return values;
  }
  // The floats of an attribute.
  template <typename T>
  std::vector<float> floatsOf(GLenum type, uint32_t size, bool normalized, const std::vector<T>& data) {
    ArrayRow row;
    row.type = type;
    row.size = size;
    row.normalized = normalized;
    const GlCall call = give(kArrayKinds + 3, row, data);
    EXPECT_STREQ(call.name, "glVertexAttrib4fv");
    EXPECT_EQ(call.scalar(0), 3u);
    return valuesOf<float>(call, 1, 4);
  }

  GlRecorder recorder;
};

using Floats = std::vector<float>;

// Integers are taken as they are, or as fractions of their greatest value, of which a signed one has no less than -1.
TEST_F(ArrayElements, IntegersBecomeFloats) {
  EXPECT_EQ(floatsOf<int8_t>(GL_BYTE, 3, false, {-128, 127, 1}), (Floats{-128, 127, 1, 1}));
  EXPECT_EQ(floatsOf<int8_t>(GL_BYTE, 3, true, {-128, 127, 1}), (Floats{-1, 1, 1.0f / 127, 1}));
  EXPECT_EQ(floatsOf<uint8_t>(GL_UNSIGNED_BYTE, 4, false, {255, 128, 0, 7}), (Floats{255, 128, 0, 7}));
  EXPECT_EQ(floatsOf<uint8_t>(GL_UNSIGNED_BYTE, 4, true, {255, 51, 0, 255}), (Floats{1, 0.2f, 0, 1}));
  EXPECT_EQ(floatsOf<int16_t>(GL_SHORT, 2, false, {-32768, 5}), (Floats{-32768, 5, 0, 1}));
  EXPECT_EQ(floatsOf<int16_t>(GL_SHORT, 2, true, {-32768, 32767}), (Floats{-1, 1, 0, 1}));
  EXPECT_EQ(floatsOf<uint16_t>(GL_UNSIGNED_SHORT, 2, false, {65535, 5}), (Floats{65535, 5, 0, 1}));
  EXPECT_EQ(floatsOf<uint16_t>(GL_UNSIGNED_SHORT, 2, true, {65535, 13107}), (Floats{1, 0.2f, 0, 1}));
  EXPECT_EQ(floatsOf<int32_t>(GL_INT, 3, false, {-5, 6, 7}), (Floats{-5, 6, 7, 1}));
  EXPECT_EQ(floatsOf<int32_t>(GL_INT, 3, true, {INT32_MIN, INT32_MAX, 0}), (Floats{-1, 1, 0, 1}));
  EXPECT_EQ(floatsOf<uint32_t>(GL_UNSIGNED_INT, 2, false, {0x80000000, 6}), (Floats{2147483648.0f, 6, 0, 1}));
  EXPECT_EQ(floatsOf<uint32_t>(GL_UNSIGNED_INT, 2, true, {0xFFFFFFFF, 0x33333333}), (Floats{1, 0.2f, 0, 1}));
  EXPECT_EQ(floatsOf<int32_t>(GL_FIXED, 2, false, {0x18000, -0x10000}), (Floats{1.5f, -1, 0, 1}));
}

// Floats of all widths; what an element lacks is 0, 0, 1.
TEST_F(ArrayElements, FloatsStayWhatTheyAre) {
  EXPECT_EQ(floatsOf<float>(GL_FLOAT, 1, false, {2.5f, 9, 9, 9}), (Floats{2.5f, 0, 0, 1}));
  EXPECT_EQ(floatsOf<float>(GL_FLOAT, 4, true, {2.5f, -3, 4, 5}), (Floats{2.5f, -3, 4, 5}));
  EXPECT_EQ(floatsOf<float>(GL_FLOAT, 9, false, {1, 2, 3, 4}), (Floats{1, 2, 3, 4}));
  EXPECT_EQ(floatsOf<double>(GL_DOUBLE, 3, false, {0.5, -0.25, 8}), (Floats{0.5f, -0.25f, 8, 1}));
  EXPECT_EQ(floatsOf<uint16_t>(GL_HALF_FLOAT, 4, false, {0x3C00, 0xC000, 0x3555, 0x7BFF}),
            (Floats{1, -2, 0.333251953125f, 65504}));
  EXPECT_EQ(floatsOf<uint16_t>(GL_HALF_FLOAT, 4, false, {0x0001, 0x83FF, 0x0400, 0x8000}),
            (Floats{0x1p-24f, -1023 * 0x1p-24f, 0x1p-14f, 0}));
  const Floats odd = floatsOf<uint16_t>(GL_HALF_FLOAT, 3, false, {0x7C00, 0xFC00, 0x7E00});
  EXPECT_EQ(odd[0], INFINITY);
  EXPECT_EQ(odd[1], -INFINITY);
  EXPECT_TRUE(std::isnan(odd[2]));
}

// Packed components, from the lowest bits on; GL_BGRA has red and blue the other way round.
TEST_F(ArrayElements, PackedElementsAreTakenApart) {
  const uint32_t word = 0x200u | 511u << 10 | 3u << 20 | 2u << 30;
  EXPECT_EQ(floatsOf<uint32_t>(GL_INT_2_10_10_10_REV, 4, false, {word}), (Floats{-512, 511, 3, -2}));
  EXPECT_EQ(floatsOf<uint32_t>(GL_INT_2_10_10_10_REV, 4, true, {word}), (Floats{-1, 1, 3.0f / 511, -1}));
  EXPECT_EQ(floatsOf<uint32_t>(GL_UNSIGNED_INT_2_10_10_10_REV, 4, false, {word}), (Floats{512, 511, 3, 2}));
  EXPECT_EQ(floatsOf<uint32_t>(GL_UNSIGNED_INT_2_10_10_10_REV, 4, true, {1023u | 3u << 30}), (Floats{1, 0, 0, 1}));
  EXPECT_EQ(floatsOf<uint32_t>(GL_INT_2_10_10_10_REV, GL_BGRA, false, {word}), (Floats{3, 511, -512, -2}));
  EXPECT_EQ(floatsOf<uint8_t>(GL_UNSIGNED_BYTE, GL_BGRA, true, {51, 102, 255, 0}), (Floats{1, 0.4f, 0.2f, 0}));
}

// Integer and double attributes have calls of their own.
TEST_F(ArrayElements, AttributesKeepTheirKind) {
  ArrayRow row;
  row.integer = true;
  row.type = GL_BYTE;
  row.size = 2;
  GlCall call = give<int8_t>(kArrayKinds + 15, row, {-1, 7});
  EXPECT_STREQ(call.name, "glVertexAttribI4uiv");
  EXPECT_EQ(call.scalar(0), 15u);
  EXPECT_EQ(valuesOf<uint32_t>(call, 1, 4), (std::vector<uint32_t>{0xFFFFFFFF, 7, 0, 1}));
  row.type = GL_UNSIGNED_INT;
  call = give<uint32_t>(kArrayKinds, row, {0xFFFFFFFF, 0x80000001});
  EXPECT_EQ(valuesOf<uint32_t>(call, 1, 4), (std::vector<uint32_t>{0xFFFFFFFF, 0x80000001, 0, 1}));
  row.integer = false;
  row.wide = true;
  row.type = GL_DOUBLE;
  recorder.bytesBehind = 4 * sizeof(double);
  call = give<double>(kArrayKinds + 1, row, {0.1, 1e300});
  EXPECT_STREQ(call.name, "glVertexAttribL4dv");
  EXPECT_EQ(valuesOf<double>(call, 1, 4), (std::vector<double>{0.1, 1e300, 0, 1}));
}

// Each conventional array has its call. Normals and colours are fractions, positions, texture and fog coordinates and indices
// are numbers.
TEST_F(ArrayElements, ConventionalArraysHaveTheirCalls) {
  const struct {
    uint32_t number;
    const char* name;
    size_t argument;
    Floats values;
  } rows[] = {{kArrayVertex, "glVertex4fv", 0, {127, -127, 0, 1}},
              {kArrayNormal, "glNormal3fv", 0, {1, -1, 0}},
              {kArrayColor, "glColor4fv", 0, {1, -1, 0, 1}},
              {kArraySecondaryColor, "glSecondaryColor3fv", 0, {1, -1, 0}},
              {kArrayFogCoord, "glFogCoordfv", 0, {127}},
              {kArrayIndex, "glIndexfv", 0, {127}},
              {kArrayTexCoord0, "glMultiTexCoord4fv", 1, {127, -127, 0, 1}},
              {kArrayTexCoord0 + 7, "glMultiTexCoord4fv", 1, {127, -127, 0, 1}}};
  ArrayRow row;
  row.type = GL_BYTE;
  row.size = 3;
  for (const auto& one : rows) {
    const GlCall call = give<int8_t>(one.number, row, {127, -127, 0});
    EXPECT_STREQ(call.name, one.name);
    EXPECT_EQ(valuesOf<float>(call, one.argument, one.values.size()), one.values) << one.name;
    if (one.argument == 1) {
      EXPECT_EQ(call.scalar(0), GL_TEXTURE0 + one.number - kArrayTexCoord0);
    }
  }
  row.type = 0;
  row.size = 1;
  EXPECT_STREQ(give<uint8_t>(kArrayEdgeFlag, row, {0}).name, "glEdgeFlag");
  EXPECT_EQ(recorder.calls[0].scalar(0), 0u);
  EXPECT_EQ(give<uint8_t>(kArrayEdgeFlag, row, {2}).scalar(0), 1u);
  recorder.calls.clear();
  const uint8_t weight[16] = {};
  giveElement(kArrayWeight, row, weight);
  EXPECT_TRUE(recorder.calls.empty());
}

}  // namespace
}  // namespace qv::peer::test
