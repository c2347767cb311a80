// Application profiles: every row of the match table, and the reading of path and version resource.
#include "driver/base/process_state.h"
#include "driver/state/application_profile.h"
#include "driver/state/string_block.h"

#include <cstring>
#include <string>

#include "driver/queries/strings.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

constexpr char16_t kUnicodeName[] = u"\\StringFileInfo\\040904B0\\ProductName";
constexpr char16_t kNeutralName[] = u"\\StringFileInfo\\000004B0\\ProductName";

class ProfileTest : public FrameTest {
 protected:
  ~ProfileTest() override { new (&stringBlockFor(210)) StringBlock; }

  struct Outcome {
    bool matched;
    uint16_t version;
    uint8_t compatibility;
    bool operator==(const Outcome&) const = default;
  };
  static constexpr Outcome kNone{false, 210, 0};
  Outcome run() {
    Outcome outcome = kNone;
    outcome.matched = applyVersionProfile(outcome.version, outcome.compatibility);
    return outcome;
  }
  Outcome runFor(std::u16string_view path) {
    sim::setImagePath(path);
    return run();
  }
  static void setProduct(std::u16string name, uint16_t major = 0) {
    sim::VersionInfo info;
    info.productMajor = major;
    info.translations = {{0x0409, 0x04B0}};
    info.strings[kUnicodeName] = std::move(name);
    sim::setVersionInfo(info);
  }
  Outcome runProduct(std::u16string name, uint16_t major = 0) {
    setProduct(std::move(name), major);
    return run();
  }
  uint32_t quirks(uint16_t version = 210) {
    GlContext context(4, version, 1);
    return context.quirkFlags;
  }
};

bool wholeWglText() { return WglExtensions == WglExtensionText; }

struct NameCase {
  const char16_t* path;
  uint16_t version;
  bool wholeText;
};
class NameRowTest : public ProfileTest, public ::testing::WithParamInterface<NameCase> {};

// Each name of the name stage selects its row.
TEST_P(NameRowTest, NameSelectsItsRow) {
  EXPECT_EQ(runFor(GetParam().path), (Outcome{true, GetParam().version, 1}));
  EXPECT_EQ(wholeWglText(), GetParam().wholeText);
}
INSTANTIATE_TEST_SUITE_P(
    Rows, NameRowTest,
    ::testing::Values(NameCase{u"C:\\a\\fernwalk.exe", 300, false}, NameCase{u"C:\\a\\harbourlight.exe", 320, false},
                      NameCase{u"C:\\a\\mosaicbench.exe", 320, false}, NameCase{u"C:\\orchard\\bin\\canopy.exe", 320, false},
                      NameCase{u"C:\\a\\paperlantern.exe", 320, true}, NameCase{u"C:\\mudflat\\viewer.exe", 320, true},
                      NameCase{u"C:\\copperkite\\launch.exe", 330, false}, NameCase{u"C:\\a\\stonequay.exe", 330, false},
                      NameCase{u"C:\\stonequay\\x.exe", 330, false}, NameCase{u"C:\\a\\willowplan.exe", 330, false}));

struct ProductCase {
  const char16_t* name;
  uint16_t major, version;
};
class ProductRowTest : public ProfileTest, public ::testing::WithParamInterface<ProductCase> {};

// Each product name of the product stage selects its row.
TEST_P(ProductRowTest, ProductSelectsItsRow) {
  EXPECT_EQ(runProduct(GetParam().name, GetParam().major), (Outcome{true, GetParam().version, 1}));
  EXPECT_FALSE(wholeWglText());
}
INSTANTIATE_TEST_SUITE_P(Rows, ProductRowTest,
                         ::testing::Values(ProductCase{u"Lumen Draft", 17, 320}, ProductCase{u"Northfold Terrain", 0, 330},
                                           ProductCase{u"Quarry Sculpt", 2018, 330}, ProductCase{u"Saltmarsh Planner", 0, 320},
                                           ProductCase{u"Brindle Animator", 0, 330}, ProductCase{u"Hollow Reed Studio", 0, 330},
                                           ProductCase{u"Amberglass Layout", 0, 330}, ProductCase{u"Thistledown Maps", 0, 330}));

