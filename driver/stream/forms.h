// The payload forms of commands and their layouts, derived from a GL prototype and usable to encode and to decode.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "driver/stream/gl_api.h"

namespace qv {

// --- columns of the table ---

inline constexpr int kVariable = -1;   // size: computed at the call
inline constexpr int kNoCommand = -2;  // size: the routine writes no command
inline constexpr int kNoOpcode = -1;
inline constexpr int kNotCore = -1;

inline constexpr uint32_t kRecords = 1;
inline constexpr uint32_t kBeginCheck = 2;
inline constexpr uint32_t kListTest = 4;
inline constexpr uint32_t kShadow = 8;

struct Stamped {};
struct Custom {};
struct Absent {};
// A participant of vertex runs; `Number` is the attribute number of its tag.
inline constexpr uint32_t kPosition = 0, kNormal = 2, kColor = 3, kTexCoord = 8;
inline constexpr uint32_t kByTarget = 255;  // the texture coordinate set is the first argument
template <uint32_t Number>
struct Attribute {};

// Type code in the tag of a run's attribute, bits 11..8.
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

// Bytes of one list name of glCallLists. A type that is no list type counts as a byte, and the host refuses it.
constexpr uint32_t listNameBytes(GLenum type) {
  switch (type) {
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_2_BYTES:
      return 2;
    case GL_3_BYTES:
      return 3;
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
    case GL_4_BYTES:
      return 4;
    default:
      return 1;
  }
}

// --- forms ---

// Which table a value count comes from. The pname is the last scalar, but for ValueFirst, where an index follows it.
enum class CountRule { Value, ValueFirst, TexEnv, Map };

struct Fixed {};  // scalars only
template <uint32_t N>
struct Vec {};    // scalars, and N components behind each pointer
// Scalars, then `Listed` components behind the pointer when argument KeyArg is one of Keys, else `Otherwise`. No count word.
template <uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct Sized {
  static constexpr uint32_t kKeyArg = KeyArg;
  static constexpr uint32_t components(GLenum key) { return ((key == Keys) || ...) ? Listed : Otherwise; }
};
template <CountRule Rule>
struct Counted {};  // scalars, element count, elements; the count follows from the last scalar
template <uint32_t Per>
struct Array {};    // scalars, then count x Per elements behind each pointer; the count is the scalar before the first pointer
struct Text {};       // scalars, byte count with the terminating zero, bytes
struct TextQuery {};  // Text, answered by the return value
struct ListNames {};  // glCallLists: n, type, byte count, bytes
struct Local {};      // no command
struct Family {};     // laid out by the routine of its family

// Queries write their scalars and flush for a reply.
template <typename Reply>
struct Query {};
struct Answer {};  // the return value
struct Bytes {};   // a text, into memory that the routine chooses
template <uint32_t N>
struct Components {};  // N elements behind the pointer
template <uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct SizedReply : Sized<KeyArg, Otherwise, Listed, Keys...> {};
template <CountRule Rule>
struct CountedReply {};  // an element count follows the scalars, and as many elements come back
struct NamesReply {};    // as many names as the first argument says
struct LengthReply {};   // as many elements as the last scalar says

// --- headers and cursors ---

inline constexpr uint32_t kLargeFormAt = 0x100000;  // small-form totals from here on do not fit in a small header

// `smallTotal` is 32-bit on purpose: a total that wraps counts as small.
constexpr bool needsLargeForm(uint32_t smallTotal) { return smallTotal >= kLargeFormAt; }
constexpr uint32_t smallHeader(uint32_t opcode, uint32_t total) { return total << 12 | opcode; }
constexpr uint32_t padded(uint32_t bytes) { return (bytes + 3) & ~3u; }

template <typename T>
inline void put(uint8_t* at, T value) {
  std::memcpy(at, &value, sizeof value);
}
template <typename T>
inline T get(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// --- layout of the fixed part ---

template <typename T>
inline constexpr bool kIsPointer = std::is_pointer_v<T> && !std::is_same_v<T, GLsync>;
template <typename T>
using Pointee = std::remove_const_t<std::remove_pointer_t<T>>;

// Width of a scalar on the wire: pointers in disguise, GLintptr, GLsizeiptr and GLsync, go as their low 32 bits. GLintptr and
// GLint64 are one C type, but no call takes a GLint64 by value: a signed 64-bit scalar is cut, an unsigned one (GLuint64) is not.
template <typename T>
constexpr uint32_t scalarWidth() {
  if (std::is_same_v<T, GLsync>) return 4;
  return sizeof(T) == 8 && std::is_integral_v<T> && std::is_signed_v<T> ? 4 : sizeof(T);
}

struct Slot {
  uint32_t offset = 0;  // from the first payload byte
  uint32_t width = 0;   // bytes of one component
  uint32_t count = 0;   // components; 0 for a pointer whose data does not stand in the fixed part
};

template <size_t N>
struct Slots {
  std::array<Slot, N == 0 ? 1 : N> slot{};
  uint32_t payload = 0;  // bytes
};

// Arguments in order. Components narrower than 32 bits are packed; where the command has wider arguments too, each group of
// them fills whole words. `VectorCount` components stand for each pointer, none when it is 0.
template <uint32_t VectorCount, typename... A>
constexpr Slots<sizeof...(A)> layOut() {
  Slots<sizeof...(A)> out;
  constexpr size_t n = sizeof...(A);
  if constexpr (n != 0) {
    uint32_t width[n] = {};
    uint32_t count[n] = {};
    size_t i = 0;
    (
        [&] {
          if constexpr (kIsPointer<A>) {
            if constexpr (!std::is_void_v<Pointee<A>>) width[i] = sizeof(Pointee<A>);
            count[i] = VectorCount;
          } else {
            width[i] = scalarWidth<A>();
            count[i] = 1;
          }
          ++i;
        }(),
        ...);
    bool anyWide = false;
    for (size_t k = 0; k < n; ++k) anyWide = anyWide || (count[k] != 0 && width[k] >= 4);
    uint32_t at = 0;
    for (size_t k = 0; k < n; ++k) {
      const bool small = width[k] < 4;
      out.slot[k] = {at, width[k], count[k]};
      at += width[k] * count[k];
      const bool groupEnds = k + 1 == n || width[k + 1] >= 4;
      if (small && count[k] != 0 && groupEnds && anyWide) at = padded(at);
    }
    out.payload = at;
  }
  return out;
}

template <typename T>
inline void putScalar(uint8_t* at, T value) {
  if constexpr (std::is_same_v<T, GLsync>) {
    put(at, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(value)));
  } else if constexpr (scalarWidth<T>() < sizeof(T)) {
    put(at, static_cast<uint32_t>(value));
  } else {
    put(at, value);
  }
}
// The inverse: cut values come back zero-extended, as the host sees them.
template <typename T>
inline T getScalar(const uint8_t* at) {
  if constexpr (std::is_same_v<T, GLsync>) {
    return reinterpret_cast<GLsync>(static_cast<uintptr_t>(get<uint32_t>(at)));
  } else if constexpr (scalarWidth<T>() < sizeof(T)) {
    return static_cast<T>(get<uint32_t>(at));
  } else {
    return get<T>(at);
  }
}

// What the fixed part of a form looks like: components behind each pointer and words that the form adds.
template <typename Form>
struct FormTraits {
  static constexpr uint32_t kVector = 0;
  static constexpr uint32_t kExtraWords = 0;
};
template <uint32_t N>
struct FormTraits<Vec<N>> {
  static constexpr uint32_t kVector = N;
  static constexpr uint32_t kExtraWords = 0;
};
template <CountRule Rule>
struct FormTraits<Counted<Rule>> {
  static constexpr uint32_t kVector = 0;
  static constexpr uint32_t kExtraWords = 1;
};
template <CountRule Rule>
struct FormTraits<Query<CountedReply<Rule>>> {
  static constexpr uint32_t kVector = 0;
  static constexpr uint32_t kExtraWords = 1;
};
template <>
struct FormTraits<Text> {
  static constexpr uint32_t kVector = 0;
  static constexpr uint32_t kExtraWords = 1;
};
template <>
struct FormTraits<TextQuery> : FormTraits<Text> {};
template <>
struct FormTraits<ListNames> : FormTraits<Text> {};

// Layout of a row's fixed part for the arguments A.
template <typename Form, typename... A>
struct Layout {
  static constexpr auto kSlots = layOut<FormTraits<Form>::kVector, A...>();
  static constexpr uint32_t kExtraAt = kSlots.payload;                                // of the form's own word
  static constexpr uint32_t kPayload = kSlots.payload + 4 * FormTraits<Form>::kExtraWords;
  static constexpr uint32_t kTotal = 4 + kPayload;

  // Stores every scalar, and the components behind a pointer where the form has a fixed number of them.
  static inline void store([[maybe_unused]] uint8_t* payload, A... args) {
    [[maybe_unused]] size_t i = 0;
    (storeOne<A>(payload, kSlots.slot[i++], args), ...);
  }

 private:
  template <typename T>
  static inline void storeOne([[maybe_unused]] uint8_t* payload, [[maybe_unused]] const Slot& slot, [[maybe_unused]] T value) {
    if constexpr (kIsPointer<T>) {
      // In bounds: the caller reserved kPayload bytes, and the slot's components end within them.
      if constexpr (FormTraits<Form>::kVector != 0) std::memcpy(payload + slot.offset, value, FormTraits<Form>::kVector * sizeof(Pointee<T>));
    } else {
      putScalar<T>(payload + slot.offset, value);
    }
  }
};

}  // namespace qv
