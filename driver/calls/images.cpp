// Images: uploads with their checks, and reads, which wait for the host's answer.
#include "driver/calls/image_checks.h"
#include "driver/queries/value_count.h"
#include "driver/state/buffer_bindings.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {
namespace {

uint32_t lowWord(const void* pointer) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer)); }

// Whether reads go into a buffer of the host's.
bool packBufferBound(const GlContext* context) { return context->buffers.pixelPack != 0; }

uint32_t packedBytes(const GlContext* context, GLenum target, GLenum format, GLenum type, const Extent& extent) {
  return packBufferBound(context) ? 0 : imageBytes(context->pixelStore.pack, target, format, type, extent);
}

// A read into a buffer makes the host's contents of it newer than the guest's copy. Returns whether there is a buffer: the name of
// a deleted one may still be bound.
bool noteReadIntoBuffer(GlContext* context) {
  BufferObject* const buffer = findBuffer(context, context->buffers.pixelPack);
  if (buffer == nullptr) return false;
  buffer->hostContentsNewer = 1;
  return true;
}

template <typename Row, typename... A>
void callUnlessRefused(GlContext* context, GLenum error, A... arguments) {
  if (error != GL_NO_ERROR) return refuse(context, opcodeOf<Row>, error);
  Entry<Row>::call(arguments...);
}

// A part of a texture: its sizes, then its format and type are checked.
GLenum checkSubImage(const Extent& extent, GLenum format, GLenum type) {
  if (extent.width < 0 || extent.height < 0 || extent.depth < 0) return GL_INVALID_VALUE;
  return checkPixelFormatType(format, type);
}

// A compressed image with a negative size and data.
GLenum checkCompressed(const GlContext* context, GLsizei imageSize, const void* data) {
  return imageSize < 0 && data != nullptr && context->buffers.pixelUnpack == 0 ? GL_INVALID_VALUE : GL_NO_ERROR;
}

// Sends a read and waits for its `bytes` behind `pixels`.
template <typename Row, typename Record>
void sendRead(GlContext* context, const Record& record, void* pixels, uint32_t bytes) {
  sendRecord<Row>(context, record);
  flushStream(context, 0, bytes == 0 ? nullptr : pixels, bytes, nullptr, 0);
}

// The size of a texture's image, asked of the host.
Extent textureExtent(GLenum target, GLint level) {
  Extent extent{1, 1, 1};
  const auto ask = Entry<op::glGetTexLevelParameteriv>::call;
  ask(target, level, GL_TEXTURE_WIDTH, &extent.width);
  if (target != GL_TEXTURE_1D) ask(target, level, GL_TEXTURE_HEIGHT, &extent.height);
  if (target == GL_TEXTURE_3D || target == GL_TEXTURE_2D_ARRAY || target == GL_TEXTURE_CUBE_MAP_ARRAY)
    ask(target, level, GL_TEXTURE_DEPTH, &extent.depth);
  return extent;
}

// What glGet of an imaging object's width or height says.
template <typename Row>
GLint imagingSize(GLenum target, GLenum pname) {
  GLint size = 0;
  Entry<Row>::call(target, pname, &size);
  return size;
}

template <typename Row, typename T>
void getPixelMap(GLenum map, T* values) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const int32_t entries = packBufferBound(context) ? 0 : pixelMapSize(map);
  const uint32_t bytes = static_cast<uint32_t>(entries < 0 ? 0 : entries) * sizeof(T);
  noteReadIntoBuffer(context);
  sendRead<Row>(context, GetPixelMapRecord{map, bytes, lowWord(values)}, values, bytes);
}

template <typename Row, typename T>
void getColorTableParameter(GLenum target, GLenum pname, T* values) {
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const uint32_t components = pname == GL_COLOR_TABLE_SCALE || pname == GL_COLOR_TABLE_BIAS ? 4 : 1;
  sendRead<Row>(context, GetColorTableParameterRecord{target, pname}, values, components * static_cast<uint32_t>(sizeof(T)));
}

// glGetHistogram and glGetMinmax.
template <typename Row>
void getHistogram(GLenum target, GLboolean reset, GLenum format, GLenum type, void* values, GLint width) {
  GlContext* const context = currentContext();
  const uint32_t bytes = packedBytes(context, target, format, type, {width, 1, 1});
  noteReadIntoBuffer(context);
  sendRead<Row>(context, GetHistogramRecord{target, reset, format, type, bytes, lowWord(values)}, values, bytes);
}

}  // namespace