// The row with two places looks at the third tail of the path where the product name does not match.
TEST_F(ProfileTest, RowWithTwoPlacesTakesTheThirdTail) {
  sim::setImagePath(u"D:\\Lumen Draft\\bin\\x.exe");
  EXPECT_EQ(runProduct(u"something", 17), (Outcome{true, 320, 1}));
  EXPECT_EQ(runProduct(u"something", 16), kNone);
  sim::setImagePath(u"D:\\Lumen Draft\\bin\\x\\y.exe");
  EXPECT_EQ(runProduct(u"something", 17), kNone);
}

// A product major below the bound does not match, and later rows are still tried.
TEST_F(ProfileTest, LowProductMajorDoesNotMatch) {
  EXPECT_EQ(runProduct(u"Lumen Draft", 16), kNone);
  EXPECT_EQ(runProduct(u"Quarry Sculpt", 2017), kNone);
  EXPECT_EQ(runProduct(u"Quarry Sculpt", 0xFFFF), (Outcome{true, 330, 1}));
  sim::setImagePath(u"D:\\Lumen Draft\\bin\\x.exe");
  EXPECT_EQ(runProduct(u"Thistledown Maps", 16), (Outcome{true, 330, 1}));
  // A fixed record that is too short has no major.
  sim::setImagePath(u"D:\\a\\x.exe");
  sim::VersionInfo info;
  info.productMajor = 2018;
  info.fixedInfoSize = 48;
  info.translations = {{0x0409, 0x04B0}};
  info.strings[kUnicodeName] = u"Quarry Sculpt";
  sim::setVersionInfo(info);
  EXPECT_EQ(run(), kNone);
  info.fixedInfoSize = 52;
  sim::setVersionInfo(info);
  EXPECT_EQ(run(), (Outcome{true, 330, 1}));
}

// Letter case and leading spaces make no difference, and the text is a prefix; the tails are whole components.
TEST_F(ProfileTest, NamesCompareWithoutCase) {
  EXPECT_EQ(runFor(u"C:\\a\\FERNWALK.EXE").version, 300);
  EXPECT_EQ(runFor(u"C:\\a\\   FernWalk.exe").version, 300);
  EXPECT_EQ(runFor(u"C:\\a\\fernwalk.exe.old").version, 300);
  EXPECT_EQ(runFor(u"C:\\a\\harbourlight").version, 320);
  EXPECT_EQ(runFor(u"C:\\a\\harbourlight2024.exe").version, 320);
  EXPECT_EQ(runFor(u"C:\\a\\harbourligh"), kNone);
  EXPECT_EQ(runFor(u"C:\\a\\fernwalk.ex"), kNone);
  EXPECT_EQ(runFor(u"C:\\a\\xfernwalk.exe"), kNone);
  EXPECT_EQ(runFor(u"C:\\fernwalk.exe\\a.exe"), kNone);
  EXPECT_EQ(runFor(u"C:\\a\\sreajnyx.rkr"), kNone);  // the stored form of a text does not match itself
  EXPECT_EQ(runFor(u"C:\\a\\f\u0119rnwalk.exe"), kNone);
  sim::setImagePath(u"C:\\a\\b.exe");
  EXPECT_EQ(runProduct(u"   THISTLEDOWN MAPS Pro").version, 330);
  EXPECT_EQ(runProduct(u"Thistledown Map"), kNone);
}

