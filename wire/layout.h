// The bytes of a command's payload, derived from its form and its GL prototype: the fixed part and the length of what follows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

#include "wire/forms.h"
#include "wire/map_points.h"
#include "wire/record.h"
#include "wire/sizes.h"

namespace qv {

// --- layout of the fixed part ---

template <typename T>
inline constexpr bool kIsPointer = std::is_pointer_v<T> && !std::is_same_v<T, GLsync>;
template <typename T>
using Pointee = std::remove_const_t<std::remove_pointer_t<T>>;

// Width of a scalar on the wire. GLintptr, GLsizeiptr and GLsync go as their low 32 bits (required oddity 54). GLintptr and
// GLint64 are one C type, and no call takes a GLint64 by value: a signed 64-bit scalar is cut, an unsigned one (GLuint64) is not.
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

// Lays the arguments out in order. Components narrower than 32 bits are packed; beside wider arguments each group of narrow ones
// fills whole words. `VectorCount` components stand for each pointer, none when it is 0.
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
      if (small && count[k] != 0 && groupEnds && anyWide) at = static_cast<uint32_t>(padded(at));
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

// What a form adds to the scalars of its prototype: components behind each pointer and words of its own.
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
struct OneExtraWord {
  static constexpr uint32_t kVector = 0;
  static constexpr uint32_t kExtraWords = 1;
};
template <CountRule Rule>
struct FormTraits<Counted<Rule>> : OneExtraWord {};
template <CountRule Rule>
struct FormTraits<Query<CountedReply<Rule>>> : OneExtraWord {};
template <typename Data>
struct FormTraits<Image<Data>> {
  static constexpr uint32_t kVector = 0;
  static constexpr uint32_t kExtraWords = 2;
};
template <>
struct FormTraits<Text> : OneExtraWord {};
template <>
struct FormTraits<TextQuery> : OneExtraWord {};

// The arguments of a prototype by kind.
template <typename... A>
struct Arguments {
  static constexpr size_t kCount = sizeof...(A);
  static constexpr std::array<bool, kCount + 1> kPointers = {kIsPointer<A>..., true};
  // Both are kCount when there is none.
  static constexpr size_t kFirstPointer = [] {
    size_t i = 0;
    while (!kPointers[i]) ++i;
    return i;
  }();
  static constexpr size_t kLastScalar = [] {
    for (size_t i = kCount; i-- > 0;)
      if (!kPointers[i]) return i;
    return kCount;
  }();
  static constexpr size_t kPointerCount = (size_t{0} + ... + (kIsPointer<A> ? 1 : 0));

  template <size_t I>
  using Type = std::tuple_element_t<I, std::tuple<A..., void>>;
  // What the first pointer points at; bytes when there is no pointer or one to void.
  using Element = typename decltype([] {
    using First = std::conditional_t<kPointerCount == 0, void*, Type<kFirstPointer>>;
    return std::type_identity<std::conditional_t<std::is_void_v<Pointee<First>>, uint8_t, Pointee<First>>>{};
  }())::type;
};

// Bytes of `count` elements of `each` bytes. A negative count has none: GL refuses it before it reads anything.
template <typename Count>
constexpr uint64_t bytesOf(Count count, uint64_t each) {
  if constexpr (std::is_signed_v<Count>) {
    if (count < 0) return 0;
  }
  return static_cast<uint64_t>(count) * each;
}

// Where the arguments of a row stand in the fixed part of its command.
template <typename Form, typename... A>
struct LayoutBase {
  using Args = Arguments<A...>;
  static constexpr auto kSlots = layOut<FormTraits<Form>::kVector, A...>();
  static constexpr uint32_t kExtraAt = kSlots.payload;  // of the form's own word
  static constexpr uint32_t kPayload = kSlots.payload + 4 * FormTraits<Form>::kExtraWords;

  // Stores every scalar, and the components behind a pointer where the form has a fixed number of them. `payload` has room for
  // kPayload bytes.
  static inline void store([[maybe_unused]] uint8_t* payload, A... args) {
    [[maybe_unused]] size_t i = 0;
    (storeOne<A>(payload, kSlots.slot[i++], args), ...);
  }
  // The scalar at index I of the fixed part at `payload`.
  template <size_t I>
  static inline auto scalar(const uint8_t* payload) {
    return getScalar<typename Args::template Type<I>>(payload + kSlots.slot[I].offset);
  }
  static inline uint32_t extraWord(const uint8_t* payload) { return get<uint32_t>(payload + kExtraAt); }

