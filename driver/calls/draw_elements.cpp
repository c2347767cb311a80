// Draws by indices.
#include "driver/calls/draw_command.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/buffer_bindings.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

// The indices of a draw, as the guest reads them.
struct IndexSource {
  GLsizei count = 0;
  uint32_t indexBytes = 0;
  uint32_t buffer = 0;            // name of the element array buffer; 0: the program's memory
  const uint8_t* data = nullptr;  // null when the guest has no need of them
  uint32_t readable = 0;          // indices at `data`, at most `count`
};

uint32_t indexAt(const IndexSource& source, uint32_t i) {
  const uint8_t* const at = source.data + size_t{i} * source.indexBytes;
  switch (source.indexBytes) {
    case 1:
      return *at;
    case 2:
      return get<uint16_t>(at);
    default:
      return get<uint32_t>(at);
  }
}

struct IndexRange {
  uint32_t minimum = 0xFFFFFFFF, maximum = 0;

  uint32_t count() const { return maximum - minimum + 1; }  // modulo 2^32
};

template <typename Index>
IndexRange scanAs(const IndexSource& source, bool restarts, uint32_t restart) {
  IndexRange range;
  for (uint32_t i = 0; i < source.readable; ++i) {
    const uint32_t index = get<Index>(source.data + size_t{i} * sizeof(Index));
    if (restarts && index == restart) continue;
    if (index < range.minimum) range.minimum = index;
    if (index > range.maximum) range.maximum = index;
  }
  return range;
}

// The least and the greatest index. The restart index of GL_PRIMITIVE_RESTART stays in the stream but is none of the range.
IndexRange scanIndices(const GlContext* context, const IndexSource& source) {
  const bool restarts = context->restartEnabled != 0;
  switch (source.indexBytes) {
    case 1:
      return scanAs<uint8_t>(source, restarts, context->restartIndex);
    case 2:
      return scanAs<uint16_t>(source, restarts, context->restartIndex);
    default:
      return scanAs<uint32_t>(source, restarts, context->restartIndex);
  }
}

// Finds the indices of a draw. False when there is nothing to draw, which is no error: an element buffer without a record or too
// short for the draw, no indices at all, a count of 0: required oddity 104. `needed`: the guest reads the indices in any case.
bool findIndices(GlContext* context, GLenum type, GLsizei count, const void* indices, bool needed, IndexSource& source) {
  source.count = count;
  source.indexBytes = indexBytesOf(type);
  source.buffer = currentVertexArray(context)->elementArrayBuffer;
  const uint64_t bytes = static_cast<uint64_t>(count) * source.indexBytes;
  if (source.buffer == 0) {
    source.data = static_cast<const uint8_t*>(indices);
    source.readable = static_cast<uint32_t>(count);
    return indices != nullptr && count != 0;
  }
  const BufferObject* const buffer = findBuffer(context, source.buffer);
  if (buffer == nullptr || static_cast<uint32_t>(buffer->size) < bytes) return false;
  // A map of the program's ends with this: required oddity 160.
  if (needed && (buffer->store.data() == nullptr || buffer->shadowIsStale())) {
    gl::glMapBuffer(GL_ELEMENT_ARRAY_BUFFER, GL_READ_ONLY);
    gl::glUnmapBuffer(GL_ELEMENT_ARRAY_BUFFER);
  }
  // Only now, so that a draw of nothing, too, renews the copy.
  if (count == 0) return false;
  if (!needed) return true;
  // Only the size has been checked, the offset has not.
  const uint64_t offset = reinterpret_cast<uintptr_t>(indices), have = buffer->readableBytes();
  if (offset > have) {
    source.data = buffer->store.data();
    return source.data != nullptr;
  }
  source.data = buffer->store.data() + offset;
  const uint64_t whole = (have - offset) / source.indexBytes;
  source.readable = static_cast<uint32_t>(whole < static_cast<uint64_t>(count) ? whole : static_cast<uint64_t>(count));
  return source.data != nullptr;
}

