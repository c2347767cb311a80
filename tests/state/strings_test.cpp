// The strings: one question to the host for each, the filter of the extension list, and its tokens.
#include "driver/queries/strings.h"
#include "driver/state/string_block.h"

#include <set>
#include <string>

#include "driver/base/process_state.h"
#include "extension_list.h"
#include "harness.h"

namespace qv::test {
namespace {

class StringsTest : public StateTest {
 protected:
  StringsTest() : StateTest(210) {}
  std::string get(GLenum name) {
    const GLubyte* const text = gl::glGetString(name);
    return text == nullptr ? "(null)" : reinterpret_cast<const char*>(text);
  }
  std::string getIndexed(GLuint index) {
    const GLubyte* const text = gl::glGetStringi(GL_EXTENSIONS, index);
    return text == nullptr ? "(null)" : reinterpret_cast<const char*>(text);
  }
  static std::string kept(const char* text) {
    std::string buffer(text);
    buffer.push_back('\0');
    keepKnown(buffer.data());
    return buffer.c_str();
  }
  static std::string appended(const char* text, size_t capacity, const char* more) {
    std::vector<char> buffer(capacity, 'Z');
    std::strcpy(buffer.data(), text);
    appendExtensions(buffer.data(), capacity, more);
    return buffer.data();
  }
};

// Each cached string is asked for once, with its own length of reply.
TEST_F(StringsTest, CachedStringsAreAskedOnce) {
  const struct {
    GLenum name;
    const char* text;
  } rows[] = {{GL_VENDOR, "Vendor of the host"},
              {GL_RENDERER, "Renderer"},
              {GL_VERSION, "2.1 of the host"},
              {GL_SHADING_LANGUAGE_VERSION, "1.20"}};
  for (const auto& row : rows) {
    host.answerText(row.name, row.text);
    host.submissions.clear();
    EXPECT_EQ(get(row.name), row.text);
    EXPECT_EQ(c->lastOpcode, kGetString);
    ASSERT_EQ(host.submissions.size(), 1u);
    EXPECT_EQ(host.last().opcode, kGetString);
    EXPECT_EQ(host.last().words, (std::vector<uint32_t>{row.name}));
    EXPECT_EQ(host.submissions[0].replySize, 256u);
    const GLubyte* const first = gl::glGetString(row.name);
    c->lastOpcode = 1;
    EXPECT_EQ(gl::glGetString(row.name), first);
    EXPECT_EQ(c->lastOpcode, kGetString);
    EXPECT_EQ(host.submissions.size(), 1u);
  }
}

// An empty answer is not kept: the next call asks again.
TEST_F(StringsTest, EmptyAnswerIsAskedAgain) {
  EXPECT_EQ(get(GL_VENDOR), "");
  host.answerText(GL_VENDOR, "now");
  EXPECT_EQ(get(GL_VENDOR), "now");
  EXPECT_EQ(host.submissions.size(), 2u);
}

// A text that fills its whole place is ended there.
TEST_F(StringsTest, TextWithoutAnEndIsEnded) {
  host.answer(GL_VENDOR, std::vector<uint8_t>(256, 'v'));
  EXPECT_EQ(get(GL_VENDOR), std::string(255, 'v'));
}

// A vendor that was set before is never asked for.
TEST_F(StringsTest, ForcedVendorIsNeverAsked) {
  stringBlockFor(210).vendor.fill("Quillvane Inc.");
  EXPECT_EQ(get(GL_VENDOR), "Quillvane Inc.");
  EXPECT_TRUE(host.submissions.empty());
}

// Names that are not cached are asked each time, into the context's own place; unknown ones too, with no error.
TEST_F(StringsTest, UncachedStringsAreAskedEachTime) {
  host.answerText(GL_PROGRAM_ERROR_STRING_ARB, "line 3");
  EXPECT_EQ(get(GL_PROGRAM_ERROR_STRING_ARB), "line 3");
  EXPECT_EQ(get(GL_PROGRAM_ERROR_STRING_ARB), "line 3");
  EXPECT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[1].replySize, 4096u);
  EXPECT_EQ(gl::glGetString(0x4711), reinterpret_cast<const GLubyte*>(c->scratchString));
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{0x4711}));
  EXPECT_EQ(takeError(), 0u);
}

// Inside glBegin the call is refused; without a context it does nothing.
TEST_F(StringsTest, CallsAreRefusedInsideBeginAndWithoutAContext) {
  c->insideBegin = 1;
  EXPECT_EQ(gl::glGetString(GL_VENDOR), nullptr);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(c->lastOpcode, kGetString);
  EXPECT_EQ(gl::glGetStringi(GL_EXTENSIONS, 0), nullptr);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  makeCurrent(nullptr);
  EXPECT_EQ(gl::glGetString(GL_VENDOR), nullptr);
  EXPECT_EQ(gl::glGetStringi(GL_EXTENSIONS, 0), nullptr);
  EXPECT_TRUE(host.submissions.empty());
}

