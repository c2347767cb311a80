// The attribute stacks: what a push saves and a pop brings back, group by group.
#include "driver/state/capabilities.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

constexpr uint32_t kStacks = 14;

class AttribStacks : public ContextTest {
 protected:
  AttribStacks() { host.answer(GL_MAX_ATTRIB_STACK_DEPTH, std::vector<GLint>{16}); }

  void push(GLbitfield mask) { QV_CALL(glPushAttrib)(mask); }
  void pop() { QV_CALL(glPopAttrib)(); }
  bool isOn(GLenum capability) { return QV_CALL(glIsEnabled)(capability) == GL_TRUE; }
  uint8_t flag(GLenum capability) { return context().enables.current().flags[capabilityHome(&context(), capability).flag]; }
  // Tops of the group's stacks, in the order of a push, the masks first.
  std::vector<uint32_t> tops() {
    GlContext& c = context();
    return {c.attribMasks.top, c.depth.top,   c.lighting.top,    c.viewport.top,    c.fog.top,
            c.polygon.top,     c.texture.top, c.line.top,        c.colorBuffer.top, c.transform.top,
            c.pixelGroup.top,  c.list.top,    c.multisample.top, c.enables.top};
  }
  std::vector<uint32_t> capacities() {
    GlContext& c = context();
    return {c.attribMasks.capacity, c.depth.capacity,   c.lighting.capacity,    c.viewport.capacity,    c.fog.capacity,
            c.polygon.capacity,     c.texture.capacity, c.line.capacity,        c.colorBuffer.capacity, c.transform.capacity,
            c.pixelGroup.capacity,  c.list.capacity,    c.multisample.capacity, c.enables.capacity};
  }
};

// The first push of every group asks the host for the limit once, behind its own command; the other stacks take it from the
// cache.
TEST_F(AttribStacks, FirstPushAsksForTheLimitOnce) {
  push(~0u);
  ASSERT_EQ(host.submissions.size(), 1u);
  EXPECT_EQ(host.submissions[0].stream,
            words({8u << 12 | kPushAttrib, ~0u, 12u << 12 | kGetIntegerv, GL_MAX_ATTRIB_STACK_DEPTH, 1}));
  EXPECT_EQ(capacities(), std::vector<uint32_t>(kStacks, 17));
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 1));
  pop();
  expectStream(Stream().add(kPopAttrib));
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 0));
  push(~0u);
  expectStream(Stream().add(kPushAttrib, ~0u));
  EXPECT_EQ(host.submissions.size(), 1u);
}

// Each bit of a mask pushes and pops its own group and no other; bits without a group count for the masks alone.
TEST_F(AttribStacks, EachBitIsOneGroup) {
  constexpr GLbitfield kBits[kStacks - 1] = {
      GL_DEPTH_BUFFER_BIT, GL_LIGHTING_BIT,  GL_VIEWPORT_BIT,   GL_FOG_BIT,  GL_POLYGON_BIT,     GL_TEXTURE_BIT, GL_LINE_BIT,
      GL_COLOR_BUFFER_BIT, GL_TRANSFORM_BIT, GL_PIXEL_MODE_BIT, GL_LIST_BIT, GL_MULTISAMPLE_BIT, GL_ENABLE_BIT};
  GLbitfield known = 0;
  for (uint32_t i = 0; i + 1 < kStacks; ++i) {
    push(kBits[i]);
    std::vector<uint32_t> expected(kStacks);
    expected[0] = expected[i + 1] = 1;
    EXPECT_EQ(tops(), expected) << std::hex << kBits[i];
    pop();
    EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks)) << std::hex << kBits[i];
    known |= kBits[i];
  }
  push(~known);
  std::vector<uint32_t> expected(kStacks);
  expected[0] = 1;
  EXPECT_EQ(tops(), expected);
  EXPECT_EQ(context().attribMasks.elements[0], ~known);
}

// A pop takes the groups of its own push and leaves those of the pushes around it.
TEST_F(AttribStacks, NestedPushesKeepTheirGroups) {
  push(~0u);
  for (uint32_t bit = 0; bit < 32; ++bit) {
    push(1u << bit);
    pop();
    EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 1)) << bit;
  }
  pop();
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 0));
}

// Sixteen pushes fit. One more changes nothing and is no error of the guest's; the pop that belongs to it is the one that counts.
TEST_F(AttribStacks, PushesBeyondTheLimitAreIgnored) {
  QV_CALL(glEnable)(GL_LIGHTING);
  for (int i = 0; i < 17; ++i) push(GL_LIGHTING_BIT);
  EXPECT_EQ(context().lighting.top, 16u);
  EXPECT_EQ(context().attribMasks.top, 16u);
  EXPECT_EQ(takeError(), 0u);
  for (int i = 0; i < 17; ++i) pop();
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 0));
  EXPECT_TRUE(isOn(GL_LIGHTING));
  EXPECT_EQ(takeError(), 0u);
}

