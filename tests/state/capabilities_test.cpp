// Enables: both homes of every capability, texture units, client arrays, and what stays with the host.
#include "driver/queries/limit_cache.h"
#include "driver/calls/enables.h"
#include "driver/state/capabilities.h"

#include "driver/objects/display_list_stream.h"
#include "harness.h"

namespace qv::test {
namespace {

class CapabilitiesTest : public StateTest {
 protected:
  // Indices of the EnableState bytes that are set, without that of GL_MULTISAMPLE unless it is 0.
  std::vector<uint32_t> flags() const {
    std::vector<uint32_t> set;
    for (uint32_t i = 0; i < 104; ++i) {
      if (c->enables.current().flags[i] != (i == 23 ? 1 : 0)) set.push_back(i);
    }
    return set;
  }
};
using Flags = std::vector<uint32_t>;

// Each single capability sets its group's field and its byte, and nothing else; disabling clears both.
TEST_F(CapabilitiesTest, EveryCapabilityHasTwoHomes) {
  GlContext& g = *c;
  const struct {
    GLenum capability;
    uint8_t* field;
    uint32_t flag;
  } rows[] = {
      {3008, &g.colorBuffer.current().alphaTestEnabled, 0},
      {3042, &g.colorBuffer.current().blendEnabled, 1},
      {2852, &g.line.current().stippleEnabled, 2},
      {2848, &g.line.current().smoothEnabled, 3},
      {2896, &g.lighting.current().lightingEnabled, 4},
      {16384, &g.lighting.current().lightEnabled[0], 5},
      {16385, &g.lighting.current().lightEnabled[1], 6},
      {16386, &g.lighting.current().lightEnabled[2], 7},
      {16387, &g.lighting.current().lightEnabled[3], 8},
      {16388, &g.lighting.current().lightEnabled[4], 9},
      {16389, &g.lighting.current().lightEnabled[5], 10},
      {16390, &g.lighting.current().lightEnabled[6], 11},
      {16391, &g.lighting.current().lightEnabled[7], 12},
      {2903, &g.lighting.current().colorMaterialEnabled, 13},
      {2977, &g.transform.current().normalizeEnabled, 14},
      {2929, &g.depth.current().testEnabled, 15},
      {2912, &g.fog.current().enabled, 16},
      {2884, &g.polygon.current().cullEnabled, 17},
      {2881, &g.polygon.current().smooth, 18},
      {2882, &g.polygon.current().stipple, 19},
      {32823, &g.polygon.current().offsetFill, 20},
      {10754, &g.polygon.current().offsetLine, 21},
      {10753, &g.polygon.current().offsetPoint, 22},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(*row.field, 0) << row.capability;
    call<op::glEnable>(row.capability);
    EXPECT_EQ(*row.field, 1) << row.capability;
    EXPECT_EQ(flags(), (Flags{row.flag})) << row.capability;
    EXPECT_EQ(gl::glIsEnabled(row.capability), GL_TRUE) << row.capability;
    call<op::glDisable>(row.capability);
    EXPECT_EQ(*row.field, 0) << row.capability;
    EXPECT_EQ(flags(), (Flags{})) << row.capability;
    EXPECT_EQ(gl::glIsEnabled(row.capability), GL_FALSE) << row.capability;
  }
  call<op::glDisable>(GLenum{32925});
  EXPECT_EQ(g.multisample.current().enabled, 0);
  EXPECT_EQ(flags(), (Flags{23}));
  call<op::glEnable>(GLenum{32925});
  EXPECT_EQ(g.multisample.current().enabled, 1);
  EXPECT_TRUE(host.submissions.empty());
}

// glEnable and glDisable are one word behind their header.
TEST_F(CapabilitiesTest, CommandsOnTheWire) {
  call<op::glEnable>(GLenum{3042});
  call<op::glDisable>(GLenum{3042});
  const uint8_t expected[] = {0xD7, 0x80, 0, 0, 0xE2, 0x0B, 0, 0, 0xD6, 0x80, 0, 0, 0xE2, 0x0B, 0, 0};
  ASSERT_EQ(c->cursor - c->base, 16);
  EXPECT_EQ(std::memcmp(c->base, expected, 16), 0);
}

// A texture target goes to the active unit's row and to that unit's five bytes.
TEST_F(CapabilitiesTest, TextureTargetsOfTheActiveUnit) {
  const GLenum targets[] = {3552, 3553, 32879, 34067, 34037};
  for (uint32_t unit = 0; unit < 16; ++unit) {
    call<op::glActiveTexture>(GLenum{GL_TEXTURE0 + unit});
    for (uint32_t byte = 0; byte < 5; ++byte) {
      call<op::glEnable>(targets[byte]);
      EXPECT_EQ(c->texture.current().units[unit].enabled[byte], 1);
      EXPECT_EQ(flags(), (Flags{24 + 5 * unit + byte}));
      EXPECT_EQ(gl::glIsEnabled(targets[byte]), GL_TRUE);
      EXPECT_EQ(gl::glIsEnabledi(targets[byte], unit), GL_TRUE);
      call<op::glDisable>(targets[byte]);
      EXPECT_EQ(flags(), (Flags{}));
    }
  }
}

// Unit 2, 2D: row 2, byte 1, and flag 35.
TEST_F(CapabilitiesTest, Texture2dOfUnit2) {
  call<op::glActiveTexture>(GLenum{GL_TEXTURE2});
  call<op::glEnable>(GLenum{GL_TEXTURE_2D});
  EXPECT_EQ(c->texture.current().units[2].enabled[1], 1);
  EXPECT_EQ(c->enables.current().flags[35], 1);
}

// The unit forms take an index below 16 and the five targets only.
TEST_F(CapabilitiesTest, UnitCapability) {
  EXPECT_TRUE(setUnitCapability(c.get(), GL_TEXTURE_CUBE_MAP, 15, 1));
  EXPECT_EQ(c->texture.current().units[15].enabled[3], 1);
  EXPECT_EQ(c->enables.current().flags[24 + 75 + 3], 1);
  EXPECT_FALSE(setUnitCapability(c.get(), GL_TEXTURE_2D, 16, 1));
  EXPECT_FALSE(setUnitCapability(c.get(), GL_TEXTURE_2D, 0xFFFFFFFF, 1));
  EXPECT_FALSE(setUnitCapability(c.get(), GL_BLEND, 0, 1));
}

// An indexed enable of what is no unit's reaches the plain capability for index 0 alone.
TEST_F(CapabilitiesTest, IndexedEnables) {
  call<op::glEnablei>(GLenum{GL_BLEND}, GLuint{1});
  EXPECT_EQ(c->colorBuffer.current().blendEnabled, 0);
  call<op::glEnablei>(GLenum{GL_BLEND}, GLuint{0});
  EXPECT_EQ(c->colorBuffer.current().blendEnabled, 1);
  EXPECT_EQ(c->enables.current().flags[1], 1);
  call<op::glDisableIndexedEXT>(GLenum{GL_BLEND}, GLuint{0});
  EXPECT_EQ(c->colorBuffer.current().blendEnabled, 0);
  call<op::glEnableIndexedEXT>(GLenum{GL_TEXTURE_3D}, GLuint{6});
  EXPECT_EQ(c->texture.current().units[6].enabled[2], 1);
  call<op::glDisablei>(GLenum{GL_TEXTURE_3D}, GLuint{6});
  EXPECT_EQ(c->texture.current().units[6].enabled[2], 0);
  const std::vector<Command> commands = pending();
  ASSERT_EQ(commands.size(), 5u);
  EXPECT_EQ(commands[0].opcode, 2051u);
  EXPECT_EQ(commands[0].words, (std::vector<uint32_t>{GL_BLEND, 1}));
}

// Three capabilities have one home in the context.
TEST_F(CapabilitiesTest, CapabilitiesWithOneHome) {
  for (const GLenum capability : {34336u, 34820u, 36765u}) {
    call<op::glEnable>(capability);
    EXPECT_EQ(gl::glIsEnabled(capability), GL_TRUE);
  }
  EXPECT_EQ(c->vertexProgramEnabled, 1);
  EXPECT_EQ(c->fragmentProgramEnabled, 1);
  EXPECT_EQ(c->restartEnabled, 1);
  EXPECT_EQ(c->restartNvEnabled, 0);
  EXPECT_EQ(flags(), (Flags{}));
}

// Each client array has its row, the texture coordinates by client unit.
TEST_F(CapabilitiesTest, ClientArrays) {
  const std::pair<GLenum, uint32_t> rows[] = {{32884, 0}, {34477, 1}, {32885, 2}, {32886, 3}, {33886, 4},
                                              {33879, 5}, {32887, 6}, {32889, 7}, {32888, 8}};
  for (const auto& [array, row] : rows) {
    gl::glEnableClientState(array);
    for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(c->defaultVertexArray.conventional[i].enabled, i == row ? 1 : 0) << array;
    EXPECT_EQ(gl::glIsEnabled(array), GL_TRUE);
    gl::glDisableClientState(array);
    EXPECT_EQ(c->defaultVertexArray.conventional[row].enabled, 0);
  }
  call<op::glClientActiveTexture>(GLenum{GL_TEXTURE3});
  gl::glEnableClientState(GLenum{GL_TEXTURE_COORD_ARRAY});
  EXPECT_EQ(c->defaultVertexArray.conventional[11].enabled, 1);
  gl::glEnableClientState(GLenum{34136});
  EXPECT_EQ(c->restartNvEnabled, 1);
  EXPECT_EQ(gl::glIsEnabled(34136), GL_TRUE);
}

// The arrays belong to the bound vertex array object.
TEST_F(CapabilitiesTest, ClientArraysOfABoundObject) {
  VertexArrayObject* const bound = new VertexArrayObject;
  c->vertexArrayTable.set(9, static_cast<TrackedObject*>(bound));
  c->vertexArrayBinding = 9;
  gl::glEnableClientState(GLenum{GL_NORMAL_ARRAY});
  EXPECT_EQ(bound->conventional[2].enabled, 1);
  EXPECT_EQ(c->defaultVertexArray.conventional[2].enabled, 0);
}

// An unknown client array is the one error of this family, and the host does not learn of it, for either call.
TEST_F(CapabilitiesTest, UnknownClientArrayIsRefused) {
  gl::glEnableClientState(GL_BLEND);
  EXPECT_EQ(takeError(), 1280u);
  EXPECT_EQ(c->lastOpcode, 312);
  gl::glDisableClientState(GL_BLEND);
  EXPECT_EQ(takeError(), 1280u);
  EXPECT_EQ(c->lastOpcode, 308);
  EXPECT_EQ(pending().size(), 0u);
  gl::glEnableClientState(GL_VERTEX_ARRAY);
  EXPECT_EQ(takeError(), 0u);
  ASSERT_EQ(pending().size(), 1u);
  EXPECT_EQ(pending()[0].opcode, 312u);
  EXPECT_EQ(pending()[0].words, std::vector<uint32_t>{32884});
}

// The restart by index of the NV extension is the guest's own: its token goes into the shadow and writes nothing.
TEST_F(CapabilitiesTest, RestartTokenStaysInTheGuest) {
  gl::glEnableClientState(34136);
  EXPECT_EQ(c->restartNvEnabled, 1);
  gl::glDisableClientState(34136);
  EXPECT_EQ(c->restartNvEnabled, 0);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(pending().size(), 0u);
}

// Inside glBegin both calls are refused with the shadow as it was.
TEST_F(CapabilitiesTest, ClientStateInsideBeginIsRefused) {
  c->insideBegin = 1;
  gl::glEnableClientState(GL_VERTEX_ARRAY);
  EXPECT_EQ(takeError(), 1282u);
  gl::glEnableClientState(34136);
  EXPECT_EQ(takeError(), 1282u);
  EXPECT_EQ(c->restartNvEnabled, 0);
  EXPECT_EQ(c->defaultVertexArray.conventional[0].enabled, 0);
  EXPECT_EQ(pending().size(), 0u);
}

// Six client arrays pass through glEnable, the others do not, and the command goes out in any case.
TEST_F(CapabilitiesTest, ClientArraysGivenToEnable) {
  call<op::glEnable>(GLenum{GL_VERTEX_ARRAY});
  EXPECT_EQ(c->defaultVertexArray.conventional[0].enabled, 1);
  for (const GLenum array : {GL_NORMAL_ARRAY, GL_COLOR_ARRAY, GL_INDEX_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_EDGE_FLAG_ARRAY}) {
    EXPECT_TRUE(setCapability(c.get(), static_cast<GLenum>(array), 1)) << array;
  }
  for (const GLenum array : {GL_WEIGHT_ARRAY_ARB, GL_SECONDARY_COLOR_ARRAY, GL_FOG_COORD_ARRAY, GL_PRIMITIVE_RESTART_NV}) {
    EXPECT_FALSE(setCapability(c.get(), static_cast<GLenum>(array), 1)) << array;
  }
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(pending().size(), 1u);
}

// An unknown capability changes nothing here, and the host is asked for it.
TEST_F(CapabilitiesTest, UnknownCapabilityIsTheHosts) {
  EXPECT_FALSE(setCapability(c.get(), GL_STENCIL_TEST, 1));
  EXPECT_EQ(flags(), (Flags{}));
  EXPECT_EQ(takeError(), 0u);
  host.answer<uint8_t>(GL_STENCIL_TEST, {1});
  EXPECT_EQ(gl::glIsEnabled(GL_STENCIL_TEST), GL_TRUE);
  EXPECT_EQ(host.last().opcode, 286u);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{GL_STENCIL_TEST}));
  EXPECT_EQ(host.submissions.back().replySize, 1u);
}