// Versions of one class have one block of strings, and there are nine classes.
TEST_F(StringsTest, NineClassesOfVersionsHaveABlockEach) {
  const uint16_t classes[][3] = {{0, 210, 299},   {300, 305, 309}, {310, 315, 319}, {320, 325, 329},  {330, 350, 399},
                                 {400, 405, 409}, {410, 415, 419}, {420, 425, 429}, {430, 450, 65535}};
  std::set<const StringBlock*> blocks;
  for (const auto& each : classes) {
    EXPECT_EQ(&stringBlockFor(each[0]), &stringBlockFor(each[1]));
    EXPECT_EQ(&stringBlockFor(each[0]), &stringBlockFor(each[2]));
    blocks.insert(&stringBlockFor(each[0]));
  }
  EXPECT_EQ(blocks.size(), 9u);
}

// Contexts of 4.5 and 4.3 share their strings, one of 4.2 has its own.
TEST_F(StringsTest, ContextsOfAClassShare) {
  host.answerText(GL_RENDERER, "first");
  remake(450);
  EXPECT_EQ(get(GL_RENDERER), "first");
  host.answerText(GL_RENDERER, "second");
  remake(430);
  EXPECT_EQ(get(GL_RENDERER), "first");
  remake(420);
  EXPECT_EQ(get(GL_RENDERER), "second");
}

// Every known name passes the filter, and one that is not known does not.
TEST_F(StringsTest, EveryKnownNamePasses) {
  static_assert(std::size(kListedExtensions) == 264);
  std::string all;
  for (const char* const name : kListedExtensions) {
    EXPECT_EQ(kept(name), name);
    EXPECT_EQ(kept((std::string(name) + "_x").c_str()), "") << name;
    if (!all.empty()) all += ' ';
    all += name;
  }
  EXPECT_EQ(kept(all.c_str()), all);
  EXPECT_EQ(kept("GL_XYZ_nothing"), "");
  EXPECT_EQ(kept("GL_AAA"), "");
  EXPECT_EQ(kept("gl_arb_shadow"), "");
  EXPECT_EQ(kept("GL_ARB_compatibility GL_ARB_vertex_type_10f_11f_11f_rev"), "");
}

// Blanks in any number separate, and one stands between what is kept.
TEST_F(StringsTest, FilterLeavesOneBlankBetweenNames) {
  EXPECT_EQ(kept(""), "");
  EXPECT_EQ(kept("    "), "");
  EXPECT_EQ(kept("  GL_EXT_abgr   GL_no_such   GL_KHR_debug  "), "GL_EXT_abgr GL_KHR_debug");
  EXPECT_EQ(kept("GL_no_such GL_EXT_abgr"), "GL_EXT_abgr");
}

// A token that begins a known name passes when the search lands on it, and only then.
TEST_F(StringsTest, BeginningsOfNamesPassWhereTheSearchLands) {
  // The first row looked at is number 132, "GL_EXT_clip_volume_hint"; any beginning of it is kept.
  EXPECT_STREQ(kListedExtensions[132], "GL_EXT_clip_volume_hint");
  EXPECT_EQ(kept("GL_EXT_clip"), "GL_EXT_clip");
  EXPECT_EQ(kept("GL_"), "GL_");
  EXPECT_EQ(kept("GL_ARB_multi"), "GL_ARB_multi");
  EXPECT_EQ(kept("GL_ARB_multy"), "");
}

// Appending puts one blank after what stands and one between the tokens.
TEST_F(StringsTest, AppendingPutsOneBlankBetweenTokens) {
  EXPECT_EQ(appended("A", 100, "B  C "), "A B C");
  EXPECT_EQ(appended("", 100, "B"), " B");
  EXPECT_EQ(appended("A", 100, ""), "A ");
}

// What does not fit is left away from the first token that does not, and nothing is written beyond the place.
TEST_F(StringsTest, AppendingStopsAtTheFirstTokenWithoutRoom) {
  EXPECT_EQ(appended("ABC", 4, "D"), "ABC");
  EXPECT_EQ(appended("ABC", 5, "D"), "ABC ");
  EXPECT_EQ(appended("ABC", 7, "D"), "ABC D");
  EXPECT_EQ(appended("ABC", 8, "D EE F"), "ABC D");
  EXPECT_EQ(appended("ABC", 100, "DEF"), "ABC DEF");
  for (size_t capacity = 4; capacity < 20; ++capacity) {
    EXPECT_LT(appended("ABC", capacity, "D EE FFF G").size(), capacity);
  }
}