namespace gl {

// --- uploads ---

void APIENTRY glTexImage1D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLint border, GLenum format,
                           GLenum type, const void* pixels) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  const GLenum inner = normalizeInternalFormat(static_cast<GLenum>(internalFormat));
  callUnlessRefused<op::glTexImage1D>(context, checkTextureImage(inner, {width, 1, 1}, border, format, type), target, level,
                                      static_cast<GLint>(inner), width, border, format, type, pixels);
}
void APIENTRY glTexImage2D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height, GLint border,
                           GLenum format, GLenum type, const void* pixels) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  const GLenum inner = normalizeInternalFormat(static_cast<GLenum>(internalFormat));
  callUnlessRefused<op::glTexImage2D>(context, checkTextureImage(inner, {width, height, 1}, border, format, type), target, level,
                                      static_cast<GLint>(inner), width, height, border, format, type, pixels);
}
void APIENTRY glTexImage3D(GLenum target, GLint level, GLint internalFormat, GLsizei width, GLsizei height, GLsizei depth,
                           GLint border, GLenum format, GLenum type, const void* pixels) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  const GLenum inner = normalizeInternalFormat(static_cast<GLenum>(internalFormat));
  callUnlessRefused<op::glTexImage3D>(context, checkTextureImage(inner, {width, height, depth}, border, format, type), target,
                                      level, static_cast<GLint>(inner), width, height, depth, border, format, type, pixels);
}

void APIENTRY glTexSubImage1D(GLenum target, GLint level, GLint x, GLsizei width, GLenum format, GLenum type,
                              const void* pixels) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  callUnlessRefused<op::glTexSubImage1D>(context, checkSubImage({width, 1, 1}, format, type), target, level, x, width, format,
                                         type, pixels);
}
void APIENTRY glTexSubImage2D(GLenum target, GLint level, GLint x, GLint y, GLsizei width, GLsizei height, GLenum format,
                              GLenum type, const void* pixels) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  callUnlessRefused<op::glTexSubImage2D>(context, checkSubImage({width, height, 1}, format, type), target, level, x, y, width,
                                         height, format, type, pixels);
}
void APIENTRY glTexSubImage3D(GLenum target, GLint level, GLint x, GLint y, GLint z, GLsizei width, GLsizei height, GLsizei depth,
                              GLenum format, GLenum type, const void* pixels) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  callUnlessRefused<op::glTexSubImage3D>(context, checkSubImage({width, height, depth}, format, type), target, level, x, y, z,
                                         width, height, depth, format, type, pixels);
}

void APIENTRY glCompressedTexImage1D(GLenum target, GLint level, GLenum internalFormat, GLsizei width, GLint border,
                                     GLsizei imageSize, const void* data) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  callUnlessRefused<op::glCompressedTexImage1D>(context, checkCompressed(context, imageSize, data), target, level, internalFormat,
                                                width, border, imageSize, data);
}
void APIENTRY glCompressedTexImage2D(GLenum target, GLint level, GLenum internalFormat, GLsizei width, GLsizei height,
                                     GLint border, GLsizei imageSize, const void* data) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  callUnlessRefused<op::glCompressedTexImage2D>(context, checkCompressed(context, imageSize, data), target, level, internalFormat,
                                                width, height, border, imageSize, data);
}
void APIENTRY glCompressedTexImage3D(GLenum target, GLint level, GLenum internalFormat, GLsizei width, GLsizei height,
                                     GLsizei depth, GLint border, GLsizei imageSize, const void* data) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  callUnlessRefused<op::glCompressedTexImage3D>(context, checkCompressed(context, imageSize, data), target, level, internalFormat,
                                                width, height, depth, border, imageSize, data);
}

void APIENTRY glDrawPixels(GLsizei width, GLsizei height, GLenum format, GLenum type, const void* pixels) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  callUnlessRefused<op::glDrawPixels>(context, checkPixelFormatType(format, type), width, height, format, type, pixels);
}

void APIENTRY glCopyTexImage2D(GLenum target, GLint level, GLenum internalFormat, GLint x, GLint y, GLsizei width, GLsizei height,
                               GLint border) {
  Entry<op::glCopyTexImage2D>::call(target, level, normalizeInternalFormat(internalFormat), x, y, width, height, border);
}