// Both separators end a component; a path with too few is its own tail.
TEST_F(ProfileTest, BothSeparatorsEndAComponent) {
  EXPECT_EQ(runFor(u"fernwalk.exe").version, 300);
  EXPECT_EQ(runFor(u"/opt/fernwalk.exe").version, 300);
  EXPECT_EQ(runFor(u"mudflat\\viewer.exe").version, 320);
  EXPECT_EQ(runFor(u"orchard\\bin\\canopy.exe").version, 320);
  EXPECT_EQ(runFor(u"x/orchard\\bin\\canopy.exe").version, 320);
  // The separator is part of a longer tail.
  EXPECT_EQ(runFor(u"C:/mudflat/viewer.exe"), kNone);
  EXPECT_EQ(runFor(u"C:\\orchard\\bin\\x\\canopy.exe"), kNone);
  EXPECT_EQ(runFor(u"C:\\x\\stonequay\\y\\z.exe"), kNone);
  // Without a file name there is no name stage, whatever the longer tails say.
  EXPECT_EQ(runFor(u"C:\\stonequay\\"), kNone);
  // The product stage still has the third tail.
  sim::setImagePath(u"C:\\Lumen Draft\\bin\\");
  EXPECT_EQ(runProduct(u"something", 17).version, 320);
}

// The rows are tried in their order, and the name stage before the product stage: the first that matches decides.
TEST_F(ProfileTest, FirstRowDecides) {
  EXPECT_EQ(runFor(u"C:\\stonequay\\x.exe").version, 330);
  EXPECT_EQ(runFor(u"C:\\stonequay\\fernwalk.exe").version, 300);
  EXPECT_EQ(runFor(u"C:\\stonequay\\harbourlight.exe").version, 320);
  EXPECT_EQ(runFor(u"C:\\stonequay\\mosaicbench.exe").version, 320);
  EXPECT_FALSE(wholeWglText());
  EXPECT_EQ(runFor(u"C:\\stonequay\\paperlantern.exe").version, 320);
  EXPECT_TRUE(wholeWglText());
  setProduct(u"Thistledown Maps", 17);
  EXPECT_EQ(runFor(u"C:\\a\\fernwalk.exe").version, 300);
  EXPECT_EQ(runFor(u"C:\\a\\b\\c.exe").version, 330);
  EXPECT_EQ(runFor(u"C:\\Lumen Draft\\b\\c.exe").version, 320);
}

// Of a wide character all 16 bits are compared.
TEST_F(ProfileTest, WideCharactersAreComparedWhole) {
  EXPECT_EQ(runFor(u"C:\\a\\f\u0165rnwalk.exe"), kNone);  // the low byte is an e
  EXPECT_EQ(runFor(u"C:\\a\\F\u0145RNWALK.EXE"), kNone);  // the low byte is an E
  EXPECT_EQ(runFor(u"C:\\a\\\u0120fernwalk.exe"), kNone);  // the low byte is a space
  EXPECT_EQ(runFor(u"C:\\a\u015Cfernwalk.exe"), kNone);     // the low byte is a separator
}

// A path of 259 characters is whole. One of 260 or more is cut, and nothing is compared with what is left of it.
TEST_F(ProfileTest, CutPathIsNotCompared) {
  const auto pathOf = [](size_t length, std::u16string_view name) {
    return u"C:\\" + std::u16string(length - 4 - name.size(), u'x') + u"\\" + std::u16string(name);
  };
  const std::u16string whole = pathOf(259, u"stonequay");
  ASSERT_EQ(whole.size(), 259u);
  EXPECT_EQ(runFor(whole).version, 330);
  EXPECT_EQ(runFor(whole + u"s"), kNone);
  EXPECT_EQ(runFor(whole + u"side.exe"), kNone);
  setProduct(u"other");
  sim::setImagePath(pathOf(259, u"snowfinch.exe"));
  EXPECT_EQ(quirks(), 5u);
  sim::setImagePath(pathOf(259, u"snowfinch.exe") + u"c");
  EXPECT_EQ(quirks(), 4u);
}

// A version resource that has a size and cannot be read gives no quirk, not even one that needs the file name alone.
TEST_F(ProfileTest, UnreadableResourceGivesNoQuirk) {
  sim::setImagePath(u"C:\\pebblechase.exe");
  setProduct(u"Ironbark Simulator");
  sim::failCall("GetFileVersionInfoW", 1, 1);
  EXPECT_EQ(quirks(), 4u);
  EXPECT_EQ(quirks(), 7u);
}

