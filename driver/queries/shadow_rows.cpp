// The pnames that are answered from the context's record, a row each: the lowest version that has it and its reader.
#include <algorithm>
#include <array>

#include "driver/base/pixel_formats.h"
#include "driver/diagnostics/debug_log.h"
#include "driver/diagnostics/record_error.h"
#include "driver/objects/display_list_stream.h"
#include "driver/queries/limit_cache.h"
#include "driver/queries/shadow_answer.h"
#include "driver/queries/strings.h"
#include "driver/state/shared_objects.h"

namespace qv {

namespace {

using Answer = ShadowAnswer;
using Reader = Answer (*)(GlContext* context, GLenum pname);

struct ShadowRow {
  GLenum pname;
  uint16_t minVersion;
  Reader read;
};

// Stored enums, names and bytes are widened, and what is 32 bits wide counts as signed.
template <typename T>
Answer integer(T value) {
  Answer answer;
  answer.kind = Answer::Kind::kIntegers;
  answer.values = 1;
  answer.integer[0] = sizeof(T) == 4 ? static_cast<int32_t>(value) : static_cast<int64_t>(value);
  return answer;
}

template <typename T>
Answer integers(std::initializer_list<T> values) {
  Answer answer = integer(T{});
  answer.values = answer.booleans = static_cast<uint8_t>(values.size());
  std::copy(values.begin(), values.end(), answer.integer);
  return answer;
}

// `integerScale` and `rounded` apply to the 32-bit integer form alone: required oddity 36.
Answer reals(std::initializer_list<double> values, double integerScale = 1.0, bool rounded = false) {
  Answer answer;
  answer.kind = Answer::Kind::kReals;
  answer.values = static_cast<uint8_t>(values.size());
  answer.integerScale = integerScale;
  answer.rounded = rounded;
  std::copy(values.begin(), values.end(), answer.real);
  return answer;
}

Answer nothing(uint8_t booleans) {
  Answer answer;
  answer.kind = Answer::Kind::kNothing;
  answer.booleans = booleans;
  return answer;
}

// --- readers that serve several rows ---

template <int32_t Value>
Answer constant(GlContext*, GLenum) {
  return integer(Value);
}

// A field of the context.
template <auto Field>
Answer field(GlContext* context, GLenum) {
  return integer(context->*Field);
}

// A field of a record within the context.
template <auto Record, auto Field>
Answer nested(GlContext* context, GLenum) {
  return integer(context->*Record.*Field);
}

// A field of the top element of an attribute stack.
template <auto Stack, auto Field>
Answer current(GlContext* context, GLenum) {
  return integer((context->*Stack).current().*Field);
}
template <auto Stack, auto Field>
Answer currentReal(GlContext* context, GLenum) {
  return reals({(context->*Stack).current().*Field});
}
template <auto Field>
Answer fogRounded(GlContext* context, GLenum) {
  return reals({context->fog.current().*Field}, 1.0, true);
}

template <auto Field>
Answer unpack(GlContext* context, GLenum) {
  return integer(context->pixelStore.unpack.*Field);
}
template <auto Field>
Answer pack(GlContext* context, GLenum) {
  return integer(context->pixelStore.pack.*Field);
}

template <auto Stack>
Answer depthOf(GlContext* context, GLenum) {
  return integer((context->*Stack).top + 1);
}

Answer matrix(const MatrixStack& stack) {
  Answer answer = reals({});
  answer.values = answer.booleans = 16;
  for (uint32_t i = 0; i < 16; ++i) answer.real[i] = stack.current().m[4 * (i % 4) + i / 4];
  return answer;
}
template <auto Stack>
Answer matrixOf(GlContext* context, GLenum) {
  return matrix(context->*Stack);
}

Answer textureMatrix(GlContext* context, GLenum) {
  const int32_t unit = static_cast<int32_t>(context->activeTextureUnit);
  const int32_t limit = context->limits.maxTextureCoords;
  if (unit >= limit) {
    recordError(context, GL_INVALID_OPERATION, 0, "(activeTex(%d) >= maxTexCoords(%d)) GLerror 0x%04x", unit, limit,
                GL_INVALID_OPERATION);
    return nothing(0);
  }
  return matrix(*context->textureMatrices[unit]);
}

Answer limit(GlContext* context, GLenum pname) {
  int32_t value = 0;
  return cachedLimit(context, pname, value) ? integer(value) : Answer{};
}

Answer debug(GlContext* context, GLenum pname) { return integer(debugInteger(context, pname)); }

// The row of a client array; that of the texture coordinates goes with the active client unit.
template <uint32_t Row>
const VertexAttribRecord& arrayOf(GlContext* context) {
  return currentVertexArray(context)->conventional[Row == kArrayTexCoord0 ? Row + context->clientActiveUnit : Row];
}
template <uint32_t Row>
Answer arraySize(GlContext* context, GLenum) {
  return integer(arrayOf<Row>(context).size);
}
template <uint32_t Row>
Answer arrayType(GlContext* context, GLenum) {
  return integer(arrayOf<Row>(context).type);
}
template <uint32_t Row>
Answer arrayStride(GlContext* context, GLenum) {
  return integer(arrayOf<Row>(context).stride);
}
template <uint32_t Row>
Answer arrayBuffer(GlContext* context, GLenum) {
  const VertexAttribRecord& attrib = arrayOf<Row>(context);
  return integer(attrib.owner->bindingOf(attrib).buffer);
}

Answer boundTexture(GlContext* context, GLenum pname) {
  TextureUnitRecord& unit = context->texture.current().units[context->activeTextureUnit];
  return integer(unit.binding(static_cast<uint32_t>(textureBindingByte(pname))));
}

// With a framebuffer object bound the pixel format of the window says nothing about what is drawn to.
template <auto Bits>
Answer windowBits(GlContext* context, GLenum) {
  if (context->drawFramebuffer != 0) return {};
  return integer(pixelFormat(context->pixelFormatIndex).*Bits);
}

constexpr double kColorScale = 2147483647.0;
constexpr double kDepthRangeScale = 4294967295.0 * 0.5;

// clang-format off
constexpr ShadowRow kUnsortedRows[] = {
    // Constants (required oddity 33). Below its version a name has no value count and is GL_INVALID_ENUM: required oddity 32.
    {GL_MAX_CLIENT_ATTRIB_STACK_DEPTH, 0, constant<16>},
    {GL_MAX_VERTEX_ATTRIBS, 0, constant<16>},
    {GL_NUM_PROGRAM_BINARY_FORMATS, 0, constant<0>},
    {GL_PROGRAM_BINARY_FORMATS, 0, [](GlContext*, GLenum) { return nothing(0); }},
    {GL_CONTEXT_FLAGS, 0, constant<0>},
    {GL_RESET_NOTIFICATION_STRATEGY, 0, constant<GL_NO_RESET_NOTIFICATION>},
    {GL_MAX_DEBUG_GROUP_STACK_DEPTH, 430, constant<64>},
    {GL_MAX_VERTEX_ATTRIB_STRIDE, 430, constant<2048>},
    {GL_MAX_LABEL_LENGTH, 430, constant<256>},
    {GL_MAX_COMPUTE_WORK_GROUP_INVOCATIONS, 430, constant<1024>},
    {GL_MAX_DEBUG_MESSAGE_LENGTH, 430, constant<4096>},
    {GL_MAX_DEBUG_LOGGED_MESSAGES, 430, constant<10>},

    // What the making of the context has fixed. The version need not be that of GL_VERSION: required oddity 50.
    {GL_MAJOR_VERSION, 0, [](GlContext* c, GLenum) { return integer(c->contextVersion / 100); }},
    {GL_MINOR_VERSION, 0, [](GlContext* c, GLenum) { return integer(c->contextVersion % 100 / 10); }},
    {GL_CONTEXT_PROFILE_MASK, 0, [](GlContext* c, GLenum) { return integer(c->compatibilityProfile > 0 ? 2 : 1); }},
    {GL_NUM_EXTENSIONS, 0, [](GlContext* c, GLenum) { return integer(extensionCount(c)); }},
    {GL_DOUBLEBUFFER, 0, [](GlContext* c, GLenum) { return integer(pixelFormat(c->pixelFormatIndex).dwFlags & 1); }},
    {GL_RED_BITS, 0, windowBits<&PixelFormatRecord::cRedBits>},
    {GL_GREEN_BITS, 0, windowBits<&PixelFormatRecord::cGreenBits>},
    {GL_BLUE_BITS, 0, windowBits<&PixelFormatRecord::cBlueBits>},
    {GL_ALPHA_BITS, 0, windowBits<&PixelFormatRecord::cAlphaBits>},

    // Limits, once a reply has brought them.
    {GL_MAX_LIGHTS, 0, limit},
    {GL_MAX_ATTRIB_STACK_DEPTH, 0, limit},
    {GL_MAX_MODELVIEW_STACK_DEPTH, 0, limit},
    {GL_MAX_PROJECTION_STACK_DEPTH, 0, limit},
    {GL_MAX_TEXTURE_STACK_DEPTH, 0, limit},
    {GL_MAX_COLOR_MATRIX_STACK_DEPTH, 0, limit},
    {GL_MAX_VIEWPORTS, 0, limit},
    {GL_MAX_COLOR_ATTACHMENTS, 0, limit},
    {GL_MAX_TEXTURE_COORDS, 0, limit},
    {GL_MAX_TEXTURE_IMAGE_UNITS, 0, limit},
    {GL_MAX_TEXTURE_UNITS, 0, limit},
    {GL_NUM_SHADER_BINARY_FORMATS, 0, limit},
    {GL_MAX_TRANSFORM_FEEDBACK_SEPARATE_ATTRIBS, 0, limit},
    {GL_MAX_UNIFORM_BUFFER_BINDINGS, 0, limit},
    {GL_MAX_ATOMIC_COUNTER_BUFFER_BINDINGS, 0, limit},
    {GL_MAX_SHADER_STORAGE_BUFFER_BINDINGS, 0, limit},
    {GL_MAX_VERTEX_ATTRIB_BINDINGS, 0, limit},
    {GL_MAX_VERTEX_ATTRIB_RELATIVE_OFFSET, 0, limit},

    // Buffer bindings.
    {GL_ARRAY_BUFFER_BINDING, 0, nested<&GlContext::buffers, &BufferBindings::array>},
    {GL_ELEMENT_ARRAY_BUFFER_BINDING, 0,
     [](GlContext* c, GLenum) { return integer(currentVertexArray(c)->elementArrayBuffer); }},
    {GL_PIXEL_PACK_BUFFER_BINDING, 0, nested<&GlContext::buffers, &BufferBindings::pixelPack>},
    {GL_PIXEL_UNPACK_BUFFER_BINDING, 0, nested<&GlContext::buffers, &BufferBindings::pixelUnpack>},
    {GL_UNIFORM_BUFFER_BINDING, 0, nested<&GlContext::buffers, &BufferBindings::uniform>},
    {GL_TEXTURE_BUFFER, 0, nested<&GlContext::buffers, &BufferBindings::texture>},
    {GL_TRANSFORM_FEEDBACK_BUFFER_BINDING, 0, nested<&GlContext::buffers, &BufferBindings::transformFeedback>},
    {GL_UNIFORM_BUFFER_BINDING_EXT, 0, nested<&GlContext::buffers, &BufferBindings::uniformExt>},
    {GL_COPY_READ_BUFFER, 0, nested<&GlContext::buffers, &BufferBindings::copyRead>},
    {GL_COPY_WRITE_BUFFER, 0, nested<&GlContext::buffers, &BufferBindings::copyWrite>},
    {GL_DRAW_INDIRECT_BUFFER, 0, nested<&GlContext::buffers, &BufferBindings::drawIndirect>},
    {GL_DRAW_INDIRECT_BUFFER_BINDING, 0, nested<&GlContext::buffers, &BufferBindings::drawIndirect>},
    {GL_SHADER_STORAGE_BUFFER_BINDING, 430, nested<&GlContext::buffers, &BufferBindings::shaderStorage>},
    {GL_DISPATCH_INDIRECT_BUFFER_BINDING, 430, nested<&GlContext::buffers, &BufferBindings::dispatchIndirect>},
    {GL_ATOMIC_COUNTER_BUFFER_BINDING, 420, nested<&GlContext::buffers, &BufferBindings::atomicCounter>},

    // Client arrays.
    {GL_VERTEX_ARRAY_SIZE, 0, arraySize<kArrayVertex>},
    {GL_VERTEX_ARRAY_TYPE, 0, arrayType<kArrayVertex>},
    {GL_VERTEX_ARRAY_STRIDE, 0, arrayStride<kArrayVertex>},
    {GL_VERTEX_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayVertex>},
    {GL_NORMAL_ARRAY_TYPE, 0, arrayType<kArrayNormal>},
    {GL_NORMAL_ARRAY_STRIDE, 0, arrayStride<kArrayNormal>},
    {GL_NORMAL_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayNormal>},
    {GL_COLOR_ARRAY_SIZE, 0, arraySize<kArrayColor>},
    {GL_COLOR_ARRAY_TYPE, 0, arrayType<kArrayColor>},
    {GL_COLOR_ARRAY_STRIDE, 0, arrayStride<kArrayColor>},
    {GL_COLOR_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayColor>},
    {GL_INDEX_ARRAY_TYPE, 0, arrayType<kArrayIndex>},
    {GL_INDEX_ARRAY_STRIDE, 0, arrayStride<kArrayIndex>},
    {GL_INDEX_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayIndex>},
    {GL_TEXTURE_COORD_ARRAY_SIZE, 0, arraySize<kArrayTexCoord0>},
    {GL_TEXTURE_COORD_ARRAY_TYPE, 0, arrayType<kArrayTexCoord0>},
    {GL_TEXTURE_COORD_ARRAY_STRIDE, 0, arrayStride<kArrayTexCoord0>},
    {GL_TEXTURE_COORD_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayTexCoord0>},
    {GL_EDGE_FLAG_ARRAY_STRIDE, 0, arrayStride<kArrayEdgeFlag>},
    {GL_EDGE_FLAG_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayEdgeFlag>},
    {GL_SECONDARY_COLOR_ARRAY_SIZE, 0, arraySize<kArraySecondaryColor>},
    {GL_SECONDARY_COLOR_ARRAY_TYPE, 0, arrayType<kArraySecondaryColor>},
    {GL_SECONDARY_COLOR_ARRAY_STRIDE, 0, arrayStride<kArraySecondaryColor>},
    {GL_SECONDARY_COLOR_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArraySecondaryColor>},
    {GL_FOG_COORD_ARRAY_TYPE, 0, arrayType<kArrayFogCoord>},
    {GL_FOG_COORD_ARRAY_STRIDE, 0, arrayStride<kArrayFogCoord>},
    {GL_FOG_COORD_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayFogCoord>},
    {GL_WEIGHT_ARRAY_SIZE_ARB, 0, arraySize<kArrayWeight>},
    {GL_WEIGHT_ARRAY_TYPE_ARB, 0, arrayType<kArrayWeight>},
    {GL_WEIGHT_ARRAY_STRIDE_ARB, 0, arrayStride<kArrayWeight>},
    {GL_WEIGHT_ARRAY_BUFFER_BINDING, 0, arrayBuffer<kArrayWeight>},

    // Attribute groups.
    {GL_LIST_BASE, 0, current<&GlContext::list, &ListState::listBase>},
    {GL_LIST_INDEX, 0,
     [](GlContext* c, GLenum) { return integer(c->recordingList != nullptr ? c->recordingList->listId : 0); }},
    {GL_POLYGON_MODE, 0, [](GlContext* c, GLenum) {
       return integers({c->polygon.current().frontMode, c->polygon.current().backMode});
     }},
    {GL_CULL_FACE_MODE, 0, current<&GlContext::polygon, &PolygonState::cullMode>},
    {GL_FRONT_FACE, 0, current<&GlContext::polygon, &PolygonState::frontFace>},
    {GL_POLYGON_OFFSET_UNITS, 0, currentReal<&GlContext::polygon, &PolygonState::offsetUnits>},
    {GL_POLYGON_OFFSET_FACTOR, 0, currentReal<&GlContext::polygon, &PolygonState::offsetFactor>},
    {GL_SHADE_MODEL, 0, current<&GlContext::lighting, &LightingState::shadeModel>},
    {GL_FOG_INDEX, 0, currentReal<&GlContext::fog, &FogState::index>},
    {GL_FOG_DENSITY, 0, fogRounded<&FogState::density>},
    {GL_FOG_START, 0, fogRounded<&FogState::start>},
    {GL_FOG_END, 0, fogRounded<&FogState::end>},
    {GL_FOG_MODE, 0, current<&GlContext::fog, &FogState::mode>},
    // Four values, of which glGetBooleanv gives one: required oddity 35.
    {GL_FOG_COLOR, 0, [](GlContext* c, GLenum) {
       const float* const color = c->fog.current().color;
       return reals({color[0], color[1], color[2], color[3]}, kColorScale);
     }},
    {GL_FOG_COORD_SRC, 0, current<&GlContext::fog, &FogState::coordinateSource>},
    {GL_DEPTH_RANGE, 0, [](GlContext* c, GLenum) {
       Answer answer = reals({c->viewport.current().nearValue, c->viewport.current().farValue}, kDepthRangeScale);
       answer.booleans = 2;
       return answer;
     }},
    {GL_VIEWPORT, 0, [](GlContext* c, GLenum) {
       const ViewportState& viewport = c->viewport.current();
       return integers({viewport.x, viewport.y, viewport.width, viewport.height});
     }},
    {GL_DEPTH_WRITEMASK, 0, current<&GlContext::depth, &DepthState::writeMask>},
    {GL_DEPTH_CLEAR_VALUE, 0, [](GlContext* c, GLenum) { return reals({c->depth.current().clearValue}, kColorScale); }},
    {GL_DEPTH_FUNC, 0, current<&GlContext::depth, &DepthState::func>},
    {GL_BLEND_SRC, 0, current<&GlContext::colorBuffer, &ColorBufferState::blendSrc>},
    {GL_BLEND_DST, 0, current<&GlContext::colorBuffer, &ColorBufferState::blendDst>},
    {GL_BLEND_SRC_RGB, 0, current<&GlContext::colorBuffer, &ColorBufferState::blendSrcRgb>},
    {GL_BLEND_DST_RGB, 0, current<&GlContext::colorBuffer, &ColorBufferState::blendDstRgb>},
    {GL_BLEND_SRC_ALPHA, 0, current<&GlContext::colorBuffer, &ColorBufferState::blendSrcAlpha>},
    {GL_BLEND_DST_ALPHA, 0, current<&GlContext::colorBuffer, &ColorBufferState::blendDstAlpha>},

    // Matrices and stack depths.
    {GL_MATRIX_MODE, 0, current<&GlContext::transform, &TransformState::matrixMode>},
    {GL_MODELVIEW_MATRIX, 0, matrixOf<&GlContext::modelview>},
    {GL_PROJECTION_MATRIX, 0, matrixOf<&GlContext::projection>},
    {GL_COLOR_MATRIX, 0, matrixOf<&GlContext::color>},
    {GL_TEXTURE_MATRIX, 0, textureMatrix},
    {GL_MODELVIEW_STACK_DEPTH, 0, depthOf<&GlContext::modelview>},
    {GL_PROJECTION_STACK_DEPTH, 0, depthOf<&GlContext::projection>},
    {GL_COLOR_MATRIX_STACK_DEPTH, 0, depthOf<&GlContext::color>},
    {GL_TEXTURE_STACK_DEPTH, 0,
     [](GlContext* c, GLenum) { return integer(c->textureMatrices[c->activeTextureUnit]->top + 1); }},
    // Required oddity 88.
    {GL_ATTRIB_STACK_DEPTH, 0, depthOf<&GlContext::attribMasks>},
    {GL_CLIENT_ATTRIB_STACK_DEPTH, 0, field<&GlContext::clientAttribDepth>},

    // Pixel store.
    {GL_UNPACK_SWAP_BYTES, 0, unpack<&PixelStoreHalf::swapBytes>},
    {GL_UNPACK_LSB_FIRST, 0, unpack<&PixelStoreHalf::lsbFirst>},
    {GL_UNPACK_ROW_LENGTH, 0, unpack<&PixelStoreHalf::rowLength>},
    {GL_UNPACK_SKIP_ROWS, 0, unpack<&PixelStoreHalf::skipRows>},
    {GL_UNPACK_SKIP_PIXELS, 0, unpack<&PixelStoreHalf::skipPixels>},
    {GL_UNPACK_ALIGNMENT, 0, unpack<&PixelStoreHalf::alignment>},
    {GL_UNPACK_SKIP_IMAGES, 0, unpack<&PixelStoreHalf::skipImages>},
    {GL_UNPACK_IMAGE_HEIGHT, 0, unpack<&PixelStoreHalf::imageHeight>},
    {GL_PACK_SWAP_BYTES, 0, pack<&PixelStoreHalf::swapBytes>},
    {GL_PACK_LSB_FIRST, 0, pack<&PixelStoreHalf::lsbFirst>},
    {GL_PACK_ROW_LENGTH, 0, pack<&PixelStoreHalf::rowLength>},
    {GL_PACK_SKIP_ROWS, 0, pack<&PixelStoreHalf::skipRows>},
    {GL_PACK_SKIP_PIXELS, 0, pack<&PixelStoreHalf::skipPixels>},
    {GL_PACK_ALIGNMENT, 0, pack<&PixelStoreHalf::alignment>},
    {GL_PACK_SKIP_IMAGES, 0, pack<&PixelStoreHalf::skipImages>},
    {GL_PACK_IMAGE_HEIGHT, 0, pack<&PixelStoreHalf::imageHeight>},

    // The rest of the client state, texture units and bindings.
    {GL_FEEDBACK_BUFFER_SIZE, 0, field<&GlContext::feedbackBufferSize>},
    {GL_SELECTION_BUFFER_SIZE, 0, field<&GlContext::selectionBufferSize>},
    {GL_ARRAY_ELEMENT_LOCK_FIRST_EXT, 0, field<&GlContext::lockedFirst>},
    {GL_ARRAY_ELEMENT_LOCK_COUNT_EXT, 0, field<&GlContext::lockedCount>},
    {GL_ACTIVE_TEXTURE, 0, [](GlContext* c, GLenum) { return integer(c->activeTextureUnit + GL_TEXTURE0); }},
    {GL_CLIENT_ACTIVE_TEXTURE, 0, [](GlContext* c, GLenum) { return integer(c->clientActiveUnit + GL_TEXTURE0); }},
    {GL_TEXTURE_BINDING_1D, 0, boundTexture},
    {GL_TEXTURE_BINDING_2D, 0, boundTexture},
    {GL_TEXTURE_BINDING_3D, 0, boundTexture},
    {GL_TEXTURE_BINDING_CUBE_MAP, 0, boundTexture},
    {GL_TEXTURE_BINDING_RECTANGLE, 0, boundTexture},
    {GL_PRIMITIVE_RESTART_INDEX, 0, field<&GlContext::restartIndex>},
    {GL_PRIMITIVE_RESTART_INDEX_NV, 0, field<&GlContext::nvRestartIndex>},
    {GL_VERTEX_ARRAY_BINDING, 0, field<&GlContext::boundVertexArray>},
    {GL_CURRENT_PROGRAM, 0, field<&GlContext::currentProgram>},
    {GL_PROGRAM_PIPELINE_BINDING, 0, field<&GlContext::boundPipeline>},
    {GL_DRAW_FRAMEBUFFER_BINDING, 0, field<&GlContext::drawFramebuffer>},
    {GL_READ_FRAMEBUFFER_BINDING, 0, field<&GlContext::readFramebuffer>},
    {GL_DEBUG_NEXT_LOGGED_MESSAGE_LENGTH, 430, debug},
    {GL_DEBUG_GROUP_STACK_DEPTH, 430, debug},
    {GL_DEBUG_LOGGED_MESSAGES, 430, debug},
};
// clang-format on

constexpr size_t kRows = std::size(kUnsortedRows);

constexpr auto kRowsByName = [] {
  std::array<ShadowRow, kRows> rows{};
  std::copy(std::begin(kUnsortedRows), std::end(kUnsortedRows), rows.begin());
  std::sort(rows.begin(), rows.end(), [](const ShadowRow& a, const ShadowRow& b) { return a.pname < b.pname; });
  return rows;
}();

constexpr bool eachOnce() {
  for (size_t i = 1; i < kRows; ++i) {
    if (kRowsByName[i - 1].pname == kRowsByName[i].pname) return false;
  }
  return true;
}
static_assert(eachOnce(), "a pname has two rows");

}  // namespace

ShadowAnswer readShadow(GlContext* context, GLenum pname) {
  const auto row = std::lower_bound(kRowsByName.begin(), kRowsByName.end(), pname,
                                    [](const ShadowRow& each, GLenum wanted) { return each.pname < wanted; });
  if (row == kRowsByName.end() || row->pname != pname || context->contextVersion < row->minVersion) return {};
  return row->read(context, pname);
}

}  // namespace qv
