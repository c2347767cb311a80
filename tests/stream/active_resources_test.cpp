// What linked programs expose, out of the guest's cache: names and locations, descriptions, and what is left to the host.
#include <cstring>
#include <string>

#include "driver/objects/uniform_types.h"
#include "tests/stream/program_fixture.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

uint32_t low(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }
GLint locate(const char* name) { return QV_CALL(glGetUniformLocation)(2, name); }

struct Described {
  GLsizei length = -7;
  GLint size = -7;
  GLenum type = 7;
  std::string name;
};
Described describe(GLuint index, GLsizei room = 64) {
  Described out;
  char name[64];
  std::memset(name, '#', sizeof name);
  QV_CALL(glGetActiveUniform)(2, index, room, &out.length, &out.size, &out.type, name);
  name[63] = 0;
  out.name = name;
  return out;
}

// --- the tables ---

// The sum of characters, each times its place and 119; bytes above 127 count as negative.
TEST(ResourceHash, NamesHaveTheirSums) {
  EXPECT_EQ(nameHash("", 0), 0u);
  EXPECT_EQ(nameHash("a", 1), 119u * 97);
  EXPECT_EQ(nameHash("ab", 2), 119u * 97 + 120 * 98);
  EXPECT_EQ(nameHash("\xFF", 1), static_cast<uint32_t>(-119));
}

// A value is folded by halves down to four bits, 32 bits of a name and 64 of a location.
TEST(ResourceHash, ValuesFoldToBuckets) {
  EXPECT_EQ(foldToBucket(5, 32), 5u);
  EXPECT_EQ(foldToBucket(0x10000, 32), 0x11u & 63);  // 16: 0x10001, 8: 0x10101, 4: 0x11111
  EXPECT_EQ(foldToBucket(0x40, 32), (0x40u ^ 0x4) & 63);
  EXPECT_EQ(foldToBucket(63, 64), 63u ^ 3);
  EXPECT_EQ(foldToBucket(~uint64_t{0}, 64), foldToBucket(0xFFFFFFFFFFFFFFFF, 64));
  EXPECT_EQ(bucketOf(-1), foldToBucket(~uint64_t{0}, 64));
  EXPECT_LT(bucketOf(0x7FFFFFFF), 64u);
}

// Cells hold what is left of the resource, its element, its type and its components; samplers are integers.
TEST(ResourceCells, HoldTheirWords) {
  ResourceCache cache;
  cache.addResource({GL_FLOAT_VEC4, 3, 10, 1}, "v", 1);
  EXPECT_EQ(cache.cellOf(10).bits, uint64_t{48} | 16ull << 24 | 1ull << 32 | 0x8B52ull << 40 | 4ull << 56);
  EXPECT_EQ(cache.cellOf(11).remaining(), 32);
  EXPECT_EQ(cache.cellOf(12).remaining(), 16);
  EXPECT_EQ(cache.cellOf(13).bits, 0u);
  EXPECT_EQ(cache.cellOf(9).bits, 0u);
  cache.addResource({GL_SAMPLER_2D, 1, 0, 0}, "s", 1);
  EXPECT_EQ(cache.cellOf(0).type(), static_cast<GLenum>(GL_INT));
  EXPECT_FALSE(cache.cellOf(0).isArray());
  EXPECT_EQ(cache.cellOf(0).components(), 1u);
  cache.addResource({GL_DOUBLE_MAT4, 1, 20, 0}, "m", 1);
  EXPECT_EQ(cache.cellOf(20).remaining(), 128);
  EXPECT_EQ(cache.cellOf(20).components(), 16u);
}

// A resource of negative size, or larger than a cell can tell, is dropped; a type that nobody knows has no cell.
TEST(ResourceCells, ImpossibleResourcesAreDropped) {
  ResourceCache cache;
  cache.addResource({GL_FLOAT, -1, 0, 0}, "a", 1);
  cache.addResource({GL_FLOAT, 0x7FFFFFFF, 0, 0}, "b", 1);
  cache.addResource({GL_FLOAT_MAT4, 262144, 0, 1}, "c", 1);
  EXPECT_EQ(cache.count, 0);
  EXPECT_EQ(cache.resolveLocation("a"), -1);
  cache.addResource({0x92DB, 1, 4, 0}, "d", 1);
  EXPECT_EQ(cache.count, 1);
  EXPECT_EQ(cache.resolveLocation("d"), 4);
  EXPECT_EQ(cache.resolveLocation(nullptr), -1);
  EXPECT_EQ(cache.cellOf(4).bits, 0u);
  cache.clear();
  EXPECT_EQ(cache.count, 0);
  EXPECT_EQ(cache.resolveLocation("d"), -1);
}

