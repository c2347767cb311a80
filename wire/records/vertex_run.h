// Records of vertex runs: the packed vertices of a glBegin that was not sent.
#pragma once

#include <cstdint>
#include <type_traits>

#include "wire/gl_api.h"
#include "wire/record.h"
#include "wire/sizes.h"

namespace qv {

// Attribute numbers of tags. kTexCoord is that of texture coordinate set 0.
inline constexpr uint32_t kPosition = 0, kNormal = 2, kColor = 3, kTexCoord = 8;
inline constexpr uint32_t kByTarget = 255;  // in the table: the texture coordinate set is the first argument

inline constexpr uint32_t kRunSlots = 16;

// Type code of a component.
template <typename T>
constexpr uint32_t runTypeCode() {
  if (std::is_same_v<T, GLdouble>) return 0;
  if (std::is_same_v<T, GLfloat>) return 1;
  if (std::is_same_v<T, GLint>) return 2;
  if (std::is_same_v<T, GLuint>) return 3;
  if (std::is_same_v<T, GLshort>) return 4;
  if (std::is_same_v<T, GLushort>) return 5;
  if (std::is_same_v<T, GLbyte>) return 6;
  return 7;
}
inline constexpr uint32_t kRunTypes = 8;
inline constexpr uint32_t kRunTypeBytes[kRunTypes] = {8, 4, 4, 4, 2, 2, 1, 1};

// The tag of a slot: component count in bits 15..12, type code in 11..8, attribute number in 7..0.
struct RunTag {
  uint16_t bits;

  static constexpr RunTag of(uint32_t components, uint32_t type, uint32_t number) {
    return {static_cast<uint16_t>(components << 12 | type << 8 | number)};
  }
  constexpr uint32_t components() const { return bits >> 12; }
  constexpr uint32_t type() const { return bits >> 8 & 0xF; }
  constexpr uint32_t number() const { return bits & 0xFF; }
  constexpr bool valid() const { return type() < kRunTypes && components() >= 1 && components() <= 4; }
};

// Bytes of an attribute in a vertex: each is padded on its own.
constexpr uint32_t runAttributeBytes(uint32_t components, uint32_t componentBytes) {
  return static_cast<uint32_t>(padded(components * componentBytes));
}
// Bytes of the tags of a run with so many slots.
constexpr uint32_t runTagBytes(uint32_t slots) { return static_cast<uint32_t>(padded(2 * slots)); }

// qvRunEnded and qvRunBroken, always in large form: one tag per slot follows, padded to whole words, and then the vertices up to
// the command's end.
struct VertexRunRecord {
  uint32_t packed;  // mode in bits 31..24, slots in 23..16, bytes of a vertex in 15..0

  static constexpr const char* kWords[] = {"packed"};
  static constexpr bool kOpenTail = true;
  static constexpr VertexRunRecord of(uint32_t mode, uint32_t slots, uint32_t stride) {
    return {mode << 24 | (slots & 0xFF) << 16 | (stride & 0xFFFF)};
  }
  constexpr uint32_t mode() const { return packed >> 24; }
  constexpr uint32_t slots() const { return packed >> 16 & 0xFF; }
  constexpr uint32_t stride() const { return packed & 0xFFFF; }
};

// Bytes of a run before its tags.
inline constexpr uint32_t kRunHeadBytes = kLargeHeaderBytes + sizeof(VertexRunRecord);

// A swap, or a release of the context, inside glBegin writes glFlush, the mark of a frame's end, into the open run and breaks the
// run (required oddity 12). A qvRunBroken at the end of a stream thus may end with this word, which belongs to no vertex. When
// there was an attribute and no vertex yet, the stream ends right behind the word, in whose place the first tags stand, and the
// total counts the word, all tags and the attributes.
inline constexpr uint32_t kMarkInRun = smallHeader(217, kSmallHeaderBytes);
inline constexpr uint32_t kRunWithoutVerticesBytes = kRunHeadBytes + kSmallHeaderBytes;

}  // namespace qv
