// Enables: both homes of every capability, texture units, client arrays, and what stays with the host.
#include "driver/calls/all.h"
#include "driver/stream/entry_template.h"
#include "driver/state/capabilities.h"

#include "driver/calls/enables.h"
#include "driver/objects/display_list_stream.h"
#include "driver/queries/limit_cache.h"
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
      {GL_ALPHA_TEST, &g.colorBuffer.current().alphaTestEnabled, 0},
      {GL_BLEND, &g.colorBuffer.current().blendEnabled, 1},
      {GL_LINE_STIPPLE, &g.line.current().stippleEnabled, 2},
      {GL_LINE_SMOOTH, &g.line.current().smoothEnabled, 3},
      {GL_LIGHTING, &g.lighting.current().lightingEnabled, 4},
      {GL_LIGHT0, &g.lighting.current().lightEnabled[0], 5},
      {GL_LIGHT1, &g.lighting.current().lightEnabled[1], 6},
      {GL_LIGHT2, &g.lighting.current().lightEnabled[2], 7},
      {GL_LIGHT3, &g.lighting.current().lightEnabled[3], 8},
      {GL_LIGHT4, &g.lighting.current().lightEnabled[4], 9},
      {GL_LIGHT5, &g.lighting.current().lightEnabled[5], 10},
      {GL_LIGHT6, &g.lighting.current().lightEnabled[6], 11},
      {GL_LIGHT7, &g.lighting.current().lightEnabled[7], 12},
      {GL_COLOR_MATERIAL, &g.lighting.current().colorMaterialEnabled, 13},
      {GL_NORMALIZE, &g.transform.current().normalizeEnabled, 14},
      {GL_DEPTH_TEST, &g.depth.current().testEnabled, 15},
      {GL_FOG, &g.fog.current().enabled, 16},
      {GL_CULL_FACE, &g.polygon.current().cullEnabled, 17},
      {GL_POLYGON_SMOOTH, &g.polygon.current().smooth, 18},
      {GL_POLYGON_STIPPLE, &g.polygon.current().stipple, 19},
      {GL_POLYGON_OFFSET_FILL, &g.polygon.current().offsetFill, 20},
      {GL_POLYGON_OFFSET_LINE, &g.polygon.current().offsetLine, 21},
      {GL_POLYGON_OFFSET_POINT, &g.polygon.current().offsetPoint, 22},
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
  call<op::glDisable>(GLenum{GL_MULTISAMPLE});
  EXPECT_EQ(g.multisample.current().enabled, 0);
  EXPECT_EQ(flags(), (Flags{23}));
  call<op::glEnable>(GLenum{GL_MULTISAMPLE});
  EXPECT_EQ(g.multisample.current().enabled, 1);
  EXPECT_TRUE(host.submissions.empty());
}

// glEnable and glDisable are one word behind their header.
TEST_F(CapabilitiesTest, EnableAndDisableAreOneWordOnTheWire) {
  call<op::glEnable>(GLenum{GL_BLEND});
  call<op::glDisable>(GLenum{GL_BLEND});
  const uint8_t expected[] = {0xD7, 0x80, 0, 0, 0xE2, 0x0B, 0, 0, 0xD6, 0x80, 0, 0, 0xE2, 0x0B, 0, 0};
  ASSERT_EQ(c->cursor - c->base, 16);
  EXPECT_EQ(std::memcmp(c->base, expected, 16), 0);
}