void APIENTRY glSeparableFilter2D(GLenum target, GLenum internalFormat, GLsizei width, GLsizei height, GLenum format, GLenum type,
                                  const void* row, const void* column) {
  GlContext* const context = currentContext();
  if (context == nullptr) return;
  const bool inBuffer = context->buffers.pixelUnpack != 0;
  const auto bytesOfLine = [&](const void* line, GLsizei length) {
    return line == nullptr || inBuffer ? 0 : imageBytes(context->pixelStore.unpack, target, format, type, {length, 1, 1});
  };
  SeparableFilterRecord record{target,
                               internalFormat,
                               width,
                               height,
                               format,
                               type,
                               lowWord(row),
                               lowWord(column),
                               bytesOfLine(row, width),
                               bytesOfLine(column, height)};
  uint64_t payload = payloadOf(sizeof record, record.tailBytes());
  if (payload == sizeof record) record.rowBytes = record.columnBytes = 0;
  if (DisplayListStream* const list = context->recordingList; has<op::glSeparableFilter2D>(kRecords) && list != nullptr) {
    list->lastOpcode = op::glSeparableFilter2D::kOpcode;
    put(beginCommand(*list, opcodeOf<op::glSeparableFilter2D>, sizeof record), record);
  }
  if (has<op::glSeparableFilter2D>(kBeginCheck) && context->insideBegin) {
    return refuse(context, opcodeOf<op::glSeparableFilter2D>, GL_INVALID_OPERATION);
  }
  if (context->runOpen) closeRun(context, kRunBroken);
  context->lastOpcode = op::glSeparableFilter2D::kOpcode;
  uint8_t* const at = beginCommand(*context, opcodeOf<op::glSeparableFilter2D>, payload);
  put(at, record);
  // In bounds: the payload was taken as room.
  if (record.rowBytes != 0) std::memcpy(at + sizeof record, row, record.rowBytes);
  if (record.columnBytes != 0) std::memcpy(at + sizeof record + record.rowBytes, column, record.columnBytes);
}

// --- reads ---

void APIENTRY glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels) {
  using Row = op::glReadPixels;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const bool intoBuffer = findBuffer(context, context->buffers.pixelPack) != nullptr;
  if (!intoBuffer && pixels == nullptr) return;
  if (const GLenum error = checkPixelFormatType(format, type)) return refuse(context, opcodeOf<Row>, error);
  if (intoBuffer) noteReadIntoBuffer(context);
  const uint32_t bytes = packedBytes(context, 0, format, type, {width, height, 1});
  sendRecord<Row>(context, ReadPixelsRecord{x, y, width, height, format, type, bytes, lowWord(pixels)});
  // A read into a buffer waits for nothing.
  if (bytes != 0) flushStream(context, 0, pixels, bytes, nullptr, 0);
}

void APIENTRY glGetTexImage(GLenum target, GLint level, GLenum format, GLenum type, void* pixels) {
  using Row = op::glGetTexImage;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const bool intoBuffer = noteReadIntoBuffer(context);
  if (!intoBuffer && pixels == nullptr) return;
  // With a buffer no size is needed, and the host need not be asked.
  uint32_t bytes = 0;
  if (!packBufferBound(context)) bytes = packedBytes(context, target, format, type, textureExtent(target, level));
  sendRead<Row>(context, GetTexImageRecord{target, level, format, type, bytes, lowWord(pixels)}, pixels, bytes);
}

void APIENTRY glGetCompressedTexImage(GLenum target, GLint level, void* pixels) {
  using Row = op::glGetCompressedTexImage;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  GLint bytes = 0;
  if (packBufferBound(context)) {
    noteReadIntoBuffer(context);
  } else if (pixels != nullptr) {
    Entry<op::glGetTexLevelParameteriv>::call(target, level, GL_TEXTURE_COMPRESSED_IMAGE_SIZE, &bytes);
    if (bytes < 0) bytes = 0;
  }
  const auto length = static_cast<uint32_t>(bytes);
  sendRead<Row>(context, GetCompressedTexImageRecord{target, level, length, lowWord(pixels)}, pixels, length);
}

void APIENTRY glGetPolygonStipple(GLubyte* mask) {
  using Row = op::glGetPolygonStipple;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const uint32_t bytes = packedBytes(context, 0, GL_COLOR_INDEX, GL_BITMAP, {32, 32, 1});
  noteReadIntoBuffer(context);
  sendRead<Row>(context, GetPolygonStippleRecord{bytes, lowWord(mask)}, mask, bytes);
}

void APIENTRY glGetPixelMapfv(GLenum map, GLfloat* values) { getPixelMap<op::glGetPixelMapfv>(map, values); }
void APIENTRY glGetPixelMapuiv(GLenum map, GLuint* values) { getPixelMap<op::glGetPixelMapuiv>(map, values); }
void APIENTRY glGetPixelMapusv(GLenum map, GLushort* values) { getPixelMap<op::glGetPixelMapusv>(map, values); }