 private:
  template <typename T>
  static inline void storeOne([[maybe_unused]] uint8_t* payload, [[maybe_unused]] const Slot& slot, [[maybe_unused]] T value) {
    if constexpr (kIsPointer<T>) {
      if constexpr (FormTraits<Form>::kVector != 0)
        std::memcpy(payload + slot.offset, value, FormTraits<Form>::kVector * sizeof(Pointee<T>));
    } else {
      putScalar<T>(payload + slot.offset, value);
    }
  }
};

// A row's payload: `kPayload` bytes of fixed part, then a tail of tailBytes() bytes. Only forms with kHasTail have a tail. Its
// length is a word or an argument of the fixed part, and both ends compute it here.
template <typename Form, typename... A>
struct Layout : LayoutBase<Form, A...> {
  static constexpr bool kHasTail = false;
  static constexpr uint64_t tailBytes(const uint8_t*) { return 0; }
};

template <CountRule Rule, typename... A>
struct Layout<Counted<Rule>, A...> : LayoutBase<Counted<Rule>, A...> {
  static constexpr bool kHasTail = true;
  using Element = typename Arguments<A...>::Element;
  static uint64_t tailBytes(const uint8_t* fixed) { return bytesOf(Layout::extraWord(fixed), sizeof(Element)); }
};

template <uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys, typename... A>
struct Layout<Sized<KeyArg, Otherwise, Listed, Keys...>, A...> : LayoutBase<Sized<KeyArg, Otherwise, Listed, Keys...>, A...> {
  static constexpr bool kHasTail = true;
  using Element = typename Arguments<A...>::Element;
  static uint64_t tailBytes(const uint8_t* fixed) {
    const auto key = static_cast<GLenum>(Layout::template scalar<KeyArg>(fixed));
    return uint64_t{Sized<KeyArg, Otherwise, Listed, Keys...>::components(key)} * sizeof(Element);
  }
};

template <uint32_t Per, typename... A>
struct Layout<Array<Per>, A...> : LayoutBase<Array<Per>, A...> {
  static constexpr bool kHasTail = true;
  static constexpr size_t kCountArg = Arguments<A...>::kFirstPointer - 1;
  // Bytes behind all pointers for each one of the count.
  static constexpr uint64_t kEach = Per * (uint64_t{0} + ... + [] {
    if constexpr (!kIsPointer<A>) {
      return 0;
    } else if constexpr (std::is_void_v<Pointee<A>>) {
      return 1;
    } else {
      return static_cast<int>(sizeof(Pointee<A>));
    }
  }());
  static uint64_t tailBytes(const uint8_t* fixed) { return bytesOf(Layout::template scalar<kCountArg>(fixed), kEach); }
};

template <typename Data, typename... A>
struct Layout<Image<Data>, A...> : LayoutBase<Image<Data>, A...> {
  static_assert(Arguments<A...>::kPointerCount == 1 && Arguments<A...>::kFirstPointer + 1 == sizeof...(A));
  static constexpr bool kHasTail = true;
  using Element = typename Arguments<A...>::Element;
  static constexpr uint32_t kPointerAt = Layout::kExtraAt, kCountAt = Layout::kExtraAt + 4;
  static uint32_t pointer(const uint8_t* fixed) { return get<uint32_t>(fixed + kPointerAt); }
  static uint64_t tailBytes(const uint8_t* fixed) { return bytesOf(get<uint32_t>(fixed + kCountAt), sizeof(Element)); }
};

template <uint32_t Dimensions, typename... A>
struct Layout<Evaluator<Dimensions>, A...> : LayoutBase<Evaluator<Dimensions>, A...> {
  static constexpr bool kHasTail = true;
  static_assert(sizeof...(A) == (Dimensions == 1 ? 6 : 10));
  using Element = typename Arguments<A...>::Element;
  // Stride and order stand behind the two ends of each direction's range.
  static uint64_t tailBytes(const uint8_t* fixed) {
    const auto direction = [&]<size_t First>() {
      return MapDirection{Layout::template scalar<First>(fixed), Layout::template scalar<First + 1>(fixed)};
    };
    const GLenum target = Layout::template scalar<0>(fixed);
    if constexpr (Dimensions == 1) {
      return mapSpan(target, direction.template operator()<3>()) * sizeof(Element);
    } else {
      return mapSpan(target, direction.template operator()<3>(), direction.template operator()<7>()) * sizeof(Element);
    }
  }
};

// Whether the tail of a form may be missing although its length is not 0.
template <typename Form>
inline constexpr bool kTailMayBeMissing = false;
template <uint32_t Dimensions>
inline constexpr bool kTailMayBeMissing<Evaluator<Dimensions>> = true;

template <uint32_t Per, typename... A>
struct Layout<Matrices<Per>, A...> : LayoutBase<Matrices<Per>, A...> {
  static constexpr bool kHasTail = true;
  using Args = Arguments<A...>;
  static constexpr size_t kCountArg = Args::kFirstPointer - 2;
  static constexpr size_t kFlagArg = Args::kFirstPointer - 1;
  static_assert(std::is_same_v<typename Args::template Type<kFlagArg>, GLboolean>);
  static constexpr uint64_t kEach = Per * sizeof(typename Args::Element);
  static uint64_t tailBytes(const uint8_t* fixed) { return bytesOf(Layout::template scalar<kCountArg>(fixed), kEach); }
};

// The text's last byte is its terminating zero.
template <typename... A>
struct Layout<Text, A...> : LayoutBase<Text, A...> {
  static constexpr bool kHasTail = true;
  static uint64_t tailBytes(const uint8_t* fixed) { return Layout::extraWord(fixed); }
};
template <typename... A>
struct Layout<TextQuery, A...> : Layout<Text, A...> {};

template <typename Record, typename... A>
struct Layout<As<Record>, A...> {
  static_assert(CommandRecord<Record>);
  using Args = Arguments<A...>;
  static constexpr bool kHasTail = HasTail<Record>;
  static constexpr uint32_t kPayload = sizeof(Record);
  static uint64_t tailBytes(const uint8_t* fixed) {
    if constexpr (HasSizedTail<Record>) {
      return get<Record>(fixed).tailBytes();
    } else {
      return 0;
    }
  }
};

}  // namespace qv