// Many resources are found again, each under its own name and location.
TEST(ResourceCells, ManyResourcesAreFound) {
  ResourceCache cache;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = "uniform" + std::to_string(i);
    cache.addResource({GL_FLOAT_VEC2, 1, 3 * i, 0}, name.c_str(), static_cast<uint32_t>(name.size()));
  }
  EXPECT_EQ(cache.count, 1000);
  EXPECT_GE(cache.capacity, 1000);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(cache.resolveLocation(("uniform" + std::to_string(i)).c_str()), 3 * i);
    EXPECT_EQ(cache.cellOf(3 * i).remaining(), 8);
    EXPECT_EQ(cache.cellOf(3 * i + 1).bits, 0u);
  }
}

// Every type has its components and bytes.
TEST(UniformTypes, HaveTheirSizes) {
  const struct {
    GLenum type;
    int components, bytes;
  } known[] = {{GL_INT, 1, 4},
               {GL_UNSIGNED_INT, 1, 4},
               {GL_FLOAT, 1, 4},
               {GL_DOUBLE, 1, 8},
               {GL_FLOAT_VEC2, 2, 8},
               {GL_INT_VEC2, 2, 8},
               {GL_UNSIGNED_INT_VEC2, 2, 8},
               {GL_FLOAT_VEC3, 3, 12},
               {GL_INT_VEC3, 3, 12},
               {GL_UNSIGNED_INT_VEC3, 3, 12},
               {GL_FLOAT_VEC4, 4, 16},
               {GL_INT_VEC4, 4, 16},
               {GL_UNSIGNED_INT_VEC4, 4, 16},
               {GL_DOUBLE_VEC2, 2, 16},
               {GL_DOUBLE_VEC3, 3, 24},
               {GL_DOUBLE_VEC4, 4, 32},
               {GL_BOOL, 1, 4},
               {GL_BOOL_VEC2, 2, 8},
               {GL_BOOL_VEC3, 3, 12},
               {GL_BOOL_VEC4, 4, 16},
               {GL_FLOAT_MAT2, 4, 16},
               {GL_FLOAT_MAT3, 9, 36},
               {GL_FLOAT_MAT4, 16, 64},
               {GL_FLOAT_MAT2x3, 6, 24},
               {GL_FLOAT_MAT3x2, 6, 24},
               {GL_FLOAT_MAT2x4, 8, 32},
               {GL_FLOAT_MAT4x2, 8, 32},
               {GL_FLOAT_MAT3x4, 12, 48},
               {GL_FLOAT_MAT4x3, 12, 48},
               {GL_DOUBLE_MAT2, 4, 32},
               {GL_DOUBLE_MAT3, 9, 72},
               {GL_DOUBLE_MAT4, 16, 128},
               {GL_DOUBLE_MAT2x3, 6, 48},
               {GL_DOUBLE_MAT3x2, 6, 48},
               {GL_DOUBLE_MAT2x4, 8, 64},
               {GL_DOUBLE_MAT4x2, 8, 64},
               {GL_DOUBLE_MAT3x4, 12, 96},
               {GL_DOUBLE_MAT4x3, 12, 96}};
  for (const auto& each : known) {
    int32_t components = 0;
    EXPECT_EQ(uniformElementSize(each.type, true, &components), each.bytes) << each.type;
    EXPECT_EQ(components, each.components) << each.type;
    EXPECT_FALSE(isOpaqueType(each.type)) << each.type;
  }
  int32_t components = 0;
  EXPECT_EQ(uniformElementSize(GL_BOOL_VEC3, false, &components), 3);
  EXPECT_EQ(uniformElementSize(GL_BOOL, false, &components), 1);
  components = 7;
  EXPECT_EQ(uniformElementSize(0x1234, true, &components), 28);
  EXPECT_EQ(components, 7);
}

