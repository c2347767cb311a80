// The fourteen pixel formats and the functions that read them.
#include <set>

#include "driver/base/pixel_formats.h"
#include "driver/base/process_state.h"

#include <cstring>
#include <limits>

#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class PixelFormatsTest : public FrameTest {
 protected:
  PixelFormatsTest() : hdc(dc(makeWindow())) {}
  std::vector<int> choose(std::initializer_list<int> ints, std::initializer_list<float> floats = {}) {
    std::vector<int> intList(ints);
    intList.push_back(0);
    std::vector<float> floatList(floats);
    floatList.push_back(0);
    int formats[20] = {};
    UINT count = 99;
    const BOOL result =
        gl::wglChoosePixelFormatARB(hdc, intList.data(), floats.size() != 0 ? floatList.data() : nullptr, 20, formats, &count);
    EXPECT_EQ(result, count != 0 ? 1 : 0);
    return {formats, formats + count};
  }
  HDC hdc;
};

// Every row of the table has these bytes.
TEST_F(PixelFormatsTest, RowsHaveTheirBytes) {
  CompositionPresent = nullptr;
  struct Row {
    uint32_t flags;
    uint8_t color, r, rs, g, gs, b, bs, a, as, depth;
  };
  const Row color = {0, 32, 8, 16, 8, 8, 8, 0, 8, 24, 24};
  for (int format = 1; format <= 14; ++format) {
    Row row = color;
    row.flags = format % 2 == 1 ? 4 : 1029;
    if (format == 1 || format == 3) row.flags = 36;
    if (format == 2 || format == 4) row.flags = 1061;
    if (format == 1 || format == 2) row.depth = 0;
    if (format == 2) row.rs = 10;
    if (format == 5) row = {32, 128, 32, 64, 32, 32, 32, 0, 32, 96, 24};
    if (format == 6) row = {1057, 128, 32, 64, 32, 32, 32, 0, 32, 96, 24};
    const uint8_t f0 = static_cast<uint8_t>(row.flags), f1 = static_cast<uint8_t>(row.flags >> 8);
    const std::vector<uint8_t> expected = {
        40, 0,  1,  0,         f0, f1, 0, 0, 0, row.color, row.r, row.rs, row.g, row.gs, row.b, row.bs, row.a, row.as, 64, 16,
        16, 16, 16, row.depth, 8,  0,  0, 0, 0, 0,         0,     0,      255,   255,    0,     0,      0,     0,      0,  0};
    PIXELFORMATDESCRIPTOR descriptor;
    std::memset(&descriptor, 0xCC, sizeof(descriptor));
    EXPECT_EQ(DrvDescribePixelFormat(hdc, format, 40, &descriptor), 14);
    const uint8_t* const bytes = reinterpret_cast<const uint8_t*>(&descriptor);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 40), expected) << "format " << format;
  }
  const PIXELFORMATDESCRIPTOR zero{};
  EXPECT_EQ(std::memcmp(&pixelFormat(0), &zero, 40), 0);
}

// A null descriptor asks for the count, and a bad format or size is error 2000.
TEST_F(PixelFormatsTest, DescribeTellsCountAndErrors) {
  EXPECT_EQ(DrvDescribePixelFormat(hdc, 99, 0, nullptr), 14);
  PIXELFORMATDESCRIPTOR descriptor{};
  for (const auto& [format, size] : {std::pair<int, uint32_t>{0, 40}, {15, 40}, {-1, 40}, {3, 41}, {3, 39}, {3, 0}}) {
    SetLastError(0);
    EXPECT_EQ(DrvDescribePixelFormat(hdc, format, size, &descriptor), 0);
    EXPECT_EQ(GetLastError(), 2000u);
    EXPECT_EQ(descriptor.nSize, 0);
  }
}