// A texture target goes to the active unit's row and to that unit's five bytes.
TEST_F(CapabilitiesTest, TextureTargetsGoToTheActiveUnit) {
  const GLenum targets[] = {GL_TEXTURE_1D, GL_TEXTURE_2D, GL_TEXTURE_3D, GL_TEXTURE_CUBE_MAP, GL_TEXTURE_RECTANGLE};
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

// The 2D target of unit 2 is byte 1 of row 2, and flag 35.
TEST_F(CapabilitiesTest, Texture2dOfUnit2IsFlag35) {
  call<op::glActiveTexture>(GLenum{GL_TEXTURE2});
  call<op::glEnable>(GLenum{GL_TEXTURE_2D});
  EXPECT_EQ(c->texture.current().units[2].enabled[1], 1);
  EXPECT_EQ(c->enables.current().flags[35], 1);
}

// The unit forms take an index below 16 and the five targets only.
TEST_F(CapabilitiesTest, UnitFormsTakeSixteenUnitsAndFiveTargets) {
  EXPECT_TRUE(setUnitCapability(c.get(), GL_TEXTURE_CUBE_MAP, 15, 1));
  EXPECT_EQ(c->texture.current().units[15].enabled[3], 1);
  EXPECT_EQ(c->enables.current().flags[24 + 75 + 3], 1);
  EXPECT_FALSE(setUnitCapability(c.get(), GL_TEXTURE_2D, 16, 1));
  EXPECT_FALSE(setUnitCapability(c.get(), GL_TEXTURE_2D, 0xFFFFFFFF, 1));
  EXPECT_FALSE(setUnitCapability(c.get(), GL_BLEND, 0, 1));
}

// An indexed enable of a capability that no texture unit has reaches the plain capability for index 0 alone.
TEST_F(CapabilitiesTest, IndexedEnablesReachThePlainCapabilityAtIndexZero) {
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
  EXPECT_EQ(commands[0].opcode, kEnablei);
  EXPECT_EQ(commands[0].words, (std::vector<uint32_t>{GL_BLEND, 1}));
}

// Three capabilities have a field in the context and no byte among the enables.
TEST_F(CapabilitiesTest, ThreeCapabilitiesHaveOneHome) {
  for (const GLenum capability : {GL_VERTEX_PROGRAM_ARB, GL_FRAGMENT_PROGRAM_ARB, GL_PRIMITIVE_RESTART}) {
    call<op::glEnable>(capability);
    EXPECT_EQ(gl::glIsEnabled(capability), GL_TRUE);
  }
  EXPECT_EQ(c->vertexProgramEnabled, 1);
  EXPECT_EQ(c->fragmentProgramEnabled, 1);
  EXPECT_EQ(c->restartEnabled, 1);
  EXPECT_EQ(c->nvRestartEnabled, 0);
  EXPECT_EQ(flags(), (Flags{}));
}

// Each client array has its row, the texture coordinates by client unit.
TEST_F(CapabilitiesTest, EachClientArrayHasItsRow) {
  const std::pair<GLenum, uint32_t> rows[] = {{GL_VERTEX_ARRAY, 0}, {GL_WEIGHT_ARRAY_ARB, 1},      {GL_NORMAL_ARRAY, 2},
                                              {GL_COLOR_ARRAY, 3},  {GL_SECONDARY_COLOR_ARRAY, 4}, {GL_FOG_COORD_ARRAY, 5},
                                              {GL_INDEX_ARRAY, 6},  {GL_EDGE_FLAG_ARRAY, 7},       {GL_TEXTURE_COORD_ARRAY, 8}};
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
  gl::glEnableClientState(GLenum{GL_PRIMITIVE_RESTART_NV});
  EXPECT_EQ(c->nvRestartEnabled, 1);
  EXPECT_EQ(gl::glIsEnabled(GL_PRIMITIVE_RESTART_NV), GL_TRUE);
}

// Client arrays are enabled in the bound vertex array object and not in the default one.
TEST_F(CapabilitiesTest, ClientArraysBelongToTheBoundObject) {
  VertexArrayObject* const bound = new VertexArrayObject;
  c->vertexArrayTable.set(9, static_cast<TrackedObject*>(bound));
  c->boundVertexArray = 9;
  gl::glEnableClientState(GLenum{GL_NORMAL_ARRAY});
  EXPECT_EQ(bound->conventional[2].enabled, 1);
  EXPECT_EQ(c->defaultVertexArray.conventional[2].enabled, 0);
}

// An unknown client array is the one error of this family, and the host does not learn of it, for either call.
TEST_F(CapabilitiesTest, UnknownClientArrayIsRefused) {
  gl::glEnableClientState(GL_BLEND);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(c->lastOpcode, kEnableClientState);
  gl::glDisableClientState(GL_BLEND);
  EXPECT_EQ(takeError(), GL_INVALID_ENUM);
  EXPECT_EQ(c->lastOpcode, kDisableClientState);
  EXPECT_EQ(pending().size(), 0u);
  gl::glEnableClientState(GL_VERTEX_ARRAY);
  EXPECT_EQ(takeError(), 0u);
  ASSERT_EQ(pending().size(), 1u);
  EXPECT_EQ(pending()[0].opcode, kEnableClientState);
  EXPECT_EQ(pending()[0].words, std::vector<uint32_t>{GL_VERTEX_ARRAY});
}

// The restart by index of the NV extension is the guest's own: its token goes into the shadow and writes nothing.
TEST_F(CapabilitiesTest, RestartTokenStaysInTheGuest) {
  gl::glEnableClientState(GL_PRIMITIVE_RESTART_NV);
  EXPECT_EQ(c->nvRestartEnabled, 1);
  gl::glDisableClientState(GL_PRIMITIVE_RESTART_NV);
  EXPECT_EQ(c->nvRestartEnabled, 0);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(pending().size(), 0u);
}

// Inside glBegin both calls are refused with the shadow as it was.
TEST_F(CapabilitiesTest, ClientStateInsideBeginIsRefused) {
  c->insideBegin = 1;
  gl::glEnableClientState(GL_VERTEX_ARRAY);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  gl::glEnableClientState(GL_PRIMITIVE_RESTART_NV);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(c->nvRestartEnabled, 0);
  EXPECT_EQ(c->defaultVertexArray.conventional[0].enabled, 0);
  EXPECT_EQ(pending().size(), 0u);
}

// Six client arrays pass through glEnable, the others do not, and the command goes out in any case.
TEST_F(CapabilitiesTest, EnableTakesSixClientArrays) {
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
  EXPECT_EQ(host.last().opcode, kIsEnabled);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{GL_STENCIL_TEST}));
  EXPECT_EQ(host.submissions.back().replySize, 1u);
}