// A path that fills the buffer has no name stage, but a product stage.
TEST_F(ProfileTest, TruncatedPathHasNoNameStage) {
  const std::u16string longPath = u"C:\\" + std::u16string(248, u'x') + u"\\fernwalk";  // 260 characters
  ASSERT_EQ(longPath.size(), 260u);
  EXPECT_EQ(runFor(longPath), kNone);
  EXPECT_EQ(runFor(longPath + u".exe"), kNone);
  setProduct(u"Thistledown Maps");
  EXPECT_EQ(run().version, 330);
  setProduct(u"Ironbark Simulator");
  EXPECT_EQ(quirks(), 4u | 2 | 1);
  // One character less is whole.
  EXPECT_EQ(runFor(u"C:\\" + std::u16string(243, u'x') + u"\\fernwalk.exe").version, 300);
}

// Without a path neither routine does anything further.
TEST_F(ProfileTest, NoPathChangesNothing) {
  setProduct(u"Thistledown Maps");
  sim::setImagePath(u"");
  EXPECT_EQ(run(), kNone);
  EXPECT_EQ(quirks(), 0u);
  EXPECT_EQ(quirks(300), 32u);
}

// Without a version resource, or one that cannot be read, only the name stage is left.
TEST_F(ProfileTest, NameStageNeedsNoVersionResource) {
  sim::setImagePath(u"C:\\pebblechase.exe");
  sim::setVersionInfo(std::nullopt);
  EXPECT_EQ(run(), kNone);
  EXPECT_EQ(quirks(), 4u);
  setProduct(u"Thistledown Maps");
  sim::failCall("GetFileVersionInfoW", 1, 1);
  EXPECT_EQ(run(), kNone);
  EXPECT_EQ(runFor(u"C:\\fernwalk.exe").version, 300);
}

// The translations are tried in order until one has a name; the look-ups reach as far as the list has bytes.
TEST_F(ProfileTest, TranslationsAreTriedInOrder) {
  sim::VersionInfo info;
  info.translations = {{0x0407, 0x04E4}, {0x040C, 0x04B0}, {0x0409, 0x04B0}};
  info.strings[u"\\StringFileInfo\\040c04b0\\ProductName"] = u"";
  info.strings[u"\\StringFileInfo\\040904b0\\ProductName"] = u"Saltmarsh Planner";
  sim::setVersionInfo(info);
  EXPECT_EQ(run(), (Outcome{true, 320, 1}));
  // The first name that there is decides, even without a row.
  info.strings[u"\\StringFileInfo\\040704e4\\ProductName"] = u"unknown";
  sim::setVersionInfo(info);
  EXPECT_EQ(run(), kNone);
  // No list, no name.
  info.translations.clear();
  sim::setVersionInfo(info);
  EXPECT_EQ(run(), kNone);
  info.translations = {{0x1111, 0x2222}};
  sim::setVersionInfo(info);
  EXPECT_EQ(run(), kNone);
}

// The number of look-ups is bounded by the size of the list in bytes and not by its entries: one entry of four bytes allows four.
// This is required.
TEST_F(ProfileTest, TranslationsAreBoundedInBytes) {
  sim::VersionInfo info;
  info.translations = {{0x1111, 0x2222}};
  // Something behind the list that is long enough to be read as three entries more.
  info.strings[u"\\StringFileInfo\\99999999\\ProductName"] = u"nothing that is looked for";
  sim::setVersionInfo(info);
  const uint64_t before = sim::callCount("VerQueryValueW");
  EXPECT_EQ(run(), kNone);
  // The fixed record, the list, and four names.
  EXPECT_EQ(sim::callCount("VerQueryValueW") - before, 6u);
}