// Draws what lies between the indices that equal the one of GL_PRIMITIVE_RESTART_NV, one draw for each run. With an element
// buffer the runs count from the start of `indices`, the draw's own offset being lost: required oddity 103.
void drawRestartRuns(GlContext* context, GLenum mode, GLenum type, const IndexSource& source, GLsizei instances) {
  if (!context->nvRestartEnabled) return;
  context->nvRestartEnabled = 0;
  uint32_t at = 0;
  while (at < source.readable) {
    uint32_t end = at;
    while (end < source.readable && indexAt(source, end) != context->nvRestartIndex) ++end;
    const size_t bytes = size_t{at} * source.indexBytes;
    const void* const run =
        source.buffer != 0 ? reinterpret_cast<const void*>(bytes) : static_cast<const void*>(source.data + bytes);
    const auto length = static_cast<GLsizei>(end - at);
    if (instances == 0) {
      gl::glDrawElements(mode, length, type, run);
    } else {
      gl::glDrawElementsInstancedARB(mode, length, type, run, instances);
    }
    at = end + 1;
  }
  context->nvRestartEnabled = 1;
}

// A draw by indices after its own checks of counts.
struct ElementsDraw {
  GLenum mode;
  GLsizei count;
  GLenum type;
  const void* indices;
  GLsizei instances = 0;         // 0: no instanced draw
  GLsizei restartInstances = 0;  // of the draws at GL_PRIMITIVE_RESTART_NV
  GLint baseVertex = 0;
};

// The checks of the type, then the draw. `write(source, arrays, minimum, maximum, range)` writes the command.
template <typename Row, typename Write>
void drawElements(GlContext* context, const ElementsDraw& draw, Write&& write) {
  if (indexBytesOf(draw.type) == 0) return refuse(context, opcodeOf<Row>, GL_INVALID_ENUM);
  const uint32_t instances = draw.instances < 1 ? 1 : static_cast<uint32_t>(draw.instances);
  const ClientArrays arrays = measureClientArrays(context, instances);
  IndexSource source;
  const bool needed = arrays.blockVertexBytes() != 0 || context->nvRestartEnabled;
  if (!findIndices(context, draw.type, draw.count, draw.indices, needed, source)) {
    context->lastOpcode = Row::kOpcode;
    return;
  }
  if (source.data != nullptr && context->nvRestartEnabled)
    return drawRestartRuns(context, draw.mode, draw.type, source, draw.restartInstances);
  IndexRange indices;
  VertexRange range;
  if (source.data != nullptr) {
    indices = scanIndices(context, source);
    // Of indices that all restart there is no element, though the count below may come out as 2.
    range = {int64_t{indices.minimum} + draw.baseVertex, indices.count(), indices.minimum <= indices.maximum};
  }
  const InlineIndices inlined{source.data, source.buffer == 0 ? static_cast<uint64_t>(source.count) * source.indexBytes : 0};
  write(source, arrays, indices, range, inlined, instances);
}

DrawElementsRecord recordOf(const ElementsDraw& draw, const IndexSource& source, const ClientArrays& arrays,
                            const IndexRange& indices, const InlineIndices& inlined) {
  return {draw.mode,
          draw.count,
          draw.type,
          low32(draw.indices),
          source.buffer,
          arrays.flags(),
          static_cast<uint32_t>(inlined.bytes),
          indices.minimum,
          indices.maximum};
}

// The members of the family whose commands have the common layout, with the words behind their indices.
template <typename Row, typename... Extra>
void drawCommon(GlContext* context, const ElementsDraw& draw, Extra... extra) {
  drawElements<Row>(context, draw,
                    [&](const auto& source, const auto& arrays, const auto& indices, const auto& range, const auto& inlined,
                        uint32_t instances) {
                      sendDraw<Row>(context, recordOf(draw, source, arrays, indices, inlined), arrays, range, instances, inlined,
                                    {static_cast<uint32_t>(extra)...});
                    });
}

template <typename Row>
void drawInstanced(GLenum mode, GLsizei count, GLenum type, const void* indices, GLsizei instances) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  context->lastOpcode = Row::kOpcode;
  if (context->listMode == GL_COMPILE) return recordError(context, GL_INVALID_OPERATION, 1, kErrorText);
  if (instances < 1) return;
  if (count < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  drawCommon<Row>(context, ElementsDraw{mode, count, type, indices, instances, instances}, instances);
}

}  // namespace