// With no debug log there is nothing to switch on, and the queries read as off.
TEST_F(CapabilitiesTest, DebugCapabilitiesWithoutALog) {
  EXPECT_TRUE(setCapability(c.get(), GL_DEBUG_OUTPUT, 1));
  EXPECT_TRUE(setCapability(c.get(), GL_DEBUG_OUTPUT_SYNCHRONOUS, 1));
  EXPECT_EQ(gl::glIsEnabled(GL_DEBUG_OUTPUT), GL_FALSE);
  EXPECT_TRUE(host.submissions.empty());
}

// Under GL_COMPILE the shadow keeps its value; a list that is also executed sets it.
TEST_F(CapabilitiesTest, CompilingLeavesTheShadowAlone) {
  gl::glNewList(1, GL_COMPILE);
  call<op::glEnable>(GLenum{GL_FOG});
  EXPECT_EQ(c->recordingList->cursor - c->recordingList->base, 8);
  gl::glEndList();
  EXPECT_EQ(c->fog.current().enabled, 0);
  EXPECT_EQ(gl::glIsEnabled(GL_FOG), GL_FALSE);
  gl::glNewList(1, GL_COMPILE_AND_EXECUTE);
  call<op::glEnable>(GLenum{GL_FOG});
  gl::glEndList();
  EXPECT_EQ(gl::glIsEnabled(GL_FOG), GL_TRUE);
}

// The two homes part when one group is pushed, and each keeps its own element.
TEST_F(CapabilitiesTest, HomesLiveOnTheirOwnStacks) {
  c->limits.maxAttribStackDepth = 16;
  c->enables.push(queryStackLimit);
  call<op::glEnable>(GLenum{GL_DEPTH_TEST});
  EXPECT_EQ(c->enables.current().flags[15], 1);
  c->enables.pop();
  EXPECT_EQ(c->enables.current().flags[15], 0);
  EXPECT_EQ(c->depth.current().testEnabled, 1);
}

}  // namespace
}  // namespace qv::test
