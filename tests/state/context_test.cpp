// The context record: every default, the limits that a make-current fetches, and teardown.
#include <cmath>

#include "driver/queries/limit_cache.h"
#include "driver/state/shared_objects.h"
#include "harness.h"

namespace qv::test {
namespace {

class ContextRecordTest : public StateTest {
 protected:
  // The pnames that a make-current asked the host for, in order.
  std::vector<uint32_t> asked() {
    host.submissions.clear();
    warmLimits(c.get());
    std::vector<uint32_t> names;
    for (const Submission& each : host.submissions) {
      for (const Command& command : each.commands()) {
        EXPECT_EQ(command.opcode, kGetIntegerv);
        EXPECT_EQ(command.words.at(1), 1u);
        names.push_back(command.words.at(0));
      }
    }
    return names;
  }
};

constexpr uint32_t kTexUnits = GL_MAX_TEXTURE_UNITS, kImageUnits = GL_MAX_TEXTURE_IMAGE_UNITS, kTexCoords = GL_MAX_TEXTURE_COORDS,
                   kBinaryFormats = GL_NUM_SHADER_BINARY_FORMATS, kFeedback = GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS,
                   kUniform = GL_MAX_UNIFORM_BUFFER_BINDINGS, kAtomic = GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS,
                   kStorage = GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS;

// A new context has these values in the fields that are no attribute group.
TEST_F(ContextRecordTest, FieldsHaveTheirDefaults) {
  EXPECT_EQ(c->lastOpcode, -1);
  EXPECT_EQ(c->base, nullptr);
  EXPECT_EQ(c->capacity, 0u);
  EXPECT_EQ(c->remaining, 0u);
  EXPECT_EQ(c->nextSharer, c.get());
  EXPECT_EQ(c->debugLog, nullptr);
  EXPECT_EQ(c->pixelFormatIndex, 1);
  EXPECT_EQ(c->hostContextId, 0u);
  EXPECT_EQ(c->hostWindowId, 0u);
  EXPECT_EQ(c->window, nullptr);
  EXPECT_EQ(c->deviceContext, nullptr);
  EXPECT_EQ(c->swapInterval, -1);
  EXPECT_EQ(c->runOpen, 0);
  EXPECT_EQ(c->runStart, ~uint64_t{0});
  EXPECT_EQ(c->runSlotCount, 0u);
  EXPECT_EQ(c->runStride, 0u);
  EXPECT_EQ(c->runSlotIndex, 0u);
  EXPECT_EQ(c->runLayoutFixed, 0);
  for (const uint32_t signature : c->runSignature) EXPECT_EQ(signature, 0u);
  static_assert(sizeof(c->runSignature) == 17 * 4 && sizeof(c->runTemplate) == 512);
  for (const PixelStoreHalf* const half : {&c->pixelStore.unpack, &c->pixelStore.pack}) {
    EXPECT_EQ(half->alignment, 4);
    EXPECT_EQ(half->rowLength, 0);
    EXPECT_EQ(half->imageHeight, 0);
    EXPECT_EQ(half->skipPixels, 0);
    EXPECT_EQ(half->skipRows, 0);
    EXPECT_EQ(half->skipImages, 0);
    EXPECT_EQ(half->swapBytes, 0);
    EXPECT_EQ(half->lsbFirst, 0);
  }
  EXPECT_EQ(c->restartEnabled, 0);
  EXPECT_EQ(c->restartIndex, 0u);
  EXPECT_EQ(c->nvRestartEnabled, 0);
  EXPECT_EQ(c->nvRestartIndex, 0u);
  EXPECT_EQ(c->lockedFirst, -1);
  EXPECT_EQ(c->lockedCount, 0);
  EXPECT_EQ(c->clientAttribDepth, 0);
  EXPECT_EQ(c->clientAttribTop, nullptr);
  EXPECT_EQ(c->selectionBufferSize, 0);
  EXPECT_EQ(c->selectionBuffer, nullptr);
  EXPECT_EQ(c->feedbackBufferSize, 0);
  EXPECT_EQ(c->feedbackBuffer, nullptr);
  EXPECT_EQ(c->renderMode, static_cast<uint32_t>(GL_RENDER));
  EXPECT_EQ(c->recordedError, 0u);
  EXPECT_EQ(c->frontDirty, 0);
  EXPECT_EQ(c->clientActiveUnit, 0u);
  EXPECT_EQ(c->activeTextureUnit, 0u);
  EXPECT_EQ(c->lastHostError, 0u);
  EXPECT_EQ(c->flushCount, 0u);
  ASSERT_NE(c->shareGroup, nullptr);
  EXPECT_EQ(c->deferredDeletes.count, 0u);
  EXPECT_EQ(c->deferredDeletes.capacity, 32u);
  EXPECT_EQ(c->beginPrimitive, 0u);
  EXPECT_EQ(c->insideBegin, 0);
  EXPECT_EQ(c->currentProgram, 0u);
  EXPECT_EQ(c->boundPipeline, 0u);
  EXPECT_EQ(c->vertexProgramEnabled, 0);
  EXPECT_EQ(c->fragmentProgramEnabled, 0);
  EXPECT_EQ(c->listMode, 0u);
  EXPECT_EQ(c->recordingList, nullptr);
  EXPECT_EQ(c->listDepth, 0);
  EXPECT_EQ(c->vertexArrayTable.capacity, 256u);
  EXPECT_EQ(c->queryTable.capacity, 256u);
  EXPECT_EQ(c->boundVertexArray, 0u);
  EXPECT_EQ(c->drawFramebuffer, 0u);
  EXPECT_EQ(c->readFramebuffer, 0u);
  EXPECT_EQ(c->contextVersion, 450);
  EXPECT_EQ(c->compatibilityProfile, 1);
  EXPECT_EQ(currentVertexArray(c.get()), &c->defaultVertexArray);
}

// The indexed bindings are 8, 128, 15 and 80 names, 231 words, all 0.
TEST_F(ContextRecordTest, IndexedBindingsStartAsZero) {
  const BufferBindings& b = c->buffers;
  static_assert(std::size(BufferBindings{}.indexedTransformFeedback) == 8);
  static_assert(std::size(BufferBindings{}.indexedUniform) == 128);
  static_assert(std::size(BufferBindings{}.indexedAtomicCounter) == 15);
  static_assert(std::size(BufferBindings{}.indexedShaderStorage) == 80);
  static_assert(offsetof(BufferBindings, indexedUniform) - offsetof(BufferBindings, indexedTransformFeedback) == 8 * 4);
  static_assert(offsetof(BufferBindings, indexedAtomicCounter) - offsetof(BufferBindings, indexedUniform) == 128 * 4);
  static_assert(offsetof(BufferBindings, indexedShaderStorage) - offsetof(BufferBindings, indexedAtomicCounter) == 15 * 4);
  for (const uint32_t name : b.indexedTransformFeedback) EXPECT_EQ(name, 0u);
  for (const uint32_t name : b.indexedUniform) EXPECT_EQ(name, 0u);
  for (const uint32_t name : b.indexedAtomicCounter) EXPECT_EQ(name, 0u);
  for (const uint32_t name : b.indexedShaderStorage) EXPECT_EQ(name, 0u);
}

// Every limit starts as unknown.
TEST_F(ContextRecordTest, LimitsStartAsUnknown) {
  const LimitCache& l = c->limits;
  for (const int32_t limit : {l.maxLights, l.maxAttribStackDepth, l.maxModelviewStackDepth, l.maxProjectionStackDepth,
                              l.maxTextureStackDepth, l.maxColorMatrixStackDepth, l.maxTextureUnits, l.maxTextureImageUnits,
                              l.maxTextureCoords, l.maxColorAttachments, l.maxViewports}) {
    EXPECT_EQ(limit, 0);
  }
  for (const int32_t limit : {l.numShaderBinaryFormats, l.maxTransformFeedbackSeparateAttribs, l.maxUniformBufferBindings,
                              l.maxAtomicCounterBufferBindings, l.maxShaderStorageBufferBindings, l.maxVertexAttribBindings,
                              l.maxVertexAttribRelativeOffset}) {
    EXPECT_EQ(limit, -1);
  }
}

template <typename T>
void expectStack(const StateStack<T>& stack, uint32_t limit) {
  EXPECT_EQ(stack.top, 0u);
  EXPECT_EQ(stack.capacity, 1u);
  EXPECT_EQ(stack.limitPname, limit);
}

// Every stack starts with one element and knows where its limit comes from.
TEST_F(ContextRecordTest, StacksStartWithOneElement) {
  constexpr uint32_t kAttrib = GL_MAX_ATTRIB_STACK_DEPTH;
  expectStack(c->depth, kAttrib);
  expectStack(c->viewport, kAttrib);
  expectStack(c->lighting, kAttrib);
  expectStack(c->enables, kAttrib);
  expectStack(c->fog, kAttrib);
  expectStack(c->polygon, kAttrib);
  expectStack(c->texture, kAttrib);
  expectStack(c->line, kAttrib);
  expectStack(c->colorBuffer, kAttrib);
  expectStack(c->transform, kAttrib);
  expectStack(c->pixelGroup, kAttrib);
  expectStack(c->list, kAttrib);
  expectStack(c->multisample, kAttrib);
  expectStack(c->attribMasks, kAttrib);
  expectStack(c->modelview, GL_MAX_MODELVIEW_STACK_DEPTH);
  expectStack(c->projection, GL_MAX_PROJECTION_STACK_DEPTH);
  expectStack(c->color, GL_MAX_COLOR_MATRIX_STACK_DEPTH);
  for (const MatrixStack* const stack : c->textureMatrices) expectStack(*stack, GL_MAX_TEXTURE_STACK_DEPTH);
  EXPECT_EQ(c->currentMatrixStack, &c->modelview);
}

void expectGroupDefaults(GlContext& g) {
  EXPECT_EQ(g.depth.current().testEnabled, 0);
  EXPECT_EQ(g.depth.current().func, static_cast<uint32_t>(GL_LESS));
  EXPECT_EQ(g.depth.current().clearValue, 1.0);
  EXPECT_EQ(g.depth.current().writeMask, 1);
  EXPECT_EQ(g.viewport.current().x, 0);
  EXPECT_EQ(g.viewport.current().y, 0);
  EXPECT_EQ(g.viewport.current().width, -1);
  EXPECT_EQ(g.viewport.current().height, -1);
  EXPECT_EQ(g.viewport.current().nearValue, 0.0);
  EXPECT_EQ(g.viewport.current().farValue, 1.0);
  EXPECT_EQ(g.lighting.current().lightingEnabled, 0);
  for (const uint8_t light : g.lighting.current().lightEnabled) EXPECT_EQ(light, 0);
  EXPECT_EQ(g.lighting.current().shadeModel, static_cast<uint32_t>(GL_SMOOTH));
  EXPECT_EQ(g.lighting.current().colorMaterialEnabled, 0);
  static_assert(sizeof(EnableState) == 104);
  for (uint32_t i = 0; i < 104; ++i) EXPECT_EQ(g.enables.current().flags[i], i == 23 ? 1 : 0) << i;
  EXPECT_EQ(g.fog.current().enabled, 0);
  for (const float channel : g.fog.current().color) EXPECT_EQ(channel, 0.0f);
  EXPECT_EQ(g.fog.current().start, 0.0f);
  EXPECT_EQ(g.fog.current().end, 1.0f);
  EXPECT_EQ(g.fog.current().density, 1.0f);
  EXPECT_EQ(g.fog.current().mode, static_cast<uint32_t>(GL_EXP));
  EXPECT_EQ(g.fog.current().coordinateSource, static_cast<uint32_t>(GL_FRAGMENT_DEPTH));
  const PolygonState& polygon = g.polygon.current();
  EXPECT_EQ(polygon.cullEnabled, 0);
  EXPECT_EQ(polygon.cullMode, static_cast<uint32_t>(GL_BACK));
  EXPECT_EQ(polygon.frontFace, static_cast<uint32_t>(GL_CCW));
  EXPECT_EQ(polygon.frontMode, static_cast<uint32_t>(GL_FILL));
  EXPECT_EQ(polygon.backMode, static_cast<uint32_t>(GL_FILL));
  EXPECT_EQ(polygon.smooth | polygon.stipple | polygon.offsetFill | polygon.offsetLine | polygon.offsetPoint, 0);
  EXPECT_EQ(polygon.offsetFactor, 0.0f);
  EXPECT_EQ(polygon.offsetUnits, 0.0f);
  EXPECT_EQ(g.texture.current().activeUnit, 0u);
  static_assert(std::size(TextureState{}.units) == 16);
  for (TextureUnitRecord& unit : g.texture.current().units) {
    for (const uint8_t enabled : unit.enabled) EXPECT_EQ(enabled, 0);
    for (uint32_t target = 0; target < TextureUnitRecord::kTargets; ++target) EXPECT_EQ(unit.binding(target), 0u);
  }
  EXPECT_EQ(g.line.current().stippleEnabled, 0);
  EXPECT_EQ(g.line.current().smoothEnabled, 0);
  const ColorBufferState& colorBuffer = g.colorBuffer.current();
  EXPECT_EQ(colorBuffer.alphaTestEnabled, 0);
  EXPECT_EQ(colorBuffer.blendEnabled, 0);
  EXPECT_EQ(colorBuffer.blendSrc, 1u);
  EXPECT_EQ(colorBuffer.blendSrcRgb, 1u);
  EXPECT_EQ(colorBuffer.blendSrcAlpha, 1u);
  EXPECT_EQ(colorBuffer.blendDstRgb, 0u);
  EXPECT_EQ(colorBuffer.blendDstAlpha, 0u);
  EXPECT_EQ(g.transform.current().normalizeEnabled, 0);
  EXPECT_EQ(g.transform.current().matrixMode, static_cast<uint32_t>(GL_MODELVIEW));
  EXPECT_EQ(g.list.current().listBase, 0u);
  EXPECT_EQ(g.multisample.current().enabled, 1);
}

// The attribute groups of a new context have their defaults.
TEST_F(ContextRecordTest, GroupsHaveTheirDefaults) { expectGroupDefaults(*c); }

// Elements that growth adds get the same defaults, and the push copies over them.
TEST_F(ContextRecordTest, GrownElementsHaveTheDefaults) {
  host.answer<int32_t>(GL_MAX_ATTRIB_STACK_DEPTH, {16});
  c->depth.current().func = GL_ALWAYS;
  EXPECT_TRUE(c->depth.push(queryStackLimit));
  EXPECT_EQ(c->depth.capacity, 17u);
  EXPECT_EQ(c->depth.top, 1u);
  EXPECT_EQ(c->depth.current().func, static_cast<uint32_t>(GL_ALWAYS));
  EXPECT_EQ(c->depth.elements[2].func, static_cast<uint32_t>(GL_LESS));
  EXPECT_EQ(c->depth.elements[2].clearValue, 1.0);
  EXPECT_TRUE(c->multisample.push(queryStackLimit));
  EXPECT_EQ(c->multisample.elements[16].enabled, 1);
  // The limit is in the cache by now: one round trip for both.
  EXPECT_EQ(host.submissions.size(), 1u);
}

// A host without a limit, or with a wild one, leaves the stack at its one element.
TEST_F(ContextRecordTest, StackOfAHostWithoutALimitStaysAtOneElement) {
  EXPECT_FALSE(c->depth.push(queryStackLimit));
  EXPECT_EQ(c->depth.top, 0u);
  host.answer<int32_t>(GL_MAX_ATTRIB_STACK_DEPTH, {-7});
  EXPECT_FALSE(c->depth.push(queryStackLimit));
  host.answer<int32_t>(GL_MAX_ATTRIB_STACK_DEPTH, {INT32_MAX});
  c->limits.maxAttribStackDepth = 0;
  EXPECT_FALSE(c->depth.push(queryStackLimit));
  EXPECT_EQ(c->depth.capacity, 1u);
}

// The draw buffer of a new context is the back buffer of a double-buffered format, else the front buffer.
TEST_F(ContextRecordTest, DrawBufferFollowsThePixelFormat) {
  for (int32_t format = 1; format <= 14; ++format) {
    remake(210, 1, format);
    EXPECT_EQ(c->drawBufferMode, (pixelFormat(format).dwFlags & 1) != 0 ? GL_BACK : GL_FRONT) << format;
  }
}

// The profile's outcome is in force at the end of construction.
TEST_F(ContextRecordTest, QuirksAreApplied) {
  EXPECT_EQ(c->quirkFlags, 36u);
  remake(210);
  EXPECT_EQ(c->quirkFlags, 4u);
}

// The vertex array that is in force with no name bound has its defaults in every row.
TEST_F(ContextRecordTest, DefaultVertexArrayHasItsDefaults) {
  VertexArrayObject& v = c->defaultVertexArray;
  constexpr uint32_t kSizes[16] = {4, 4, 3, 4, 3, 1, 1, 1, 4, 4, 4, 4, 4, 4, 4, 4};
  constexpr uint32_t kBytes[16] = {16, 16, 12, 16, 12, 4, 4, 1, 16, 16, 16, 16, 16, 16, 16, 16};
  EXPECT_EQ(v.elementArrayBuffer, 0u);
  EXPECT_EQ(v.label, nullptr);
  for (uint32_t row = 0; row < 16; ++row) {
    for (VertexAttribRecord* const attrib : {&v.conventional[row], &v.generic[row]}) {
      const bool generic = attrib == &v.generic[row];
      EXPECT_EQ(attrib->size, generic ? 4 : kSizes[row]) << row;
      EXPECT_EQ(attrib->type, !generic && row == 7 ? GL_UNSIGNED_BYTE : GL_FLOAT) << row;
      EXPECT_EQ(attrib->elementSize, generic ? 16 : kBytes[row]) << row;
      EXPECT_EQ(attrib->enabled, 0);
      EXPECT_EQ(attrib->pointer, 0u);
      EXPECT_EQ(attrib->stride, 0u);
      EXPECT_EQ(attrib->relativeOffset, 0u);
      EXPECT_EQ(attrib->normalized | attrib->isInteger | attrib->isLong, 0);
      EXPECT_EQ(attrib->index, row);
      EXPECT_EQ(attrib->bindingIndex, row);
      EXPECT_EQ(attrib->isGeneric, generic ? 1 : 0);
      EXPECT_EQ(attrib->owner, &v);
      EXPECT_EQ(&v.bindingOf(*attrib), &v.bindings[generic ? 16 + row : row]);
      EXPECT_EQ(v.bindingOf(*attrib).stride, attrib->elementSize);
      EXPECT_EQ(v.bindingOf(*attrib).offset, 0u);
      EXPECT_EQ(v.bindingOf(*attrib).buffer, 0u);
      EXPECT_EQ(v.bindingOf(*attrib).divisor, 0u);
    }
  }
}

// A bound name selects its record, a bound name without a record the default one.
TEST_F(ContextRecordTest, BoundNameSelectsItsVertexArray) {
  c->boundVertexArray = 5;
  EXPECT_EQ(currentVertexArray(c.get()), &c->defaultVertexArray);
  VertexArrayObject* const bound = new VertexArrayObject;
  c->vertexArrayTable.set(5, static_cast<TrackedObject*>(bound));
  EXPECT_EQ(currentVertexArray(c.get()), bound);
}

// The first make-current asks for the limits of its version, in order; the second asks for nothing that is known.
TEST_F(ContextRecordTest, MakeCurrentWarmsTheLimits) {
  const auto answerAll = [] {
    host.answer<int32_t>(kTexUnits, {8});
    host.answer<int32_t>(kImageUnits, {32});
    host.answer<int32_t>(kTexCoords, {9});
    host.answer<int32_t>(kBinaryFormats, {2});
    host.answer<int32_t>(kFeedback, {4});
    host.answer<int32_t>(kUniform, {200});
    host.answer<int32_t>(kAtomic, {20});
    host.answer<int32_t>(kStorage, {-3});
  };
  using Names = std::vector<uint32_t>;
  answerAll();
  remake(210);
  EXPECT_EQ(asked(), (Names{kTexUnits, kImageUnits, kTexCoords, kFeedback}));
  EXPECT_EQ(c->limits.maxTextureUnits, 8);
  EXPECT_EQ(c->limits.maxTextureImageUnits, 16);
  EXPECT_EQ(c->limits.maxTextureCoords, 9);
  EXPECT_EQ(c->limits.numShaderBinaryFormats, -1);
  EXPECT_EQ(c->limits.maxTransformFeedbackSeparateAttribs, 4);
  EXPECT_EQ(c->limits.maxUniformBufferBindings, 0);
  EXPECT_EQ(c->limits.maxAtomicCounterBufferBindings, -1);
  EXPECT_EQ(c->limits.maxShaderStorageBufferBindings, -1);
  EXPECT_EQ(asked(), (Names{}));

  remake(300);
  // The texture units of such a context are its image units, which are asked for first and then known.
  EXPECT_EQ(asked(), (Names{kImageUnits, kTexCoords, kBinaryFormats, kFeedback, kUniform}));
  EXPECT_EQ(c->limits.maxUniformBufferBindings, 128);
  EXPECT_EQ(c->limits.maxAtomicCounterBufferBindings, -1);
  EXPECT_EQ(asked(), (Names{}));
  EXPECT_EQ(c->limits.maxAtomicCounterBufferBindings, -1);

  remake(420);
  EXPECT_EQ(asked(), (Names{kImageUnits, kTexCoords, kBinaryFormats, kFeedback, kUniform, kAtomic}));
  EXPECT_EQ(c->limits.maxAtomicCounterBufferBindings, 15);

  remake(430);
  EXPECT_EQ(asked(), (Names{kImageUnits, kTexCoords, kBinaryFormats, kFeedback, kUniform, kAtomic, kStorage}));
  EXPECT_EQ(c->limits.maxShaderStorageBufferBindings, 0);
  EXPECT_EQ(asked(), (Names{}));
}

// A host that fails leaves zeros, which are within every array.
TEST_F(ContextRecordTest, FailingHostLeavesZeroLimits) {
  host.failing = true;
  warmLimits(c.get());
  EXPECT_EQ(c->limits.maxTextureUnits, 0);
  EXPECT_EQ(c->limits.maxTransformFeedbackSeparateAttribs, 0);
  EXPECT_EQ(c->limits.maxUniformBufferBindings, 0);
  EXPECT_EQ(c->limits.maxAtomicCounterBufferBindings, 0);
  EXPECT_EQ(c->limits.maxShaderStorageBufferBindings, 0);
}

// Destruction frees what the context's tables hold; leaks would be reported by the sanitizer.
TEST_F(ContextRecordTest, TeardownFreesEverything) {
  host.answer<int32_t>(GL_MAX_MODELVIEW_STACK_DEPTH, {32});
  c->modelview.push(queryStackLimit);
  c->vertexArrayTable.set(1, static_cast<TrackedObject*>(new VertexArrayObject));
  c->queryTable.set(1, new QueryRecord{-1, static_cast<char*>(std::malloc(4))});
  c->defaultVertexArray.label = static_cast<char*>(std::malloc(4));
  c->reserve(100);
  makeCurrent(nullptr);
  c.reset();
}

}  // namespace
}  // namespace qv::test