void APIENTRY glGetColorTableParameterfv(GLenum target, GLenum pname, GLfloat* values) {
  getColorTableParameter<op::glGetColorTableParameterfv>(target, pname, values);
}
void APIENTRY glGetColorTableParameteriv(GLenum target, GLenum pname, GLint* values) {
  getColorTableParameter<op::glGetColorTableParameteriv>(target, pname, values);
}

void APIENTRY glGetColorTable(GLenum target, GLenum format, GLenum type, void* table) {
  using Row = op::glGetColorTable;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  GLint width = 0;
  glGetColorTableParameteriv(target, GL_COLOR_TABLE_WIDTH, &width);
  const uint32_t bytes = packedBytes(context, target, format, type, {width, 1, 1});
  noteReadIntoBuffer(context);
  sendRead<Row>(context, GetColorTableRecord{target, format, type, bytes}, table, bytes);
}

// A flat filter, too, is sized as one row: required oddity 87.
void APIENTRY glGetConvolutionFilter(GLenum target, GLenum format, GLenum type, void* image) {
  using Row = op::glGetConvolutionFilter;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const GLint width = imagingSize<op::glGetConvolutionParameteriv>(target, GL_CONVOLUTION_WIDTH);
  const uint32_t bytes = packedBytes(context, target, format, type, {width, 1, 1});
  noteReadIntoBuffer(context);
  sendRead<Row>(context, GetConvolutionFilterRecord{target, format, type, bytes, lowWord(image)}, image, bytes);
}

void APIENTRY glGetSeparableFilter(GLenum target, GLenum format, GLenum type, void* row, void* column, void* span) {
  using Row = op::glGetSeparableFilter;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  const GLint width = imagingSize<op::glGetConvolutionParameteriv>(target, GL_CONVOLUTION_WIDTH);
  const GLint height = imagingSize<op::glGetConvolutionParameteriv>(target, GL_CONVOLUTION_HEIGHT);
  const uint32_t rowBytes = packedBytes(context, target, format, type, {width, 1, 1});
  const uint32_t columnBytes = packedBytes(context, target, format, type, {height, 1, 1});
  noteReadIntoBuffer(context);
  sendRecord<Row>(context, GetSeparableFilterRecord{target, format, type, lowWord(span), rowBytes, columnBytes, lowWord(row),
                                                    lowWord(column)});
  flushStream(context, 0, rowBytes == 0 ? nullptr : row, rowBytes, columnBytes == 0 ? nullptr : column, columnBytes);
}

void APIENTRY glGetHistogram(GLenum target, GLboolean reset, GLenum format, GLenum type, void* values) {
  if (enter<op::glGetHistogram>() == nullptr) return;
  const GLint width = imagingSize<op::glGetHistogramParameteriv>(target, GL_HISTOGRAM_WIDTH);
  getHistogram<op::glGetHistogram>(target, reset, format, type, values, width);
}

void APIENTRY glGetMinmax(GLenum target, GLboolean reset, GLenum format, GLenum type, void* values) {
  if (enter<op::glGetMinmax>() == nullptr) return;
  getHistogram<op::glGetMinmax>(target, reset, format, type, values, 2);
}

GLboolean APIENTRY glAreTexturesResident(GLsizei n, const GLuint* textures, GLboolean* residences) {
  using Row = op::glAreTexturesResident;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return GL_FALSE;
  const AreTexturesResidentRecord record{n};
  const uint64_t payload = payloadOf(sizeof record, record.tailBytes());
  if (context->runOpen) closeRun(context, kRunBroken);
  context->lastOpcode = Row::kOpcode;
  uint8_t* const at = beginCommand(*context, opcodeOf<Row>, payload);
  put(at, record);
  // In bounds: the payload was taken as room.
  if (payload != sizeof record) std::memcpy(at + sizeof record, textures, static_cast<size_t>(payload) - sizeof record);
  const uint32_t bytes = n < 0 ? 0 : static_cast<uint32_t>(n);
  flushStream(context, 0, bytes == 0 ? nullptr : residences, bytes, nullptr, 0);
  if (n < 0) return GL_FALSE;
  for (uint32_t i = 0; i < bytes; ++i) {
    if (residences[i] == GL_FALSE) return GL_FALSE;
  }
  return GL_TRUE;
}

}  // namespace gl
}  // namespace qv
