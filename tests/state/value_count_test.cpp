// Value counts: every known pname with its count and gate, every other enum, and the three companions.
#include "driver/queries/counted.h"
#include "driver/queries/value_count.h"

#include <map>

#include "harness.h"
#include "value_count_list.h"

namespace qv::test {
namespace {

class ValueCountTest : public StateTest {};

// The list has the number of rows that the tables have.
static_assert(std::size(kListedCounts) == 8 + 26 + 4 + 13 + 31 + 40 + 440);

// Every listed pname has its count from its version on, and none below.
TEST_F(ValueCountTest, EveryListedNameHasItsCount) {
  for (const ListedCount& each : kListedCounts) {
    EXPECT_EQ(valueCount(460, each.pname), each.count) << each.pname;
    EXPECT_EQ(valueCount(430, each.pname), each.count) << each.pname;
    for (const uint16_t version : std::initializer_list<uint16_t>{210, 300, 410, 420}) {
      EXPECT_EQ(valueCount(version, each.pname), version < each.minVersion ? 0 : each.count) << each.pname << " " << version;
    }
  }
  EXPECT_TRUE(host.submissions.empty());
}

// No other enum of 16 bits is known, but for the one that asks the host.
TEST_F(ValueCountTest, NothingElseIsKnown) {
  std::map<GLenum, int> listed;
  for (const ListedCount& each : kListedCounts) listed[each.pname] = each.count;
  EXPECT_EQ(listed.size(), std::size(kListedCounts));
  for (GLenum pname = 0; pname < 0x10000; ++pname) {
    if (pname == GL_COMPRESSED_TEXTURE_FORMATS) continue;
    const auto row = listed.find(pname);
    ASSERT_EQ(valueCount(460, pname), row == listed.end() ? 0 : row->second) << pname;
  }
  EXPECT_EQ(valueCount(460, 0xFFFFFFFF), 0);
}

// Names given as numbers, with no header between, have these counts.
TEST_F(ValueCountTest, NumbersHaveTheirCounts) {
  EXPECT_EQ(valueCount(210, 0x0BA6), 16);  // GL_MODELVIEW_MATRIX
  EXPECT_EQ(valueCount(210, 0x84E4), 16);  // GL_TRANSPOSE_PROJECTION_MATRIX
  EXPECT_EQ(valueCount(210, 0x0B00), 4);   // GL_CURRENT_COLOR
  EXPECT_EQ(valueCount(210, 0x0B02), 3);   // GL_CURRENT_NORMAL
  EXPECT_EQ(valueCount(210, 0x0D3A), 2);   // GL_MAX_VIEWPORT_DIMS
  EXPECT_EQ(valueCount(210, 0x8CA0), 2);   // GL_POINT_SPRITE_COORD_ORIGIN, one value in GL
  EXPECT_EQ(valueCount(400, 0x8E73), 1);   // GL_PATCH_DEFAULT_INNER_LEVEL, two in GL
  EXPECT_EQ(valueCount(400, 0x8E74), 1);   // GL_PATCH_DEFAULT_OUTER_LEVEL, four in GL
  EXPECT_EQ(valueCount(210, 0x0D33), 1);   // GL_MAX_TEXTURE_SIZE
  EXPECT_EQ(valueCount(460, 0x8F38), 1);   // GL_MAX_IMAGE_UNITS
  EXPECT_EQ(valueCount(410, 0x8F38), 0);
  EXPECT_EQ(valueCount(430, 0x826E), 1);  // GL_MAX_UNIFORM_LOCATIONS
  EXPECT_EQ(valueCount(420, 0x826E), 0);
  EXPECT_EQ(valueCount(460, 0x8DF8), 0);  // GL_SHADER_BINARY_FORMATS has its width from the caller
  EXPECT_EQ(valueCount(460, 0), 0);
}

// Names that are answered from the shadow at every version have no row.
TEST_F(ValueCountTest, NamesOfTheShadowHaveNoRow) {
  for (const GLenum pname :
       {GL_VERTEX_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_VERTEX_ARRAY_SIZE, GL_CLIENT_ATTRIB_STACK_DEPTH, GL_MAX_VERTEX_ATTRIBS,
        GL_CLIENT_ACTIVE_TEXTURE, GL_MAX_DEBUG_MESSAGE_LENGTH, GL_MAX_LABEL_LENGTH, GL_MAX_VERTEX_ATTRIB_STRIDE}) {
    EXPECT_EQ(valueCount(460, pname), 0) << pname;
  }
}

// The list of compressed formats is as long as the host says, asked each time.
TEST_F(ValueCountTest, CompressedFormatsAskTheHost) {
  host.answer<int32_t>(0x86A2, {7});
  EXPECT_EQ(valueCount(460, 0x86A3), 7);
  EXPECT_EQ(valueCount(460, 0x86A3), 7);
  EXPECT_EQ(host.submissions.size(), 2u);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{0x86A2, 1}));
  host.answer<int32_t>(0x86A2, {0});
  EXPECT_EQ(valueCount(460, 0x86A3), 0);
}