// A pop of empty stacks takes the mask that element 0 happens to hold and makes the copies of its groups all the same.
TEST_F(AttribStacks, UnderflowUsesTheFirstElements) {
  pop();
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 0));
  push(GL_ENABLE_BIT);
  pop();
  drop();
  EXPECT_EQ(context().attribMasks.elements[0], static_cast<uint32_t>(GL_ENABLE_BIT));
  context().lighting.current().lightingEnabled = 1;  // out of step with the enable group
  pop();
  expectStream(Stream().add(kPopAttrib));
  EXPECT_EQ(context().lighting.current().lightingEnabled, 0);
  EXPECT_EQ(context().enables.top, 0u);
  // With its own group too, the field goes into the enable group first.
  push(GL_ENABLE_BIT | GL_LIGHTING_BIT);
  pop();
  context().lighting.current().lightingEnabled = 1;
  pop();
  EXPECT_EQ(context().lighting.current().lightingEnabled, 1);
  EXPECT_EQ(flag(GL_LIGHTING), 1);
  EXPECT_EQ(takeError(), 0u);
}

struct CapabilityCase {
  GLenum capability;
  GLbitfield group;
};
constexpr CapabilityCase kCapabilityCases[] = {
    {GL_ALPHA_TEST, GL_COLOR_BUFFER_BIT},
    {GL_BLEND, GL_COLOR_BUFFER_BIT},
    {GL_LINE_STIPPLE, GL_LINE_BIT},
    {GL_LINE_SMOOTH, GL_LINE_BIT},
    {GL_LIGHTING, GL_LIGHTING_BIT},
    {GL_LIGHT0, GL_LIGHTING_BIT},
    {GL_LIGHT1, GL_LIGHTING_BIT},
    {GL_LIGHT2, GL_LIGHTING_BIT},
    {GL_LIGHT3, GL_LIGHTING_BIT},
    {GL_LIGHT4, GL_LIGHTING_BIT},
    {GL_LIGHT5, GL_LIGHTING_BIT},
    {GL_LIGHT6, GL_LIGHTING_BIT},
    {GL_LIGHT7, GL_LIGHTING_BIT},
    {GL_COLOR_MATERIAL, GL_LIGHTING_BIT},
    {GL_NORMALIZE, GL_TRANSFORM_BIT},
    {GL_DEPTH_TEST, GL_DEPTH_BUFFER_BIT},
    {GL_FOG, GL_FOG_BIT},
    {GL_CULL_FACE, GL_POLYGON_BIT},
    {GL_POLYGON_SMOOTH, GL_POLYGON_BIT},
    {GL_POLYGON_STIPPLE, GL_POLYGON_BIT},
    {GL_POLYGON_OFFSET_FILL, GL_POLYGON_BIT},
    {GL_POLYGON_OFFSET_LINE, GL_POLYGON_BIT},
    {GL_POLYGON_OFFSET_POINT, GL_POLYGON_BIT},
    {GL_MULTISAMPLE, GL_MULTISAMPLE_BIT},
    {GL_TEXTURE_1D, GL_TEXTURE_BIT},
    {GL_TEXTURE_2D, GL_TEXTURE_BIT},
    {GL_TEXTURE_3D, GL_TEXTURE_BIT},
    {GL_TEXTURE_CUBE_MAP, GL_TEXTURE_BIT},
    {GL_TEXTURE_RECTANGLE, GL_TEXTURE_BIT},
};

// A capability comes back from its own group, from the enable group and from both, on or off, on every texture unit, and its two
// homes agree then; a push of other groups does not bring it back.
TEST_F(AttribStacks, EveryCapabilityComesBackInBothHomes) {
  for (const auto& [capability, group] : kCapabilityCases) {
    const uint32_t units = group == GL_TEXTURE_BIT ? 16 : 1;
    for (uint32_t unit = 0; unit < units; ++unit) {
      QV_CALL(glActiveTexture)(GL_TEXTURE0 + unit);
      for (const GLbitfield mask : {group, GLbitfield{GL_ENABLE_BIT}, group | GL_ENABLE_BIT}) {
        for (const bool on : {true, false}) {
          SCOPED_TRACE(testing::Message() << std::hex << capability << " unit " << unit << " mask " << mask << " on " << on);
          (on ? QV_CALL(glEnable) : QV_CALL(glDisable))(capability);
          push(mask);
          (on ? QV_CALL(glDisable) : QV_CALL(glEnable))(capability);
          EXPECT_EQ(isOn(capability), !on);
          pop();
          EXPECT_EQ(isOn(capability), on);
          EXPECT_EQ(flag(capability), on);
        }
      }
      push(~(group | GL_ENABLE_BIT));
      const bool before = isOn(capability);
      (before ? QV_CALL(glDisable) : QV_CALL(glEnable))(capability);
      pop();
      EXPECT_EQ(isOn(capability), !before) << std::hex << capability;
    }
  }
}

// The enable group is restored last: its values win over those that another group has brought back.
TEST_F(AttribStacks, EnableGroupWins) {
  push(GL_LIGHTING_BIT | GL_ENABLE_BIT);
  context().lighting.elements[0].lightingEnabled = 1;
  pop();
  EXPECT_FALSE(isOn(GL_LIGHTING));
  EXPECT_EQ(flag(GL_LIGHTING), 0);
}