// The profile overrides what was asked for, and the host has the last word.
TEST_F(ProfileTest, HostHasTheLastWord) {
  sim::setImagePath(u"C:\\a\\harbourlight.exe");
  const HWND window = makeWindow();
  EXPECT_EQ(contextOf(makeContext(window))->contextVersion, 320);
  EXPECT_EQ(gpu.last(EscapeCode::CreateContext).half(36), 320);
  gpu.onCreateContext = [](CreateContextPacket& packet) { packet.attributes[2] = 330; };
  EXPECT_EQ(contextOf(makeContext(window))->contextVersion, 330);
  const int attributes[] = {0x2091, 4, 0x2092, 5, 0x9126, 1, 0};
  const HDC hdc = dc(window);
  gpu.onCreateContext = nullptr;
  const HGLRC core = gl::wglCreateContextAttribsARB(hdc, nullptr, attributes);
  EXPECT_EQ(contextOf(reinterpret_cast<DHGLRC>(core))->contextVersion, 320);
  EXPECT_EQ(contextOf(reinterpret_cast<DHGLRC>(core))->compatibilityProfile, 1);
  DrvDeleteContext(reinterpret_cast<DHGLRC>(core));
}

// Some quirk bits depend on the version of the context alone.
TEST_F(ProfileTest, QuirksFollowTheVersion) {
  sim::setImagePath(u"C:\\a\\b.exe");
  EXPECT_EQ(quirks(210), 4u);
  EXPECT_EQ(quirks(290), 4u);
  EXPECT_EQ(quirks(300), 36u);
  EXPECT_EQ(quirks(460), 36u);
}

// Rows Q1 and Q2 need a version resource, but no product name in it.
TEST_F(ProfileTest, QuirksFollowTheNameWithoutAProduct) {
  sim::VersionInfo info;
  sim::setVersionInfo(info);
  for (const char16_t* const path : {u"C:\\a\\pebblechase.exe", u"C:\\a\\SnowFinch.exe"}) {
    sim::setImagePath(path);
    EXPECT_EQ(quirks(), 5u);
  }
  sim::setImagePath(u"C:\\pebblechase.exe\\a.exe");
  EXPECT_EQ(quirks(), 4u);
}

// Row Q3 gives the vendor text of its own, no host errors and complete framebuffers.
TEST_F(ProfileTest, OwnVendorComesWithItsQuirks) {
  sim::setImagePath(u"C:\\a\\b.exe");
  setProduct(u"Ironbark Simulator 3");
  EXPECT_EQ(quirks(), 7u);
  EXPECT_STREQ(stringBlockFor(210).vendor.get(), "Quillvane Inc.");
  EXPECT_STREQ(GlExtensionAddendum, "GL_ARB_map_buffer_range");
}

// Rows Q4 and Q5 replace the addendum to the extension list.
TEST_F(ProfileTest, AddendumRowsReplaceTheAddendum) {
  sim::setImagePath(u"C:\\a\\b.exe");
  setProduct(u"Cobblestone Mesher");
  EXPECT_EQ(quirks(), 4u);
  EXPECT_STREQ(GlExtensionAddendum, "GL_ARB_map_buffer_range GL_NV_primitive_restart");
  setProduct(u"Pinecone Shader Lab");
  EXPECT_EQ(quirks(), 4u);
  EXPECT_STREQ(GlExtensionAddendum, "GL_ARB_map_buffer_range GL_ARB_shading_language_packing");
  setProduct(u"Something Else");
  EXPECT_EQ(quirks(), 4u);
  EXPECT_STREQ(GlExtensionAddendum, "GL_ARB_map_buffer_range GL_ARB_shading_language_packing");
}

// The quirk routine reads the product name at two fixed paths, the second when the first is empty.
TEST_F(ProfileTest, ProductNameIsReadAtTwoPaths) {
  sim::setImagePath(u"C:\\a\\b.exe");
  sim::VersionInfo info;
  info.strings[kNeutralName] = u"Ironbark Simulator";
  sim::setVersionInfo(info);
  EXPECT_EQ(quirks(), 7u);
  info.strings[kUnicodeName] = u"";
  sim::setVersionInfo(info);
  EXPECT_EQ(quirks(), 7u);
  info.strings[kUnicodeName] = u"other";
  sim::setVersionInfo(info);
  EXPECT_EQ(quirks(), 4u);
}

}  // namespace
}  // namespace qv::test
