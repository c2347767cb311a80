// The calls of GL for each row of vertex arrays.
#include "peer/replay/array_rows.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "peer/replay/gl_functions.h"
#include "wire/sizes.h"

namespace qv::peer {

ArrayObject::ArrayObject() {
  for (uint32_t number = 0; number < kArrayRows; ++number) {
    ArrayRow& row = rows[number];
    row.bindingIndex = static_cast<uint8_t>(number % kArrayKinds);
    if (number < kArrayKinds) {
      const ConventionalDefault start = conventionalDefault(number);
      const ArrayFormat format = arrayFormat(start.size, start.type);
      row.size = format.size;
      row.type = start.type;
      row.elementSize = format.elementSize;
      row.drawable = number != kArrayWeight;
    }
    bindings[number].stride = row.elementSize;
  }
}

uint32_t realElementSize(const ArrayRow& row) { return row.type == GL_UNSIGNED_INT_10F_11F_11F_REV ? 4 : row.elementSize; }

namespace {

constexpr GLenum kVertexTypes[] = {
    GL_SHORT, GL_INT, GL_FLOAT, GL_DOUBLE, GL_HALF_FLOAT, GL_INT_2_10_10_10_REV, GL_UNSIGNED_INT_2_10_10_10_REV};
// Packed types have four components, a normal has three: OpenGL has it both ways, and the host's refuses them.
constexpr GLenum kNormalTypes[] = {GL_BYTE, GL_SHORT, GL_INT, GL_FLOAT, GL_DOUBLE, GL_HALF_FLOAT};
constexpr GLenum kColorTypes[] = {GL_BYTE,
                                  GL_UNSIGNED_BYTE,
                                  GL_SHORT,
                                  GL_UNSIGNED_SHORT,
                                  GL_INT,
                                  GL_UNSIGNED_INT,
                                  GL_FLOAT,
                                  GL_DOUBLE,
                                  GL_HALF_FLOAT,
                                  GL_INT_2_10_10_10_REV,
                                  GL_UNSIGNED_INT_2_10_10_10_REV};
constexpr GLenum kFogTypes[] = {GL_FLOAT, GL_DOUBLE, GL_HALF_FLOAT};
constexpr GLenum kIndexTypes[] = {GL_UNSIGNED_BYTE, GL_SHORT, GL_INT, GL_FLOAT, GL_DOUBLE};
constexpr GLenum kAttribTypes[] = {GL_BYTE,
                                   GL_UNSIGNED_BYTE,
                                   GL_SHORT,
                                   GL_UNSIGNED_SHORT,
                                   GL_INT,
                                   GL_UNSIGNED_INT,
                                   GL_FLOAT,
                                   GL_DOUBLE,
                                   GL_HALF_FLOAT,
                                   GL_FIXED,
                                   GL_INT_2_10_10_10_REV,
                                   GL_UNSIGNED_INT_2_10_10_10_REV,
                                   GL_UNSIGNED_INT_10F_11F_11F_REV};
constexpr GLenum kIntegerTypes[] = {GL_BYTE, GL_UNSIGNED_BYTE, GL_SHORT, GL_UNSIGNED_SHORT, GL_INT, GL_UNSIGNED_INT};

template <size_t N>
bool has(const GLenum (&types)[N], GLenum type) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

bool isBetween(uint32_t size, uint32_t least, uint32_t most) { return size >= least && size <= most; }

// Packed types have four components, or three in an order of their own.
bool fitsPacked(uint32_t size, GLenum type) { return !isPackedArrayType(type) || size == 4 || size == GL_BGRA; }

const void* asPointer(uint64_t offset) { return reinterpret_cast<const void*>(static_cast<uintptr_t>(offset)); }

void callPointer(uint32_t number, uint32_t size, GLenum type, bool normalized, bool integer, bool wide, uint32_t stride,
                 const void* pointer) {
  const auto components = static_cast<GLint>(size);
  const auto step = static_cast<GLsizei>(stride);
  switch (number) {
    case kArrayVertex:
      return gl.glVertexPointer(components, type, step, pointer);
    case kArrayWeight:
      return;  // no OpenGL that the host meets has it
    case kArrayNormal:
      return gl.glNormalPointer(type, step, pointer);
    case kArrayColor:
      return gl.glColorPointer(components, type, step, pointer);
    case kArraySecondaryColor:
      return gl.glSecondaryColorPointer(components, type, step, pointer);
    case kArrayFogCoord:
      return gl.glFogCoordPointer(type, step, pointer);
    case kArrayIndex:
      return gl.glIndexPointer(type, step, pointer);
    case kArrayEdgeFlag:
      return gl.glEdgeFlagPointer(step, pointer);
    default:
      break;
  }
  if (number < kArrayKinds) {
    gl.glClientActiveTexture(GL_TEXTURE0 + number - kArrayTexCoord0);
    return gl.glTexCoordPointer(components, type, step, pointer);
  }
  const GLuint index = number - kArrayKinds;
  if (wide) return gl.glVertexAttribLPointer(index, components, type, step, pointer);
  if (integer) return gl.glVertexAttribIPointer(index, components, type, step, pointer);
  gl.glVertexAttribPointer(index, components, type, normalized, step, pointer);
}

}  // namespace

bool isDrawableFormat(uint32_t row, uint32_t size, GLenum type, uint32_t stride, bool normalized, bool integer, bool wide) {
  if (static_cast<int32_t>(stride) < 0) return false;
  switch (row) {
    case kArrayVertex:
      return isBetween(size, 2, 4) && has(kVertexTypes, type) && fitsPacked(size, type);
    case kArrayWeight:
      return false;  // no OpenGL that the host meets has it
    case kArrayNormal:
      return has(kNormalTypes, type);
    case kArrayColor:
    case kArraySecondaryColor:
      return size == GL_BGRA ? type == GL_UNSIGNED_BYTE
                             : isBetween(size, 3, 4) && has(kColorTypes, type) && fitsPacked(size, type);
    case kArrayFogCoord:
      return has(kFogTypes, type);
    case kArrayIndex:
      return has(kIndexTypes, type);
    case kArrayEdgeFlag:
      return true;
    default:
      break;
  }
  if (row < kArrayKinds) return isBetween(size, 1, 4) && has(kVertexTypes, type) && fitsPacked(size, type);
  if (wide) return isBetween(size, 1, 4) && type == GL_DOUBLE;
  if (integer) return isBetween(size, 1, 4) && has(kIntegerTypes, type);
  if (size == GL_BGRA) return normalized && (type == GL_UNSIGNED_BYTE || isPackedArrayType(type));
  if (type == GL_UNSIGNED_INT_10F_11F_11F_REV) return size == 3;
  return isBetween(size, 1, 4) && has(kAttribTypes, type) && fitsPacked(size, type);
}

void pointRow(uint32_t number, const ArrayRow& row, const ArrayPlace& place) {
  callPointer(number, row.size, row.type, row.normalized, row.integer, row.wide, place.stride, asPointer(place.offset));
  // To a pointer call a stride of 0 means elements without gaps.
  if (place.stride == 0 && number >= kArrayKinds)
    gl.glBindVertexBuffer(number - kArrayKinds, place.buffer, static_cast<GLintptr>(place.offset), 0);
}

void refusePointer(uint32_t number, uint32_t size, GLenum type, bool normalized, bool integer, bool wide, uint32_t stride) {
  callPointer(number, size, type, normalized, integer, wide, stride, nullptr);
}

void switchRow(uint32_t number, bool on) {
  if (number >= kArrayKinds) {
    return (on ? gl.glEnableVertexAttribArray : gl.glDisableVertexAttribArray)(number - kArrayKinds);
  }
  static constexpr GLenum kTokens[] = {GL_VERTEX_ARRAY,          GL_WEIGHT_ARRAY_ARB, GL_NORMAL_ARRAY, GL_COLOR_ARRAY,
                                       GL_SECONDARY_COLOR_ARRAY, GL_FOG_COORD_ARRAY,  GL_INDEX_ARRAY,  GL_EDGE_FLAG_ARRAY};
  const auto set = on ? gl.glEnableClientState : gl.glDisableClientState;
  if (number < std::size(kTokens)) return set(kTokens[number]);
  gl.glClientActiveTexture(GL_TEXTURE0 + number - kArrayTexCoord0);
  set(GL_TEXTURE_COORD_ARRAY);
}

float halfToFloat(uint16_t half) {
  const int exponent = half >> 10 & 31;
  const int mantissa = half & 1023;
  const float sign = (half & 0x8000) != 0 ? -1.0f : 1.0f;
  if (exponent == 0) return sign * std::ldexp(static_cast<float>(mantissa), -24);
  if (exponent == 31) return mantissa == 0 ? sign * INFINITY : NAN;
  return sign * std::ldexp(static_cast<float>(1024 + mantissa), exponent - 25);
}

namespace {

// An integer of `bits` bits as GL makes a float of it.
double fromInteger(int64_t value, int bits, bool isSigned, bool normalized) {
  if (!normalized) return static_cast<double>(value);
  const double most = static_cast<double>((uint64_t{1} << (bits - (isSigned ? 1 : 0))) - 1);
  return std::max(static_cast<double>(value) / most, -1.0);
}

double component(GLenum type, const uint8_t* data, uint32_t i, bool normalized) {
  switch (type) {
    case GL_BYTE:
      return fromInteger(get<int8_t>(data + i), 8, true, normalized);
    case 0:
    case GL_UNSIGNED_BYTE:
      return fromInteger(data[i], 8, false, normalized);
    case GL_SHORT:
      return fromInteger(get<int16_t>(data + 2 * i), 16, true, normalized);
    case GL_UNSIGNED_SHORT:
      return fromInteger(get<uint16_t>(data + 2 * i), 16, false, normalized);
    case GL_INT:
      return fromInteger(get<int32_t>(data + 4 * i), 32, true, normalized);
    case GL_UNSIGNED_INT:
      return fromInteger(get<uint32_t>(data + 4 * i), 32, false, normalized);
    case GL_FIXED:
      return get<int32_t>(data + 4 * i) / 65536.0;
    case GL_HALF_FLOAT:
      return halfToFloat(get<uint16_t>(data + 2 * i));
    case GL_DOUBLE:
      return get<double>(data + 8 * i);
    default:
      return get<float>(data + 4 * i);
  }
}

struct Element {
  double value[4] = {0, 0, 0, 1};
  uint32_t components = 4;
};

Element decode(const ArrayRow& row, const uint8_t* data, bool normalized) {
  Element out;
  if (isPackedArrayType(row.type)) {
    const auto word = get<uint32_t>(data);
    const bool isSigned = row.type == GL_INT_2_10_10_10_REV;
    for (int i = 0; i < 4; ++i) {
      const int bits = i == 3 ? 2 : 10;
      const uint32_t raw = word >> (10 * i) & ((1u << bits) - 1);
      const int64_t value = isSigned && (raw >> (bits - 1)) != 0 ? int64_t{raw} - (int64_t{1} << bits) : raw;
      out.value[i] = fromInteger(value, bits, isSigned, normalized);
    }
  } else if (row.size == GL_BGRA) {
    for (uint32_t i = 0; i < 4; ++i) out.value[i] = data[i] / 255.0;
  } else {
    out.components = std::min(row.size, 4u);
    for (uint32_t i = 0; i < out.components; ++i) out.value[i] = component(row.type, data, i, normalized);
  }
  if (row.size == GL_BGRA) std::swap(out.value[0], out.value[2]);
  return out;
}

}  // namespace

void giveElement(uint32_t number, const ArrayRow& row, const uint8_t* data) {
  const bool generic = number >= kArrayKinds;
  const bool normalized =
      generic ? row.normalized : number == kArrayNormal || number == kArrayColor || number == kArraySecondaryColor;
  const Element element = decode(row, data, normalized);
  const double* const value = element.value;
  GLfloat v[4];
  for (int i = 0; i < 4; ++i) v[i] = static_cast<GLfloat>(value[i]);
  if (generic) {
    const GLuint index = number - kArrayKinds;
    if (row.wide) return gl.glVertexAttribL4dv(index, value);
    if (!row.integer) return gl.glVertexAttrib4fv(index, v);
    GLuint words[4];
    for (int i = 0; i < 4; ++i) words[i] = static_cast<GLuint>(static_cast<int64_t>(value[i]));
    return gl.glVertexAttribI4uiv(index, words);
  }
  switch (number) {
    case kArrayVertex:
      return gl.glVertex4fv(v);
    case kArrayWeight:
      return;
    case kArrayNormal:
      return gl.glNormal3fv(v);
    case kArrayColor:
      return gl.glColor4fv(v);
    case kArraySecondaryColor:
      return gl.glSecondaryColor3fv(v);
    case kArrayFogCoord:
      return gl.glFogCoordfv(v);
    case kArrayIndex:
      return gl.glIndexfv(v);
    case kArrayEdgeFlag:
      return gl.glEdgeFlag(data[0] != 0);
    default:
      return gl.glMultiTexCoord4fv(GL_TEXTURE0 + number - kArrayTexCoord0, v);
  }
}

}  // namespace qv::peer
