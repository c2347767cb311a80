// The attribute stacks: what of the shadow a push saves and a pop brings back.
#include "driver/calls/attrib_stacks.h"

#include <cstring>

#include "driver/queries/limit_cache.h"
#include "driver/state/capabilities.h"
#include "driver/state/matrix.h"

namespace qv {
namespace {

// Every capability outside texture units that has two homes, and the group of its field. Others do not come back: required oddity
// 135.
constexpr struct {
  GLbitfield group;
  GLenum capability;
} kCapabilities[] = {
    {GL_COLOR_BUFFER_BIT, GL_ALPHA_TEST},
    {GL_COLOR_BUFFER_BIT, GL_BLEND},
    {GL_LINE_BIT, GL_LINE_STIPPLE},
    {GL_LINE_BIT, GL_LINE_SMOOTH},
    {GL_LIGHTING_BIT, GL_LIGHTING},
    {GL_LIGHTING_BIT, GL_LIGHT0},
    {GL_LIGHTING_BIT, GL_LIGHT1},
    {GL_LIGHTING_BIT, GL_LIGHT2},
    {GL_LIGHTING_BIT, GL_LIGHT3},
    {GL_LIGHTING_BIT, GL_LIGHT4},
    {GL_LIGHTING_BIT, GL_LIGHT5},
    {GL_LIGHTING_BIT, GL_LIGHT6},
    {GL_LIGHTING_BIT, GL_LIGHT7},
    {GL_LIGHTING_BIT, GL_COLOR_MATERIAL},
    {GL_TRANSFORM_BIT, GL_NORMALIZE},
    {GL_DEPTH_BUFFER_BIT, GL_DEPTH_TEST},
    {GL_FOG_BIT, GL_FOG},
    {GL_POLYGON_BIT, GL_CULL_FACE},
    {GL_POLYGON_BIT, GL_POLYGON_SMOOTH},
    {GL_POLYGON_BIT, GL_POLYGON_STIPPLE},
    {GL_POLYGON_BIT, GL_POLYGON_OFFSET_FILL},
    {GL_POLYGON_BIT, GL_POLYGON_OFFSET_LINE},
    {GL_POLYGON_BIT, GL_POLYGON_OFFSET_POINT},
    {GL_MULTISAMPLE_BIT, GL_MULTISAMPLE},
};
static_assert(std::size(kCapabilities) == EnableState::kFirstUnit);
static_assert(sizeof(TextureUnitRecord::enabled) == EnableState::kPerUnit);

uint8_t* unitFlags(GlContext* context, uint32_t unit) {
  return context->enables.current().flags + EnableState::kFirstUnit + EnableState::kPerUnit * unit;
}

// The capabilities of these groups become what the fields of the groups say, in the enable group too.
void takeFromFields(GlContext* context, GLbitfield groups) {
  EnableState& enables = context->enables.current();
  for (const auto& [group, capability] : kCapabilities) {
    if ((groups & group) == 0) continue;
    const CapabilityHome home = capabilityHome(context, capability);
    enables.flags[home.flag] = *home.field;
  }
  if ((groups & GL_TEXTURE_BIT) == 0) return;
  for (uint32_t unit = 0; unit < kTextureUnits; ++unit)
    std::memcpy(unitFlags(context, unit), context->texture.current().units[unit].enabled, EnableState::kPerUnit);
}

// All capabilities become what the enable group says.
void takeFromEnables(GlContext* context) {
  const EnableState& enables = context->enables.current();
  for (const auto& each : kCapabilities) {
    const CapabilityHome home = capabilityHome(context, each.capability);
    *home.field = enables.flags[home.flag];
  }
  for (uint32_t unit = 0; unit < kTextureUnits; ++unit)
    std::memcpy(context->texture.current().units[unit].enabled, unitFlags(context, unit), EnableState::kPerUnit);
}

}  // namespace

void pushAttributes(GlContext* context, GLbitfield mask) {
  context->attribMasks.current() = mask;
  context->attribMasks.push(queryStackLimit);
  const auto push = [mask](GLbitfield group, auto& stack) {
    if ((mask & group) != 0) stack.push(queryStackLimit);
  };
  push(GL_DEPTH_BUFFER_BIT, context->depth);
  push(GL_LIGHTING_BIT, context->lighting);
  push(GL_VIEWPORT_BIT, context->viewport);
  push(GL_FOG_BIT, context->fog);
  push(GL_POLYGON_BIT, context->polygon);
  push(GL_TEXTURE_BIT, context->texture);
  push(GL_LINE_BIT, context->line);
  push(GL_COLOR_BUFFER_BIT, context->colorBuffer);
  push(GL_TRANSFORM_BIT, context->transform);
  push(GL_PIXEL_MODE_BIT, context->pixelGroup);
  push(GL_LIST_BIT, context->list);
  push(GL_MULTISAMPLE_BIT, context->multisample);
  push(GL_ENABLE_BIT, context->enables);
}

void popAttributes(GlContext* context) {
  context->attribMasks.pop();
  const GLbitfield mask = context->attribMasks.current();
  const auto pop = [mask](GLbitfield group, auto& stack) {
    if ((mask & group) != 0) stack.pop();
  };
  pop(GL_DEPTH_BUFFER_BIT, context->depth);
  pop(GL_LIGHTING_BIT, context->lighting);
  pop(GL_VIEWPORT_BIT, context->viewport);
  pop(GL_FOG_BIT, context->fog);
  pop(GL_POLYGON_BIT, context->polygon);
  pop(GL_TEXTURE_BIT, context->texture);
  pop(GL_LINE_BIT, context->line);
  pop(GL_COLOR_BUFFER_BIT, context->colorBuffer);
  pop(GL_TRANSFORM_BIT, context->transform);
  pop(GL_PIXEL_MODE_BIT, context->pixelGroup);
  pop(GL_LIST_BIT, context->list);
  pop(GL_MULTISAMPLE_BIT, context->multisample);
  if ((mask & GL_TEXTURE_BIT) != 0 && context->texture.current().activeUnit < kTextureUnits)
    context->activeTextureUnit = context->texture.current().activeUnit;
  // The matrix stack in force is that of the mode, and of the unit if the mode is GL_TEXTURE.
  if ((mask & (GL_TEXTURE_BIT | GL_TRANSFORM_BIT)) != 0) setMatrixMode(context, context->transform.current().matrixMode);
  takeFromFields(context, mask);
  if ((mask & GL_ENABLE_BIT) == 0) return;
  // Last, so that the capabilities of the enable group win over those of the other groups.
  context->enables.pop();
  takeFromEnables(context);
}

}  // namespace qv