// Samplers and images are units; the types between their ranges are not.
TEST(UniformTypes, SamplersAndImagesAreUnits) {
  for (const GLenum type :
       {GL_SAMPLER_1D, GL_SAMPLER_2D, GL_SAMPLER_2D_RECT_SHADOW, GL_SAMPLER_1D_ARRAY, GL_SAMPLER_CUBE_SHADOW, GL_INT_SAMPLER_1D,
        GL_UNSIGNED_INT_SAMPLER_BUFFER, GL_SAMPLER_CUBE_MAP_ARRAY, GL_UNSIGNED_INT_SAMPLER_CUBE_MAP_ARRAY, GL_IMAGE_1D,
        GL_UNSIGNED_INT_IMAGE_2D_MULTISAMPLE_ARRAY, GL_SAMPLER_2D_MULTISAMPLE, GL_UNSIGNED_INT_SAMPLER_2D_MULTISAMPLE_ARRAY}) {
    int32_t components = 0;
    EXPECT_EQ(uniformElementSize(type, true, &components), 4) << type;
    EXPECT_EQ(components, 1) << type;
    EXPECT_TRUE(isOpaqueType(type)) << type;
  }
  for (const GLenum type :
       {GL_SAMPLER_1D - 1, GL_SAMPLER_2D_RECT_SHADOW + 1, GL_UNSIGNED_INT_VEC2, GL_IMAGE_1D - 1, 0x906D, 0x9107, 0x910E}) {
    EXPECT_FALSE(isOpaqueType(type)) << type;
  }
}

// --- locations ---

class ActiveResources : public ProgramTest {};

// The issue of an array: its elements, its name with and without "[0]", and what the application sees of it.
TEST_F(ActiveResources, ArraysHaveElements) {
  link({{GL_FLOAT_VEC4, 4, 0, 1, "v"}, {GL_FLOAT, 1, 4, 0, "x"}});
  EXPECT_EQ(locate("v"), 0);
  EXPECT_EQ(locate("v[0]"), 0);
  EXPECT_EQ(locate("v[2]"), 2);
  EXPECT_EQ(locate("v[3]"), 3);
  EXPECT_EQ(locate("v[4]"), -1);
  EXPECT_EQ(locate("v[-1]"), -1);
  EXPECT_EQ(locate("v[ 1 ]"), 1);
  EXPECT_EQ(locate("v[]"), 0);
  EXPECT_EQ(locate("v[2]x"), 2);
  EXPECT_EQ(locate("v[+3"), -1);
  EXPECT_EQ(locate("v["), -1);
  EXPECT_EQ(locate("v]2["), -1);
  EXPECT_EQ(locate("x"), 4);
  EXPECT_EQ(locate("x[0]"), 4);
  EXPECT_EQ(locate("x[1]"), -1);
  EXPECT_EQ(locate(""), -1);
  EXPECT_EQ(locate("y"), -1);
  const Described v = describe(0);
  EXPECT_EQ(v.name, "v[0]");
  EXPECT_EQ(v.length, 4);
  EXPECT_EQ(v.size, 4);
  EXPECT_EQ(v.type, static_cast<GLenum>(GL_FLOAT_VEC4));
  EXPECT_EQ(describe(1).name, "x");
  EXPECT_TRUE(host.submissions.empty());
  EXPECT_EQ(context().lastOpcode, kGetActiveUniform);
}

// The longest name is that of the entry that came last. This is required.
TEST_F(ActiveResources, LongestNameIsTheLastOnes) {
  GLint length = 0;
  link({{GL_FLOAT_VEC4, 4, 0, 1, "v"}, {GL_FLOAT, 1, 4, 0, "x"}});
  QV_CALL(glGetProgramiv)(2, GL_ACTIVE_UNIFORM_MAX_LENGTH, &length);
  EXPECT_EQ(length, 2);
  link({{GL_FLOAT, 1, 4, 0, "x"}, {GL_FLOAT_VEC4, 4, 0, 1, "v"}});
  QV_CALL(glGetProgramiv)(2, GL_ACTIVE_UNIFORM_MAX_LENGTH, &length);
  EXPECT_EQ(length, 5);
  // A name that was seen before makes the length 0.
  link({{GL_FLOAT, 1, 4, 0, "x"}, {GL_FLOAT, 1, 5, 0, "x"}});
  QV_CALL(glGetProgramiv)(2, GL_ACTIVE_UNIFORM_MAX_LENGTH, &length);
  EXPECT_EQ(length, 1);
  EXPECT_EQ(record()->uniforms.count, 1);
  EXPECT_EQ(locate("x"), 4);
}