// The list of a context of 2.1 holds what both know, the guest's addition and the window system's names.
TEST_F(StringsTest, LegacyContextListsWhatBothKnow) {
  host.answerText(GL_EXTENSIONS, "GL_ARB_multitexture GL_XYZ_secret");
  EXPECT_EQ(get(GL_EXTENSIONS), "GL_ARB_multitexture GL_ARB_map_buffer_range WGL_ARB_extensions_string");
  EXPECT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].replySize, 16384u);
  get(GL_EXTENSIONS);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// From 3.0 on the two legacy formats stand in the list as well.
TEST_F(StringsTest, LegacyFormatsAreListedFrom300) {
  remake(300);
  host.answerText(GL_EXTENSIONS, "GL_ARB_multitexture GL_XYZ_secret");
  EXPECT_EQ(get(GL_EXTENSIONS), "GL_ARB_multitexture GL_ARB_map_buffer_range GL_EXT_abgr GL_EXT_bgra WGL_ARB_extensions_string");
}

// A name that the host reports too occurs twice.
TEST_F(StringsTest, DuplicatesStay) {
  host.answerText(GL_EXTENSIONS, "GL_ARB_map_buffer_range");
  EXPECT_EQ(get(GL_EXTENSIONS), "GL_ARB_map_buffer_range GL_ARB_map_buffer_range WGL_ARB_extensions_string");
  EXPECT_EQ(extensionCount(c.get()), 3u);
}

// An addendum and a text that a profile has put in force are used.
TEST_F(StringsTest, ProfileTextsAreUsed) {
  GlExtensionAddendum = "GL_ARB_map_buffer_range GL_NV_primitive_restart";
  WglExtensions = "WGL_ARB_multisample WGL_EXT_multisample";
  host.answerText(GL_EXTENSIONS, "GL_KHR_debug");
  EXPECT_EQ(get(GL_EXTENSIONS),
            "GL_KHR_debug GL_ARB_map_buffer_range GL_NV_primitive_restart WGL_ARB_multisample WGL_EXT_multisample");
}

// Each token has its index, the count is theirs, and an index beyond them gives null.
TEST_F(StringsTest, ExtensionsAreAnsweredByIndex) {
  remake(300);
  host.answerText(GL_EXTENSIONS, "GL_ARB_multitexture GL_XYZ_secret GL_KHR_debug");
  GLint count = 0;
  gl::glGetIntegerv(GL_NUM_EXTENSIONS, &count);
  EXPECT_EQ(count, 6);
  EXPECT_EQ(getIndexed(0), "GL_ARB_multitexture");
  EXPECT_EQ(getIndexed(1), "GL_KHR_debug");
  EXPECT_EQ(getIndexed(2), "GL_ARB_map_buffer_range");
  EXPECT_EQ(getIndexed(5), "WGL_ARB_extensions_string");
  EXPECT_EQ(getIndexed(6), "(null)");
  EXPECT_EQ(getIndexed(0xFFFFFFFF), "(null)");
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(get(GL_EXTENSIONS).substr(0, 32), "GL_ARB_multitexture GL_KHR_debug");
}

// The first indexed question asks for the list, and another name ignores the index.
TEST_F(StringsTest, IndexedCallAsksFirst) {
  host.answerText(GL_EXTENSIONS, "GL_KHR_debug");
  EXPECT_EQ(getIndexed(0), "GL_KHR_debug");
  EXPECT_EQ(host.submissions.size(), 1u);
  host.answerText(GL_VENDOR, "vendor");
  EXPECT_STREQ(reinterpret_cast<const char*>(gl::glGetStringi(GL_VENDOR, 7)), "vendor");
}

// A list of as many names as fit is cut into at most 2048 tokens, and the text keeps the rest.
TEST_F(StringsTest, ListIsCutInto2048Tokens) {
  StringBlock& block = stringBlockFor(210);
  std::string many;
  for (int i = 0; i < 2100; ++i) many += i == 0 ? "GL_" : " GL_";
  host.answerText(GL_EXTENSIONS, many.c_str());
  EXPECT_GT(get(GL_EXTENSIONS).size(), many.size());
  EXPECT_EQ(block.extensionCount, 2048u);
  EXPECT_EQ(getIndexed(2047), "GL_");
  EXPECT_EQ(getIndexed(2048), "(null)");
}

// A list that fills its whole place without an end is ended there and leaves no room for more.
TEST_F(StringsTest, ListWithoutAnEndIsEnded) {
  std::string full;
  while (full.size() < 16384) full += "GL_EXT_abgr ";
  full.resize(16384);
  host.answer(GL_EXTENSIONS, std::vector<char>(full.begin(), full.end()));
  EXPECT_LT(get(GL_EXTENSIONS).size(), 16384u);
  EXPECT_EQ(getIndexed(0), "GL_EXT_abgr");
}

}  // namespace
}  // namespace qv::test