namespace gl {

void APIENTRY glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* indices) {
  using Row = op::glDrawElements;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (DisplayListStream* const list = context->recordingList) [[unlikely]] {
    list->lastOpcode = Row::kOpcode;
    const DrawElementsRecord record{mode, count, type, low32(indices), 0, 0, 0, 0, 0};
    put(beginCommand(*list, opcodeOf<Row>, sizeof record), record);
  }
  if (context->insideBegin) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
  if (count < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  drawCommon<Row>(context, ElementsDraw{mode, count, type, indices});
}

void APIENTRY glDrawElementsBaseVertex(GLenum mode, GLsizei count, GLenum type, const void* indices, GLint basevertex) {
  using Row = op::glDrawElementsBaseVertex;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (basevertex == 0) return glDrawElements(mode, count, type, indices);
  if (count < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  drawCommon<Row>(context, ElementsDraw{mode, count, type, indices, 0, 0, basevertex}, basevertex);
}

void APIENTRY glDrawElementsInstanced(GLenum mode, GLsizei count, GLenum type, const void* indices, GLsizei instancecount) {
  drawInstanced<op::glDrawElementsInstanced>(mode, count, type, indices, instancecount);
}
void APIENTRY glDrawElementsInstancedARB(GLenum mode, GLsizei count, GLenum type, const void* indices, GLsizei primcount) {
  drawInstanced<op::glDrawElementsInstancedARB>(mode, count, type, indices, primcount);
}
void APIENTRY glDrawElementsInstancedEXT(GLenum mode, GLsizei count, GLenum type, const void* indices, GLsizei primcount) {
  drawInstanced<op::glDrawElementsInstancedEXT>(mode, count, type, indices, primcount);
}

void APIENTRY glDrawElementsInstancedBaseVertex(GLenum mode, GLsizei count, GLenum type, const void* indices,
                                                GLsizei instancecount, GLint basevertex) {
  using Row = op::glDrawElementsInstancedBaseVertex;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (count < 0 || instancecount < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  context->lastOpcode = Row::kOpcode;
  if (instancecount == 0) return;
  if (basevertex == 0) return glDrawElementsInstancedARB(mode, count, type, indices, instancecount);
  drawCommon<Row>(context, ElementsDraw{mode, count, type, indices, instancecount, instancecount, basevertex}, instancecount,
                  basevertex);
}

void APIENTRY glDrawElementsInstancedBaseVertexBaseInstance(GLenum mode, GLsizei count, GLenum type, const void* indices,
                                                            GLsizei instancecount, GLint basevertex, GLuint baseinstance) {
  using Row = op::glDrawElementsInstancedBaseVertexBaseInstance;
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (count < 0 || instancecount < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
  const ElementsDraw draw{mode, count, type, indices, instancecount, instancecount, basevertex};
  drawElements<Row>(context, draw,
                    [&](const auto& source, const auto& arrays, const auto& range, const auto& vertices, const auto& inlined,
                        uint32_t instances) {
                      const DrawElementsBaseInstanceRecord record{
                          mode,          count,        type,          low32(indices), instancecount,
                          basevertex,    baseinstance, source.buffer, arrays.flags(), static_cast<uint32_t>(inlined.bytes),
                          range.minimum, range.maximum};
                      sendDraw<Row>(context, record, arrays, vertices, instances, inlined);
                    });
}

void APIENTRY glDrawElementsInstancedBaseInstance(GLenum mode, GLsizei count, GLenum type, const void* indices,
                                                  GLsizei instancecount, GLuint baseinstance) {
  glDrawElementsInstancedBaseVertexBaseInstance(mode, count, type, indices, instancecount, 0, baseinstance);
}

// The range that the program tells is not used: it need not be true: required oddity 107.
void APIENTRY glDrawRangeElements(GLenum mode, GLuint, GLuint, GLsizei count, GLenum type, const void* indices) {
  glDrawElements(mode, count, type, indices);
}

void APIENTRY glDrawRangeElementsBaseVertex(GLenum mode, GLuint start, GLuint end, GLsizei count, GLenum type,
                                            const void* indices, GLint basevertex) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (end < start) return recordError(context, GL_INVALID_VALUE, 0, kErrorText);
  glDrawElementsBaseVertex(mode, count, type, indices, basevertex);
}

void APIENTRY glMultiDrawElements(GLenum mode, const GLsizei* count, GLenum type, const void* const* indices, GLsizei drawcount) {
  for (GLsizei i = 0; i < drawcount; ++i) glDrawElements(mode, count[i], type, indices[i]);
}

void APIENTRY glMultiDrawElementsBaseVertex(GLenum mode, const GLsizei* count, GLenum type, const void* const* indices,
                                            GLsizei drawcount, const GLint* basevertex) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  if (drawcount < 0) return recordError(context, GL_INVALID_VALUE, 0, kErrorText);
  for (GLsizei i = 0; i < drawcount; ++i)
    glDrawElementsBaseVertex(mode, count[i], type, indices[i], basevertex != nullptr ? basevertex[i] : 0);
}

}  // namespace gl
}  // namespace qv