// An array of one element shows "[0]" and has no step.
TEST_F(ActiveResources, ArraysOfOneShowTheirIndex) {
  link({{GL_FLOAT, 1, 6, 1, "one"}});
  EXPECT_EQ(describe(0).name, "one[0]");
  EXPECT_EQ(record()->uniforms.at(0)->locationStep, 0);
  EXPECT_TRUE(record()->uniforms.at(0)->isArray);
  EXPECT_EQ(locate("one[0]"), 6);
  EXPECT_EQ(locate("one[1]"), -1);
}

// An array without a step is an array whose name shows no index.
TEST_F(ActiveResources, ArraysWithoutStepShowNoIndex) {
  link({{GL_FLOAT, 3, 6, 0, "flat"}});
  EXPECT_EQ(describe(0).name, "flat");
  EXPECT_EQ(describe(0).size, 3);
  EXPECT_EQ(locate("flat[2]"), 6);
}

// A name that the host tells with "[0]" answers without it too, as often as it has one.
TEST_F(ActiveResources, IndicesOfZeroMayBeLeftOut) {
  link({{GL_FLOAT, 2, 3, 1, "m[0][0]"}, {GL_FLOAT, 2, 10, 1, "s.a[0]"}, {GL_FLOAT, 1, 20, 0, "s[1].a"}});
  EXPECT_EQ(locate("m[0][0]"), 3);
  EXPECT_EQ(locate("m[0]"), 3);
  EXPECT_EQ(locate("m"), 3);
  EXPECT_EQ(locate("m[0][1]"), 4);
  EXPECT_EQ(locate("s.a[1]"), 11);
  EXPECT_EQ(locate("s.a[2]"), -1);
  EXPECT_EQ(locate("s[1].a"), 20);
  EXPECT_EQ(locate("s[0].a"), -1);
  EXPECT_EQ(locate("s[2].a"), -1);
}

// Only the bracket behind the last point is an index.
TEST_F(ActiveResources, OnlyTheLastBracketIsParsed) {
  link({{GL_FLOAT, 4, 7, 1, "a[1].b"}});
  EXPECT_EQ(locate("a[1].b[2]"), 9);
  EXPECT_EQ(locate("a[1].b"), 7);
  EXPECT_EQ(locate("a[0].b[2]"), -1);
}

// The name without "[0]" takes the location of the entry that came last; a name that is nothing but "[0]" stays whole.
TEST_F(ActiveResources, ShorterNamesFollowTheLastEntry) {
  link({{GL_FLOAT, 1, 5, 0, "a"}, {GL_FLOAT, 2, 7, 1, "a[0]"}, {GL_FLOAT, 2, 20, 1, "[0]"}, {GL_FLOAT, 1, 30, 0, "b[0]"}});
  EXPECT_EQ(locate("a"), 7);
  EXPECT_EQ(locate("a[0]"), 7);
  EXPECT_EQ(locate("[0]"), 20);
  EXPECT_EQ(locate(""), -1);
  EXPECT_EQ(locate("b"), 30);
  EXPECT_EQ(locate("b[0]"), 30);
  EXPECT_EQ(record()->uniforms.count, 4);
  EXPECT_EQ(QV_CALL(glGetUniformLocation)(2, nullptr), -1);
  EXPECT_EQ(takeError(), 0u);
}

// The location -2 says that a name has none yet: the name is not found, and another entry may give it one.
TEST_F(ActiveResources, NamesMayGetTheirLocationLater) {
  link({{GL_FLOAT, 1, -2, 0, "w"}});
  EXPECT_EQ(locate("w"), -1);
  link({{GL_FLOAT, 1, -2, 0, "w"}, {GL_FLOAT, 1, 6, 0, "w"}});
  EXPECT_EQ(locate("w"), 6);
  EXPECT_EQ(record()->uniforms.count, 2);
}