// The values of the groups come back.
TEST_F(AttribStacks, ValuesComeBack) {
  QV_CALL(glViewport)(1, 2, 3, 4);
  QV_CALL(glDepthRange)(0.25, 0.5);
  QV_CALL(glDepthFunc)(GL_ALWAYS);
  QV_CALL(glShadeModel)(GL_FLAT);
  QV_CALL(glCullFace)(GL_FRONT);
  QV_CALL(glFogf)(GL_FOG_DENSITY, 3.0f);
  QV_CALL(glBlendFunc)(GL_ONE, GL_ONE);
  QV_CALL(glListBase)(7);
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, 5);
  push(~0u);
  QV_CALL(glViewport)(5, 6, 7, 8);
  QV_CALL(glDepthRange)(0.0, 1.0);
  QV_CALL(glDepthFunc)(GL_LESS);
  QV_CALL(glShadeModel)(GL_SMOOTH);
  QV_CALL(glCullFace)(GL_BACK);
  QV_CALL(glFogf)(GL_FOG_DENSITY, 4.0f);
  QV_CALL(glBlendFunc)(GL_ZERO, GL_ZERO);
  QV_CALL(glListBase)(8);
  QV_CALL(glBindTexture)(GL_TEXTURE_2D, 6);
  pop();
  EXPECT_EQ(context().viewport.current().x, 1);
  EXPECT_EQ(context().viewport.current().height, 4);
  EXPECT_EQ(context().viewport.current().nearValue, 0.25);
  EXPECT_EQ(context().depth.current().func, static_cast<uint32_t>(GL_ALWAYS));
  EXPECT_EQ(context().lighting.current().shadeModel, static_cast<uint32_t>(GL_FLAT));
  EXPECT_EQ(context().polygon.current().cullMode, static_cast<uint32_t>(GL_FRONT));
  EXPECT_EQ(context().fog.current().density, 3.0f);
  EXPECT_EQ(context().colorBuffer.current().blendSrc, static_cast<uint32_t>(GL_ONE));
  EXPECT_EQ(context().list.current().listBase, 7u);
  EXPECT_EQ(context().texture.current().units[0].binding2D, 5u);
}

// The transform group brings back the matrix stack that is in force.
TEST_F(AttribStacks, TransformGroupBringsTheMatrixStackBack) {
  push(GL_TRANSFORM_BIT);
  QV_CALL(glMatrixMode)(GL_PROJECTION);
  EXPECT_EQ(context().currentMatrixStack, &context().projection);
  pop();
  EXPECT_EQ(context().currentMatrixStack, &context().modelview);
  EXPECT_EQ(context().transform.current().matrixMode, static_cast<uint32_t>(GL_MODELVIEW));
}

// The texture group brings back the active unit, and with GL_TEXTURE as matrix mode the matrix stack follows it; a unit beyond
// the sixteen of the shadow is left alone.
TEST_F(AttribStacks, TextureGroupBringsTheUnitBack) {
  QV_CALL(glMatrixMode)(GL_TEXTURE);
  QV_CALL(glActiveTexture)(GL_TEXTURE3);
  push(GL_TEXTURE_BIT);
  QV_CALL(glActiveTexture)(GL_TEXTURE5);
  EXPECT_EQ(context().currentMatrixStack, context().textureMatrices[5]);
  pop();
  EXPECT_EQ(context().activeTextureUnit, 3u);
  EXPECT_EQ(context().currentMatrixStack, context().textureMatrices[3]);
  push(GL_TEXTURE_BIT);
  context().texture.elements[0].activeUnit = 16;
  QV_CALL(glActiveTexture)(GL_TEXTURE5);
  pop();
  EXPECT_EQ(context().activeTextureUnit, 5u);
}

// Neither the draw buffer nor capabilities without a group come back.
TEST_F(AttribStacks, DrawBufferAndProgramsDoNotComeBack) {
  push(~0u);
  QV_CALL(glDrawBuffer)(GL_FRONT);
  QV_CALL(glEnable)(GL_VERTEX_PROGRAM_ARB);
  QV_CALL(glEnable)(GL_PRIMITIVE_RESTART);
  pop();
  EXPECT_EQ(context().drawBufferMode, static_cast<uint32_t>(GL_FRONT));
  EXPECT_EQ(context().vertexProgramEnabled, 1);
  EXPECT_EQ(context().restartEnabled, 1);
}

// While a list is compiled pushes and pops leave the stacks as they are.
TEST_F(AttribStacks, CompiledPushesDoNothing) {
  QV_CALL(glNewList)(1, GL_COMPILE);
  push(~0u);
  QV_CALL(glEndList)();
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 0));
  EXPECT_TRUE(host.submissions.empty());
}

// Without an answer of the host nothing is saved, and pops find the only elements.
TEST_F(AttribStacks, FailingHostLeavesTheStacks) {
  host = {};
  push(~0u);
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 0));
  EXPECT_EQ(capacities(), std::vector<uint32_t>(kStacks, 1));
  pop();
  EXPECT_EQ(tops(), std::vector<uint32_t>(kStacks, 0));
}

}  // namespace
}  // namespace qv::test
