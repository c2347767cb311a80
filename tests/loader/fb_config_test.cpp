// Selection and sorting of FB configs by the rules of GLX 1.4, on the driver's fourteen formats written out by hand.
// Before the headers of X, which have a macro None.
#include <gtest/gtest.h>
//
#include "loader/glx/fb_config.h"

namespace qv::loader {
namespace {

struct FbConfigTest : testing::Test {
  FbConfigTest() {
    struct Row {
      int format, doubleBuffer, bits, depth, samples, srgb;
    };
    constexpr Row kRows[] = {{1, 0, 8, 0, 0, 0},   {2, 1, 8, 0, 0, 0},   {3, 0, 8, 24, 0, 0},  {4, 1, 8, 24, 0, 0},
                             {5, 0, 32, 24, 0, 0}, {6, 1, 32, 24, 0, 0}, {7, 0, 8, 24, 2, 0},  {8, 1, 8, 24, 2, 0},
                             {9, 0, 8, 24, 4, 0},  {10, 1, 8, 24, 4, 0}, {11, 0, 8, 24, 8, 0}, {12, 1, 8, 24, 8, 0},
                             {13, 0, 8, 24, 8, 1}, {14, 1, 8, 24, 8, 1}};
    for (const Row& row : kRows) {
      FbConfig& c = configs[row.format - 1];
      c.format = row.format;
      c.id = 0x100 + row.format;
      c.doubleBuffer = row.doubleBuffer;
      c.red = c.green = c.blue = c.alpha = row.bits;
      c.bufferSize = 4 * row.bits;
      c.depth = row.depth;
      c.stencil = 8;
      c.accum = 16;
      c.samples = row.samples;
      c.srgb = row.srgb;
      c.floating = row.bits == 32;
      c.window = !c.floating;
      c.visualId = c.window ? static_cast<VisualID>(0x20 + row.format) : 0;
      c.ownsVisual = c.window;
      all.push_back(&c);
    }
  }
  std::vector<int> choose(std::vector<int> attributes) {
    attributes.push_back(None);
    std::vector<int> formats;
    for (const FbConfig* c : chooseFbConfigs(all, attributes.data())) formats.push_back(c->format);
    return formats;
  }
  int visual(std::vector<int> attributes) {
    attributes.push_back(None);
    const FbConfig* const c = chooseVisualConfig(all, attributes.data());
    return c ? c->format : 0;
  }
  FbConfig configs[14];
  std::vector<const FbConfig*> all;
};
using Formats = std::vector<int>;

// The defaults ask for windows and integer colours: single-buffered first, fewer samples first, no depth buffer first, plain
// before sRGB.
TEST_F(FbConfigTest, DefaultsGiveWindowConfigsInGlxOrder) {
  EXPECT_EQ(choose({}), (Formats{1, 3, 7, 9, 11, 13, 2, 4, 8, 10, 12, 14}));
}

// A null list gives what an empty list gives.
TEST_F(FbConfigTest, NullListGivesTheDefaults) { EXPECT_EQ(chooseFbConfigs(all, nullptr).size(), 12u); }

// Sample buffers sort before depth, so the format without depth stands first only among those without samples.
TEST_F(FbConfigTest, MinimumsDropAndKeepOrder) {
  EXPECT_EQ(choose({GLX_DOUBLEBUFFER, True, GLX_DEPTH_SIZE, 1}), (Formats{4, 8, 10, 12, 14}));
  EXPECT_EQ(choose({GLX_DOUBLEBUFFER, True, GLX_DEPTH_SIZE, 25}), Formats{});
  EXPECT_EQ(choose({GLX_SAMPLES, 3, GLX_DOUBLEBUFFER, True}), (Formats{10, 12, 14}));
  EXPECT_EQ(choose({GLX_SAMPLE_BUFFERS, 1, GLX_DOUBLEBUFFER, False}), (Formats{7, 9, 11, 13}));
}

// Masks, exact values and the configuration id select by their rules.
TEST_F(FbConfigTest, MasksExactValuesAndIdSelect) {
  EXPECT_EQ(choose({GLX_RENDER_TYPE, GLX_RGBA_FLOAT_BIT_ARB, GLX_DRAWABLE_TYPE, GLX_PBUFFER_BIT}), (Formats{5, 6}));
  EXPECT_EQ(choose({GLX_RENDER_TYPE, GLX_RGBA_FLOAT_BIT_ARB}), Formats{});
  EXPECT_EQ(choose({GLX_RENDER_TYPE, GLX_COLOR_INDEX_BIT}), Formats{});
  EXPECT_EQ(choose({GLX_FRAMEBUFFER_SRGB_CAPABLE_ARB, True}), (Formats{13, 14}));
  EXPECT_EQ(choose({GLX_STEREO, True}), Formats{});
  EXPECT_EQ(choose({GLX_LEVEL, 1}), Formats{});
  EXPECT_EQ(choose({GLX_FBCONFIG_ID, 0x105, GLX_DOUBLEBUFFER, True}), Formats{5});
  EXPECT_EQ(choose({GLX_FBCONFIG_ID, 0x1FF}), Formats{});
  EXPECT_EQ(choose({GLX_TRANSPARENT_TYPE, GLX_TRANSPARENT_RGB}), Formats{});
  EXPECT_EQ(choose({GLX_DOUBLEBUFFER, static_cast<int>(GLX_DONT_CARE)}).size(), 12u);
}

// Wanted colour bits come before everything else, so the wide formats lead when they may take part.
TEST_F(FbConfigTest, WantedColourBitsLead) {
  configs[4].floating = false;
  configs[4].window = true;
  EXPECT_EQ(choose({GLX_RED_SIZE, 1, GLX_DOUBLEBUFFER, False}).front(), 5);
  EXPECT_EQ(choose({GLX_RED_SIZE, 0, GLX_DOUBLEBUFFER, False}).back(), 5);
}

// An attribute that GLX does not know makes the whole list fail.
TEST_F(FbConfigTest, UnknownAttributeMatchesNothing) { EXPECT_EQ(choose({0x7777, 1}), Formats{}); }

// glXChooseVisual: what is not named is single-buffered; without GLX_RGBA there is nothing to give.
TEST_F(FbConfigTest, ChooseVisualWantsSingleBuffersAndRgba) {
  EXPECT_EQ(visual({GLX_RGBA, GLX_RED_SIZE, 1, GLX_GREEN_SIZE, 1, GLX_BLUE_SIZE, 1, GLX_DOUBLEBUFFER, GLX_DEPTH_SIZE, 1}), 4);
  EXPECT_EQ(visual({GLX_RGBA}), 1);
  EXPECT_EQ(visual({GLX_RGBA, GLX_DEPTH_SIZE, 16}), 3);
  EXPECT_EQ(visual({GLX_RGBA, GLX_DOUBLEBUFFER, GLX_SAMPLES, 4}), 10);
  EXPECT_EQ(visual({GLX_DOUBLEBUFFER}), 0);
  EXPECT_EQ(visual({GLX_RGBA, GLX_STEREO}), 0);
  EXPECT_EQ(visual({GLX_USE_GL, GLX_RGBA, GLX_DOUBLEBUFFER, GLX_STENCIL_SIZE, 9}), 0);
  // A configuration that shares its visual with another is never given.
  configs[3].ownsVisual = false;
  EXPECT_EQ(visual({GLX_RGBA, GLX_DOUBLEBUFFER, GLX_DEPTH_SIZE, 1}), 8);
}

// Every attribute of GLX 1.4 is answered, for a window format and for a float format.
TEST_F(FbConfigTest, AttributesAreAnswered) {
  const auto value = [](const FbConfig& c, int attribute) {
    int result = -1;
    EXPECT_EQ(fbConfigAttribute(c, attribute, &result), 0) << attribute;
    return result;
  };
  const FbConfig& usual = configs[3];
  EXPECT_EQ(value(usual, GLX_FBCONFIG_ID), 0x104);
  EXPECT_EQ(value(usual, GLX_BUFFER_SIZE), 32);
  EXPECT_EQ(value(usual, GLX_LEVEL), 0);
  EXPECT_EQ(value(usual, GLX_DOUBLEBUFFER), 1);
  EXPECT_EQ(value(usual, GLX_STEREO), 0);
  EXPECT_EQ(value(usual, GLX_AUX_BUFFERS), 0);
  EXPECT_EQ(value(usual, GLX_RED_SIZE), 8);
  EXPECT_EQ(value(usual, GLX_ALPHA_SIZE), 8);
  EXPECT_EQ(value(usual, GLX_DEPTH_SIZE), 24);
  EXPECT_EQ(value(usual, GLX_STENCIL_SIZE), 8);
  EXPECT_EQ(value(usual, GLX_ACCUM_ALPHA_SIZE), 16);
  EXPECT_EQ(value(usual, GLX_RENDER_TYPE), GLX_RGBA_BIT);
  EXPECT_EQ(value(usual, GLX_DRAWABLE_TYPE), GLX_WINDOW_BIT | GLX_PIXMAP_BIT | GLX_PBUFFER_BIT);
  EXPECT_EQ(value(usual, GLX_X_RENDERABLE), True);
  EXPECT_EQ(value(usual, GLX_VISUAL_ID), 0x24);
  EXPECT_EQ(value(usual, GLX_X_VISUAL_TYPE), GLX_TRUE_COLOR);
  EXPECT_EQ(value(usual, GLX_CONFIG_CAVEAT), GLX_NONE);
  EXPECT_EQ(value(usual, GLX_TRANSPARENT_TYPE), GLX_NONE);
  EXPECT_EQ(value(usual, GLX_MAX_PBUFFER_WIDTH), 2048);
  EXPECT_EQ(value(usual, GLX_MAX_PBUFFER_PIXELS), 4194304);
  EXPECT_EQ(value(usual, GLX_SAMPLE_BUFFERS), 0);
  EXPECT_EQ(value(usual, GLX_SWAP_METHOD_OML), GLX_SWAP_UNDEFINED_OML);
  EXPECT_EQ(value(configs[13], GLX_SAMPLE_BUFFERS), 1);
  EXPECT_EQ(value(configs[13], GLX_SAMPLES), 8);
  EXPECT_EQ(value(configs[13], GLX_FRAMEBUFFER_SRGB_CAPABLE_ARB), 1);
  const FbConfig& wide = configs[5];
  EXPECT_EQ(value(wide, GLX_RENDER_TYPE), GLX_RGBA_FLOAT_BIT_ARB);
  EXPECT_EQ(value(wide, GLX_DRAWABLE_TYPE), GLX_PBUFFER_BIT);
  EXPECT_EQ(value(wide, GLX_X_RENDERABLE), False);
  EXPECT_EQ(value(wide, GLX_X_VISUAL_TYPE), GLX_NONE);
  // Tokens of visuals are answered as other libraries answer them.
  EXPECT_EQ(value(usual, GLX_USE_GL), True);
  EXPECT_EQ(value(usual, GLX_RGBA), True);
  int unused = 0;
  for (const int attribute : {0, 18, 31, 0x8020}) EXPECT_EQ(fbConfigAttribute(usual, attribute, &unused), GLX_BAD_ATTRIBUTE);
}

}  // namespace
}  // namespace qv::loader