// Switching debug output on makes the log, which answers the queries.
TEST_F(CapabilitiesTest, DebugCapabilitiesAreTheLogs) {
  EXPECT_TRUE(setCapability(c.get(), GL_DEBUG_OUTPUT, 1));
  EXPECT_TRUE(setCapability(c.get(), GL_DEBUG_OUTPUT_SYNCHRONOUS, 0));
  EXPECT_EQ(gl::glIsEnabled(GL_DEBUG_OUTPUT), GL_TRUE);
  EXPECT_EQ(gl::glIsEnabled(GL_DEBUG_OUTPUT_SYNCHRONOUS), GL_FALSE);
  EXPECT_TRUE(host.submissions.empty());
}

// Under GL_COMPILE the shadow keeps its value; a list that is also executed sets it.
TEST_F(CapabilitiesTest, CompilingLeavesTheShadowAlone) {
  Entry<op::glNewList>::call(1, GL_COMPILE);
  call<op::glEnable>(GLenum{GL_FOG});
  EXPECT_EQ(c->recordingList->cursor - c->recordingList->base, 8);
  Entry<op::glEndList>::call();
  EXPECT_EQ(c->fog.current().enabled, 0);
  EXPECT_EQ(gl::glIsEnabled(GL_FOG), GL_FALSE);
  Entry<op::glNewList>::call(1, GL_COMPILE_AND_EXECUTE);
  call<op::glEnable>(GLenum{GL_FOG});
  Entry<op::glEndList>::call();
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