// The composition callback adds a bit to the copy, never to the table.
TEST_F(PixelFormatsTest, CompositionAddsABitToTheCopy) {
  PIXELFORMATDESCRIPTOR descriptor{};
  ASSERT_NE(CompositionPresent, nullptr);
  DrvDescribePixelFormat(hdc, 7, 40, &descriptor);
  EXPECT_EQ(descriptor.dwFlags, 32772u);
  EXPECT_EQ(pixelFormat(7).dwFlags, 4u);
  CompositionPresent = nullptr;
  DrvDescribePixelFormat(hdc, 7, 40, &descriptor);
  EXPECT_EQ(descriptor.dwFlags, 4u);
}

// Formats 1 to 14 can be set, any other is error 2000.
TEST_F(PixelFormatsTest, SetTakesFormats1To14) {
  EXPECT_EQ(DrvSetPixelFormat(hdc, 1), 1);
  EXPECT_EQ(DrvSetPixelFormat(hdc, 14), 1);
  for (const int format : {0, 15, -4}) {
    SetLastError(0);
    EXPECT_EQ(DrvSetPixelFormat(hdc, format), 0);
    EXPECT_EQ(GetLastError(), 2000u);
  }
}

// Every attribute has these values for formats 1 to 14.
TEST_F(PixelFormatsTest, AttributesHaveTheirValues) {
  using Values = std::vector<int>;
  const auto all = [](int value) { return Values(14, value); };
  const auto wide = [](int normal, int floating) {
    Values values(14, normal);
    values[4] = values[5] = floating;
    return values;
  };
  const Values redShift = [&] {
    Values values = wide(16, 64);
    values[1] = 10;
    return values;
  }();
  const std::pair<int, Values> rows[] = {
      {0x2001, {1, 1, 1, 1, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1}},  // draw to window
      {0x2003, all(0x2027)},                                 // acceleration
      {0x2007, all(0x2029)},                                 // swap method
      {0x200C, all(1)},
      {0x200D, all(1)},
      {0x200E, all(1)},                                      // shares
      {0x2010, all(1)},                                      // support OpenGL
      {0x2011, {0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1}},  // double buffer
      {0x2013, wide(0x202B, 0x21A0)},                        // pixel type
      {0x2014, wide(32, 128)},                               // color bits
      {0x2015, wide(8, 32)},
      {0x2016, redShift},  // red
      {0x2017, wide(8, 32)},
      {0x2018, wide(8, 32)},  // green
      {0x2019, wide(8, 32)},
      {0x201A, all(0)},  // blue
      {0x201B, wide(8, 32)},
      {0x201C, wide(24, 96)},  // alpha
      {0x201D, all(64)},
      {0x201E, all(16)},
      {0x201F, all(16)},
      {0x2020, all(16)},
      {0x2021, all(16)},                                                 // accumulation
      {0x2022, {0, 0, 24, 24, 24, 24, 24, 24, 24, 24, 24, 24, 24, 24}},  // depth
      {0x2023, all(8)},
      {0x2024, all(0)},  // stencil, auxiliary
      {0x202D, all(1)},
      {0x2070, all(1)},
      {0x2071, all(1)},  // pbuffer, bind to texture
      {0x202E, all(4194304)},
      {0x202F, all(2048)},
      {0x2030, all(2048)},
      {0x2041, {0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1}},  // sample buffers
      {0x2042, {0, 0, 0, 0, 0, 0, 2, 2, 4, 4, 8, 8, 8, 8}},  // samples
      {0x20A9, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1}},  // sRGB
      {0x2000, all(14)},                                     // count
      {0x2002, all(0)},
      {0x200F, all(0)},
      {0x2012, all(0)},
      {0x7777, all(0)},
      {-1, all(0)},  // not known
  };
  for (const auto& [attribute, values] : rows) {
    for (int format = 1; format <= 14; ++format) {
      int value = -7;
      EXPECT_EQ(gl::wglGetPixelFormatAttribivARB(hdc, format, 5, 1, &attribute, &value), 1);
      EXPECT_EQ(value, values[static_cast<size_t>(format) - 1]) << std::hex << attribute << " format " << std::dec << format;
      float floating = -7;
      EXPECT_EQ(gl::wglGetPixelFormatAttribfvARB(hdc, format, 5, 1, &attribute, &floating), 1);
      EXPECT_EQ(floating, static_cast<float>(values[static_cast<size_t>(format) - 1]));
    }
  }
}