// With no format at all the query is refused as an unknown name.
TEST_F(ValueCountTest, NoCompressedFormatsRefuseTheQuery) {
  GLint values[4] = {9, 9, 9, 9};
  gl::glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS, values);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(c->lastOpcode, kGetIntegerv);
  EXPECT_EQ(values[0], 9);
  host.answer<int32_t>(0x86A2, {-5});
  gl::glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS, values);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  host.answer<int32_t>(0x86A2, {INT32_MAX});
  gl::glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS, values);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(values[0], 9);
  host.answer<int32_t>(0x86A2, {2});
  host.answer<int32_t>(0x86A3, {100, 200});
  gl::glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS, values);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(values[1], 200);
  EXPECT_EQ(values[2], 9);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{0x86A3, 2}));
}

// The coefficients of a map are as many as its components times the order that the host tells.
TEST_F(ValueCountTest, MapCoefficientsFollowTheHostsOrder) {
  const int components[] = {4, 1, 3, 1, 2, 3, 4, 3, 4};
  for (uint32_t i = 0; i < 9; ++i) {
    const GLenum one = 0x0D90 + i, two = 0x0DB0 + i;
    host.answer<int32_t>(one, {6});
    host.answer<int32_t>(two, {4, 5});
    EXPECT_EQ(mapValueCount(one, GL_COEFF), 6 * components[i]) << i;
    EXPECT_EQ(mapValueCount(two, GL_COEFF), 20 * components[i]) << i;
    EXPECT_EQ(mapValueCount(one, GL_ORDER), 1);
    EXPECT_EQ(mapValueCount(two, GL_ORDER), 2);
    EXPECT_EQ(mapValueCount(one, GL_DOMAIN), 2);
    EXPECT_EQ(mapValueCount(two, GL_DOMAIN), 4);
  }
  EXPECT_EQ(mapValueCount(GL_MAP2_VERTEX_3, GL_COEFF), 60);
  EXPECT_EQ(host.last().opcode, kGetMapiv);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{0x0DB7, 0x0A01, 2}));
  EXPECT_EQ(mapValueCount(GL_MAP2_VERTEX_3, GL_BLEND), 0);
}

// A bad target has no values, and the host is not asked.
TEST_F(ValueCountTest, BadMapTargetHasNoValues) {
  for (const GLenum target : {0u, 0x0D8Fu, 0x0D99u, 0x0DAFu, 0x0DB9u, 0xFFFFFFFFu}) {
    EXPECT_EQ(mapValueCount(target, GL_COEFF), 0);
    EXPECT_EQ(mapValueCount(target, GL_ORDER), 0);
    EXPECT_EQ(mapValueCount(target, GL_DOMAIN), 0);
  }
  EXPECT_TRUE(host.submissions.empty());
}

// An order that makes no count of values makes the query unknown.
TEST_F(ValueCountTest, WildMapOrderMakesTheQueryUnknown) {
  host.answer<int32_t>(GL_MAP2_VERTEX_4, {0x10000, 0x10000});
  EXPECT_EQ(mapValueCount(GL_MAP2_VERTEX_4, GL_COEFF), 0);
  host.answer<int32_t>(GL_MAP2_VERTEX_4, {-1, -4});
  EXPECT_EQ(mapValueCount(GL_MAP2_VERTEX_4, GL_COEFF), 0);
  host.answer<int32_t>(GL_MAP2_VERTEX_4, {INT32_MAX, 1});
  EXPECT_EQ(mapValueCount(GL_MAP2_VERTEX_4, GL_COEFF), 0);
}

// A pixel map's size is asked under the name of its size.
TEST_F(ValueCountTest, PixelMapSizeIsAskedUnderItsName) {
  for (uint32_t i = 0; i < 10; ++i) {
    host.answer<int32_t>(0x0CB0 + i, {static_cast<int32_t>(i) + 20});
    EXPECT_EQ(pixelMapSize(0x0C70 + i), static_cast<int32_t>(i) + 20);
    EXPECT_EQ(host.last().words, (std::vector<uint32_t>{0x0CB0 + i, 1}));
  }
  const size_t asked = host.submissions.size();
  EXPECT_EQ(pixelMapSize(0x0C6F), 0);
  EXPECT_EQ(pixelMapSize(0x0C7A), 0);
  EXPECT_EQ(host.submissions.size(), asked);
}

// Four names of the texture environment have several values, all others one.
TEST_F(ValueCountTest, TexEnvHasFourNamesOfSeveralValues) {
  EXPECT_EQ(texEnvValueCount(0x2201), 4);  // GL_TEXTURE_ENV_COLOR
  EXPECT_EQ(texEnvValueCount(0x86E0), 4);  // GL_CULL_MODES_NV
  EXPECT_EQ(texEnvValueCount(0x86E1), 4);  // GL_OFFSET_TEXTURE_MATRIX_NV
  EXPECT_EQ(texEnvValueCount(0x86E5), 3);  // GL_CONST_EYE_NV
  EXPECT_EQ(texEnvValueCount(0x2200), 1);
  EXPECT_EQ(texEnvValueCount(0), 1);
}

}  // namespace
}  // namespace qv::test