// An array without elements is described and has no location.
TEST_F(ActiveResources, EmptyArraysHaveNoLocation) {
  link({{GL_FLOAT, 0, 4, 0, "none"}});
  EXPECT_EQ(locate("none"), -1);
  EXPECT_EQ(locate("none[0]"), -1);
  EXPECT_EQ(describe(0).size, 0);
  EXPECT_EQ(record()->uniforms.cellOf(4).bits, 0u);
}

// Resources without a location keep the order of arrival, and are described but not located.
TEST_F(ActiveResources, OrderIsByLocationUnlessOneHasNone) {
  link({{GL_FLOAT, 1, 9, 0, "late"}, {GL_FLOAT, 1, 3, 0, "early"}});
  EXPECT_EQ(describe(0).name, "early");
  EXPECT_EQ(describe(1).name, "late");
  link({{GL_FLOAT, 1, 9, 0, "late"}, {GL_FLOAT, 1, -1, 0, "block.x"}, {GL_FLOAT, 1, 3, 0, "early"}});
  EXPECT_EQ(describe(0).name, "late");
  EXPECT_EQ(describe(1).name, "block.x");
  EXPECT_EQ(describe(2).name, "early");
  EXPECT_EQ(locate("block.x"), -1);
  EXPECT_EQ(record()->uniforms.locationlessCount, 1);
}

// Without a record a location is an error, for a created program too.
TEST_F(ActiveResources, LocationsNeedALinkedProgram) {
  QV_CALL(glCreateProgram)();
  host.submissions.clear();
  drop();
  EXPECT_EQ(locate("x"), -1);
  expectRefused(GL_INVALID_OPERATION, kGetUniformLocation);
  EXPECT_TRUE(QV_CALL(glIsProgram)(2));
  EXPECT_EQ(QV_CALL(glGetAttribLocation)(2, "x"), -1);
  expectRefused(GL_INVALID_OPERATION, kGetAttribLocation);
}

// Attributes have a cache of their own.
TEST_F(ActiveResources, AttributesAreLocatedAndDescribed) {
  link({}, {{GL_FLOAT_VEC4, 1, 2, 0, "position"}, {GL_FLOAT_MAT3, 2, 4, 3, "turn"}});
  EXPECT_EQ(QV_CALL(glGetAttribLocation)(2, "position"), 2);
  EXPECT_EQ(QV_CALL(glGetAttribLocation)(2, "turn[1]"), 7);
  EXPECT_EQ(locate("position"), -1);
  GLsizei length = 0;
  GLint size = 0;
  GLenum type = 0;
  char name[16];
  QV_CALL(glGetActiveAttrib)(2, 1, 16, &length, &size, &type, name);
  EXPECT_STREQ(name, "turn[0]");
  EXPECT_EQ(size, 2);
  QV_CALL(glGetActiveAttrib)(2, 16, 16, &length, &size, &type, name);
  expectRefused(GL_INVALID_VALUE, kGetActiveAttrib);
  QV_CALL(glGetActiveAttrib)(2, 2, 16, &length, &size, &type, name);
  expectRefused(GL_INVALID_OPERATION, kGetActiveAttrib);
  QV_CALL(glGetActiveAttrib)(3, 0, 16, &length, &size, &type, name);
  expectRefused(GL_INVALID_OPERATION, kGetActiveAttrib);
}

// --- descriptions ---