// The count needs no format; any other attribute does, and what came before has been written by then.
TEST_F(PixelFormatsTest, OnlyTheCountNeedsNoFormat) {
  const int count[] = {0x2000};
  int values[3] = {-1, -1, -1};
  EXPECT_EQ(gl::wglGetPixelFormatAttribivARB(hdc, 0, 0, 1, count, values), 1);
  EXPECT_EQ(values[0], 14);
  const int mixed[] = {0x2000, 0x2014, 0x2000};
  values[0] = -1;
  EXPECT_EQ(gl::wglGetPixelFormatAttribivARB(hdc, 15, 0, 3, mixed, values), 0);
  EXPECT_EQ(values[0], 14);
  EXPECT_EQ(values[1], -1);
  EXPECT_EQ(values[2], -1);
  EXPECT_EQ(gl::wglGetPixelFormatAttribivARB(nullptr, 1, 0, 1, count, values), 0);
  EXPECT_EQ(gl::wglGetPixelFormatAttribivARB(hdc, 99, 0, 0, nullptr, nullptr), 1);
  float floats[1];
  EXPECT_EQ(gl::wglGetPixelFormatAttribfvARB(nullptr, 1, 0, 1, count, floats), 0);
}

// A choice gives the formats whose attributes are exactly or at least those asked for, in their order.
TEST_F(PixelFormatsTest, ChooseFindsByAttributes) {
  EXPECT_EQ(choose({}), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
  EXPECT_EQ(choose({0x2010, 1, 0x2042, 4}), (std::vector<int>{9, 10, 11, 12, 13, 14}));
  EXPECT_EQ(choose({0x2041, 1, 0x2011, 1}), (std::vector<int>{8, 10, 12, 14}));
  EXPECT_EQ(choose({0x2001, 1}), (std::vector<int>{1, 2, 3, 4, 7, 8, 9, 10, 11, 12, 13, 14}));
  EXPECT_EQ(choose({0x2023, 16}), std::vector<int>());
  EXPECT_EQ(choose({0x2013, 0x21A0}), (std::vector<int>{5, 6}));
  EXPECT_EQ(choose({0x20A9, 1}), (std::vector<int>{13, 14}));
  // Exact attributes: a request for 0 is met by nothing that has 1.
  for (const int attribute : {0x2003, 0x2010, 0x2013, 0x202D, 0x2070, 0x2071}) {
    EXPECT_EQ(choose({attribute, 0}), std::vector<int>()) << attribute;
  }
  EXPECT_EQ(choose({0x2011, 0}), (std::vector<int>{1, 3, 5, 7, 9, 11, 13}));
  // The rest are at least the request, as signed numbers.
  EXPECT_EQ(choose({0x2001, 0}).size(), 14u);
  EXPECT_EQ(choose({0x2014, -5}).size(), 14u);
  EXPECT_EQ(choose({0x2022, 1, 0x2014, 33}), (std::vector<int>{5, 6}));
  // An attribute that is not known has the value 0 everywhere.
  EXPECT_EQ(choose({0x7777, 0}).size(), 14u);
  EXPECT_EQ(choose({0x7777, 1}).size(), 0u);
}

// Six attributes are exact, and all others are at least the request, for each value around that of each format.
TEST_F(PixelFormatsTest, ChooseComparesExactlyOrAtLeast) {
  const std::set<int> exact = {0x2003, 0x2010, 0x2011, 0x2013, 0x202D, 0x2070, 0x2071};
  const int all[] = {0x2001, 0x2003, 0x2007, 0x200C, 0x200D, 0x200E, 0x2010, 0x2011, 0x2013, 0x2014, 0x2015, 0x2016, 0x2017,
                     0x2018, 0x2019, 0x201A, 0x201B, 0x201C, 0x201D, 0x201E, 0x201F, 0x2020, 0x2021, 0x2022, 0x2023, 0x2024,
                     0x202D, 0x2070, 0x2071, 0x202E, 0x202F, 0x2030, 0x2041, 0x2042, 0x20A9};
  for (const int attribute : all) {
    int values[15];
    for (int format = 1; format <= 14; ++format) {
      ASSERT_EQ(gl::wglGetPixelFormatAttribivARB(hdc, format, 0, 1, &attribute, &values[format]), 1);
    }
    for (int of = 1; of <= 14; ++of) {
      for (const int request : {values[of] - 1, values[of], values[of] + 1}) {
        std::vector<int> expected;
        for (int format = 1; format <= 14; ++format) {
          const bool fits = exact.contains(attribute) ? values[format] == request : values[format] >= request;
          if (fits) expected.push_back(format);
        }
        EXPECT_EQ(choose({attribute, request}), expected) << attribute << " " << request;
        EXPECT_EQ(choose({}, {static_cast<float>(attribute), static_cast<float>(request)}), expected) << attribute << " " << request;
      }
    }
  }
}

// Attributes given as floats are truncated, and only a key of zero ends their list.
TEST_F(PixelFormatsTest, ChooseTakesFloats) {
  EXPECT_EQ(choose({}, {8258.0f, 4.0f}), (std::vector<int>{9, 10, 11, 12, 13, 14}));  // 0x2042
  EXPECT_EQ(choose({}, {8258.9f, 3.5f}), (std::vector<int>{9, 10, 11, 12, 13, 14}));  // the key is truncated
  EXPECT_EQ(choose({0x2011, 1}, {8257.0f, 1.0f}), (std::vector<int>{8, 10, 12, 14}));
  // A key of NaN does not end the list: the pair behind it still counts.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(choose({}, {nan, 0.0f, 8361.0f, 1.0f}), (std::vector<int>{13, 14}));  // 0x20A9
  EXPECT_EQ(choose({}, {nan, 1.0f}), std::vector<int>());
  EXPECT_EQ(choose({}, {1e30f, 0.0f}).size(), 14u);
  EXPECT_EQ(choose({}, {8258.0f, nan}), std::vector<int>());
  // 0.25 is not 0, so the list goes on; its truncated key is not known.
  EXPECT_EQ(choose({}, {0.25f, 0.0f, 8361.0f, 1.0f}), (std::vector<int>{13, 14}));
  EXPECT_EQ(choose({}, {-0.0f, 99.0f}).size(), 14u);
}

// A choice writes no more formats than there is room for and counts all of them; without room or device context it fails.
TEST_F(PixelFormatsTest, ChooseStaysWithinTheMaximum) {
  const int list[] = {0x2042, 4, 0};
  int formats[4] = {-1, -1, -1, -1};
  UINT count = 0;
  EXPECT_EQ(gl::wglChoosePixelFormatARB(hdc, list, nullptr, 2, formats, &count), 1);
  EXPECT_EQ(count, 6u);
  EXPECT_EQ(formats[0], 9);
  EXPECT_EQ(formats[1], 10);
  EXPECT_EQ(formats[2], -1);
  EXPECT_EQ(gl::wglChoosePixelFormatARB(hdc, nullptr, nullptr, 0, nullptr, &count), 1);
  EXPECT_EQ(count, 14u);
  EXPECT_EQ(gl::wglChoosePixelFormatARB(hdc, list, nullptr, 2, formats, nullptr), 1);
  count = 77;
  EXPECT_EQ(gl::wglChoosePixelFormatARB(hdc, list, nullptr, 1, nullptr, &count), 0);
  EXPECT_EQ(gl::wglChoosePixelFormatARB(nullptr, list, nullptr, 2, formats, &count), 0);
  EXPECT_EQ(count, 77u);
}

}  // namespace
}  // namespace qv::test