// Names are cut to the buffer; the reported length counts "[0]" even where it was cut.
TEST_F(ActiveResources, NamesAreCutToTheirBuffer) {
  link({{GL_FLOAT, 4, 0, 1, "abc"}, {GL_FLOAT, 1, 9, 0, "xyz"}});
  const struct {
    GLsizei room;
    const char* name;
    GLsizei length;
  } known[] = {{7, "abc[0]", 6}, {6, "abc[0", 6}, {5, "abc[", 6}, {4, "abc", 6}, {3, "ab", 5}, {2, "a", 4}, {1, "", 3}};
  for (const auto& each : known) {
    const Described got = describe(0, each.room);
    EXPECT_EQ(got.name.substr(0, std::strlen(got.name.c_str())), each.name) << each.room;
    EXPECT_EQ(got.length, each.length) << each.room;
  }
  EXPECT_EQ(describe(1, 3).name, "xy");
  EXPECT_EQ(describe(1, 3).length, 2);
  const Described none = describe(0, 0);
  EXPECT_EQ(none.length, -7);
  EXPECT_EQ(none.name[0], '#');
  EXPECT_EQ(none.size, 4);
  // Nothing but what is asked for is written.
  QV_CALL(glGetActiveUniform)(2, 0, 8, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(takeError(), 0u);
}

// What glGetActiveUniform refuses, and in which order.
TEST_F(ActiveResources, DescriptionsAreChecked) {
  link({{GL_FLOAT, 1, 0, 0, "a"}});
  char name[8];
  const auto ask = [&](GLuint program, GLuint index, GLsizei room) {
    QV_CALL(glGetActiveUniform)(program, index, room, nullptr, nullptr, nullptr, name);
  };
  ask(2, 0, -1);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniform);
  ask(2, 1, 8);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniform);
  ask(2, 0xFFFFFFFF, 8);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniform);
  ask(3, 0, 8);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniform);
  QV_CALL(glBegin)(GL_POINTS);
  ask(3, 0, 8);
  EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_OPERATION));
  ask(3, 0, -1);
  EXPECT_EQ(takeError(), static_cast<GLenum>(GL_INVALID_VALUE));
  QV_CALL(glEnd)();
}

// The name alone, refused as INVALID_VALUE in every case.
TEST_F(ActiveResources, NamesAloneAreChecked) {
  link({{GL_FLOAT, 4, 0, 1, "abc"}});
  char name[8] = "";
  GLsizei length = 0;
  QV_CALL(glGetActiveUniformName)(2, 0, 8, &length, name);
  EXPECT_STREQ(name, "abc[0]");
  EXPECT_EQ(length, 6);
  QV_CALL(glGetActiveUniformName)(2, 0, -1, &length, name);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniformName);
  QV_CALL(glGetActiveUniformName)(2, 1, 8, &length, name);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniformName);
  QV_CALL(glGetActiveUniformName)(3, 0, 8, &length, name);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniformName);
}

// Types, sizes and lengths of names are answered here, an index out of range too; the rest goes to the host.
TEST_F(ActiveResources, FactsOfSeveralUniforms) {
  link({{GL_FLOAT_VEC2, 4, 0, 1, "abc"}, {GL_INT, 1, 8, 0, "i"}});
  const GLuint indices[] = {1, 0, 99};
  GLint values[3] = {};
  QV_CALL(glGetActiveUniformsiv)(2, 3, indices, GL_UNIFORM_TYPE, values);
  EXPECT_EQ(values[0], GL_INT);
  EXPECT_EQ(values[1], GL_FLOAT_VEC2);
  EXPECT_EQ(values[2], 0);
  QV_CALL(glGetActiveUniformsiv)(2, 3, indices, GL_UNIFORM_SIZE, values);
  EXPECT_EQ(values[0], 1);
  EXPECT_EQ(values[1], 4);
  EXPECT_EQ(values[2], 0);
  QV_CALL(glGetActiveUniformsiv)(2, 3, indices, GL_UNIFORM_NAME_LENGTH, values);
  EXPECT_EQ(values[0], 2);
  EXPECT_EQ(values[1], 7);
  EXPECT_EQ(values[2], 1);
  expectNothing();
  host.answerCommand(kGetActiveUniformsiv, words({5, 6, 7}));
  QV_CALL(glGetActiveUniformsiv)(2, 3, indices, GL_UNIFORM_OFFSET, values);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream, words({28u << 12 | 2110, 2, 3, GL_UNIFORM_OFFSET, 1, 0, 99}));
  EXPECT_EQ(host.submissions[0].replySize, 12u);
  EXPECT_EQ(values[2], 7);
  host.submissions.clear();
  drop();
  QV_CALL(glGetActiveUniformsiv)(2, -1, indices, GL_UNIFORM_TYPE, values);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniformsiv);
  QV_CALL(glGetActiveUniformsiv)(3, 1, indices, GL_UNIFORM_TYPE, values);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniformsiv);
}

// --- blocks ---

// Names go to the host as a list of texts, indices come back.
TEST_F(ActiveResources, IndicesComeFromTheHost) {
  link({{GL_FLOAT, 1, 0, 0, "a"}});
  const char* names[] = {"a", "bc"};
  GLuint indices[2] = {};
  host.answerCommand(kGetUniformIndices, words({0, GL_INVALID_INDEX}));
  QV_CALL(glGetUniformIndices)(2, 2, names, indices);
  Bytes expected = words({37u << 12 | 2109, 2, 2, low(names), 5, 2});
  expected += {'a', 0, 'b', 'c', 0};
  expected += words({1, 2});
  expected.resize(40);
  ASSERT_EQ(host.submissions.size(), 1u);
  Bytes sent = host.submissions[0].stream;
  std::memset(sent.data() + 37, 0, 3);  // pad bytes
  EXPECT_EQ(sent, expected);
  EXPECT_EQ(host.submissions[0].replySize, 8u);
  EXPECT_EQ(indices[1], GL_INVALID_INDEX);
  host.submissions.clear();
  QV_CALL(glGetUniformIndices)(2, -1, names, indices);
  expectRefused(GL_INVALID_VALUE, kGetUniformIndices);
  QV_CALL(glGetUniformIndices)(3, 1, names, indices);
  expectRefused(GL_INVALID_VALUE, kGetUniformIndices);
}

// Questions about blocks need a linked program. The indices of a block's uniforms are asked for after their number.
TEST_F(ActiveResources, BlocksAreTheHosts) {
  GLint values[4] = {9, 9, 9, 9};
  GLsizei length = 0;
  char name[8];
  QV_CALL(glGetUniformBlockIndex)(2, "b");
  expectRefused(GL_INVALID_OPERATION, kGetUniformBlockIndex);
  QV_CALL(glGetActiveUniformBlockiv)(2, 0, GL_UNIFORM_BLOCK_DATA_SIZE, values);
  expectRefused(GL_INVALID_OPERATION, kGetActiveUniformBlockiv);
  QV_CALL(glGetActiveUniformBlockName)(2, 0, 8, &length, name);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniformBlockName);
  link({});
  QV_CALL(glGetActiveUniformBlockName)(2, 0, -1, &length, name);
  expectRefused(GL_INVALID_VALUE, kGetActiveUniformBlockName);

  host.answerCommand(kGetUniformBlockIndex, words({3}));
  EXPECT_EQ(QV_CALL(glGetUniformBlockIndex)(2, "b"), 3u);
  Bytes asked = host.submissions.back().stream;
  asked.resize(14);  // without the pad
  Bytes wanted = words({14u << 12 | 2112, 2, 2});
  wanted += {'b', 0};
  EXPECT_EQ(asked, wanted);
  QV_CALL(glGetActiveUniformBlockiv)(2, 3, GL_UNIFORM_BLOCK_DATA_SIZE, values);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetActiveUniformBlockiv, 2, 3, GL_UNIFORM_BLOCK_DATA_SIZE).data);
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  host.submissions.clear();
  host.answerCommand(kGetActiveUniformBlockiv, words({3, 1, 2}));
  QV_CALL(glGetActiveUniformBlockiv)(2, 3, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES, values);
  ASSERT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.submissions[0].stream, Stream().add(kGetActiveUniformBlockiv, 2, 3, GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS).data);
  EXPECT_EQ(host.submissions[1].replySize, 12u);
  EXPECT_EQ(values[2], 2);
  EXPECT_EQ(values[3], 9);
  QV_CALL(glGetActiveUniformBlockName)(2, 3, 8, &length, name);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetActiveUniformBlockName, 2, 3, 8).data);
  EXPECT_EQ(host.submissions.back().reply2Size, 8u);
  // The number is the host's word, and bounded.
  std::vector<GLint> many(1 << 20);
  for (const auto& [told, taken] : {std::pair<uint32_t, uint32_t>{0x80000000, 0}, {1 << 20, 1 << 22}, {(1 << 20) + 1, 1 << 22}}) {
    host.answerCommand(kGetActiveUniformBlockiv, words({told}));
    QV_CALL(glGetActiveUniformBlockiv)(2, 3, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES, many.data());
    EXPECT_EQ(host.submissions.back().replySize, taken);
  }
}

}  // namespace
}  // namespace qv::test
