// Replay of a command from its form: one handler per row, stamped from the layouts that the driver encodes with.
//
// A handler reads the fixed part and compares the rest with the length that the fixed part gives, before anything is called. Forms
// and families read the rest through a Reader; the handler looks at its failure afterwards.
#pragma once

#include <tuple>
#include <utility>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/texture_memory.h"
#include "peer/replay/textures.h"
#include "peer/replay/vertex_attributes.h"
#include "wire/reader.h"

namespace qv::peer {

// The real function of a row.
template <typename Row>
auto realFunction();
#define QV_ROW(name, ...)                \
  template <>                            \
  inline auto realFunction<op::name>() { \
    return gl.name;                      \
  }
#include "wire/entry_points.def"

// The call of a row's real function.
template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct RowCall;
template <typename Row, typename R, typename... A>
struct RowCall<Row, R(APIENTRY*)(A...)> : Arguments<A...> {
  using L = Layout<typename Row::Form, A...>;

  // Scalars from the fixed part, pointer number k from `pointers[k]`.
  static R call(const uint8_t* fixed, void* const* pointers) { return call(fixed, pointers, std::index_sequence_for<A...>{}); }

 private:
  template <size_t I>
  static auto argument(const uint8_t* fixed, void* const* pointers) {
    using Argument = typename Arguments<A...>::template Type<I>;
    if constexpr (kIsPointer<Argument>) {
      constexpr size_t kNumber = [] {
        size_t k = 0;
        for (size_t i = 0; i < I; ++i) k += Arguments<A...>::kPointers[i];
        return k;
      }();
      return static_cast<Argument>(pointers[kNumber]);
    } else {
      return L::template scalar<I>(fixed);
    }
  }
  template <size_t... I>
  static R call([[maybe_unused]] const uint8_t* fixed, [[maybe_unused]] void* const* pointers, std::index_sequence<I...>) {
    return realFunction<Row>()(argument<I>(fixed, pointers)...);
  }
};

// --- the replay of each form; a form without one does not compile ---

// replay(replayer, fixed part, rest)
template <typename Row, typename Form>
struct FormReplay;

template <typename Row>
struct FormReplay<Row, Fixed> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount == 0, "a pointer that the host would follow");
  static void replay(Replayer&, const uint8_t* fixed, Reader&) { Call::call(fixed, nullptr); }
};

template <typename Row, uint32_t N>
struct FormReplay<Row, Vec<N>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount >= 1 && Call::kFirstPointer + Call::kPointerCount == Call::kCount);
  static void replay(Replayer&, const uint8_t* fixed, Reader&) {
    typename Call::Element values[Call::kPointerCount][N];
    void* pointers[Call::kPointerCount];
    for (size_t k = 0; k < Call::kPointerCount; ++k) {
      std::memcpy(values[k], fixed + Call::L::kSlots.slot[Call::kFirstPointer + k].offset, sizeof values[k]);
      pointers[k] = values[k];
    }
    Call::call(fixed, pointers);
  }
};

// A tail behind one pointer. GL itself decides by a name how much it reads, at most 16 values for any name: zeros follow what the
// guest gave.
template <typename Row>
void replayData(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount == 1);
  using Element = typename Call::Element;
  const auto data = rest.rest();
  uint8_t* const values = replayer.scratch(data.size() < 16 * sizeof(Element) ? 16 * sizeof(Element) : data.size());
  data.copyTo(values);
  void* const pointer = values;
  Call::call(fixed, &pointer);
}

template <typename Row, uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct FormReplay<Row, Sized<KeyArg, Otherwise, Listed, Keys...>> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) { replayData<Row>(replayer, fixed, rest); }
};

template <typename Row, CountRule Rule>
struct FormReplay<Row, Counted<Rule>> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) { replayData<Row>(replayer, fixed, rest); }
};

// The values behind a fixed part, where GL may read them: in place, or in scratch memory for elements that want more alignment than
// a command has. GL reads as many as its arguments say.
template <typename Element>
void* alignedValues(Replayer& replayer, const Elements<uint8_t>& data) {
  if constexpr (alignof(Element) <= 4) {
    if (reinterpret_cast<uintptr_t>(data.data()) % alignof(Element) == 0) [[likely]] return const_cast<uint8_t*>(data.data());
  }
  uint8_t* const values = replayer.scratch(data.size());
  data.copyTo(values);
  return values;
}

template <typename Implementation>
inline constexpr bool kIsUniform = false;
template <uint32_t Type>
inline constexpr bool kIsUniform<Uniform<Type>> = true;

template <typename Row, uint32_t Per>
struct FormReplay<Row, Array<Per>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount >= 1 && Call::kPointerCount <= 2 && Call::kFirstPointer >= 1);
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
    // Some functions of some OpenGLs copy before they check the sign.
    if (static_cast<int64_t>(Call::L::template scalar<Call::L::kCountArg>(fixed)) < 0) return refuse(replayer, GL_INVALID_VALUE);
    const auto data = rest.rest();
    if constexpr (kIsUniform<typename Row::Implementation>) {
      void* const pointer = alignedValues<typename Call::Element>(replayer, data);
      return static_cast<void>(Call::call(fixed, &pointer));
    }
    uint8_t* const values = replayer.scratch(data.size() + 64);
    data.copyTo(values);
    void* const pointers[] = {values, values + data.size() / Call::kPointerCount};
    Call::call(fixed, pointers);
  }
};

template <typename Row, uint32_t Per>
struct FormReplay<Row, Matrices<Per>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount == 1);
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
    if (Call::L::template scalar<Call::L::kCountArg>(fixed) < 0) return refuse(replayer, GL_INVALID_VALUE);
    void* const pointer = alignedValues<typename Call::Element>(replayer, rest.rest());
    Call::call(fixed, &pointer);
  }
};

template <typename Row>
struct FormReplay<Row, Text> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount == 1);
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
    const char* const text = rest.text(rest.left());
    if (text == nullptr) return replayer.fail("text without its terminating zero");
    void* const pointer = const_cast<char*>(text);
    Call::call(fixed, &pointer);
  }
};

template <typename Row>
struct FormReplay<Row, TextQuery> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount == 1);
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
    const char* const text = rest.text(rest.left());
    if (text == nullptr) return replayer.fail("text without its terminating zero");
    void* const pointer = const_cast<char*>(text);
    auto result = Call::call(fixed, &pointer);
    if constexpr (std::is_same_v<Row, op::glGetProgramResourceIndex>) {
      const ResourceOrders* const orders = replayer.state().shared->ordersOf(Call::L::template scalar<1>(fixed));
      if (orders != nullptr) orders->toGuest(Call::L::template scalar<0>(fixed), &result, 1);
    }
    replayer.answer(&result, sizeof result);
  }
};

template <typename Row>
struct FormReplay<Row, Query<Answer>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount == 0);
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    const auto result = Call::call(fixed, nullptr);
    static_assert(!std::is_pointer_v<std::remove_const_t<decltype(result)>>, "a handle needs a name of the peer's own");
    // A wider result goes as its low 32 bits.
    replayer.answer(&result, sizeof result < 4 ? sizeof result : 4);
  }
};

// Device identifiers of memory objects: they crash an OpenGL that offers the extension without such devices.
constexpr bool isDeadlyName(GLenum name) { return name == GL_DEVICE_LUID_EXT || name == GL_DEVICE_NODE_MASK_EXT; }

// Queries into memory. GL decides by a name how much it writes, at most kScratchBytes for any name. The guest gets as much as the
// form says, zeros where GL wrote nothing.
//
// A query that GL refuses has an empty reply, so that the program's memory stays as it was. The glGet family answers zeros: the guest
// takes a limit from each of its replies.
template <typename Row>
void replayQuery(Replayer& replayer, const uint8_t* fixed, uint64_t elements, uint64_t most) {
  using Call = RowCall<Row>;
  static_assert(Call::kPointerCount == 1);
  if (elements > most) return replayer.fail("query for %llu values", static_cast<unsigned long long>(elements));
  if constexpr (std::is_same_v<typename Call::template Type<0>, GLenum>) {
    if (isDeadlyName(Call::L::template scalar<0>(fixed))) [[unlikely]] return refuse(replayer, GL_INVALID_ENUM);
  }
  const auto bytes = static_cast<uint32_t>(elements * sizeof(typename Call::Element));
  uint8_t* const values = replayer.scratch(bytes);
  void* const pointer = values;
  constexpr bool kStaysOnError = !std::is_same_v<typename Row::Form, Query<CountedReply<CountRule::Value>>>;
  if constexpr (kStaysOnError) {
    if (!replayer.insideBegin()) {
      holdGlError(replayer);
      Call::call(fixed, &pointer);
      return replayer.answer(values, glRefused(replayer) ? 0 : bytes);
    }
  }
  Call::call(fixed, &pointer);
  if constexpr (!kStaysOnError) {
    // The bindings of mapped names that the guest does not answer itself.
    const auto key = static_cast<GLenum>(Call::L::template scalar<0>(fixed));
    const bool feedback = key == GL_TRANSFORM_FEEDBACK_BINDING;
    if ((feedback || isTextureBinding(key)) && elements == 1) [[unlikely]] {
      using Element = typename Call::Element;
      const auto given = static_cast<double>(get<Element>(values));
      const GLuint real = given > 0 && given < 4294967296.0 ? static_cast<GLuint>(given) : 0;
      const GLuint name = feedback ? replayer.state().feedbacks.guestOf(real) : guestTexture(replayer, real);
      put(values, static_cast<Element>(sizeof(Element) == 1 ? name != 0 : name));
    }
  }
  replayer.answer(values, bytes);
}

template <typename Row, uint32_t N>
struct FormReplay<Row, Query<Components<N>>> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) { replayQuery<Row>(replayer, fixed, N, N); }
};

template <typename Row, uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct FormReplay<Row, Query<SizedReply<KeyArg, Otherwise, Listed, Keys...>>> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    const auto key = static_cast<GLenum>(RowCall<Row>::L::template scalar<KeyArg>(fixed));
    replayQuery<Row>(replayer, fixed, SizedReply<KeyArg, Otherwise, Listed, Keys...>::components(key), 16);
  }
};

template <typename Row, CountRule Rule>
struct FormReplay<Row, Query<CountedReply<Rule>>> {
  using Call = RowCall<Row>;
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    replayQuery<Row>(replayer, fixed, Call::L::extraWord(fixed), Replayer::kScratchBytes / sizeof(typename Call::Element));
  }
};

// Here GL writes as many values as the command says, so that number sizes the scratch memory.
template <typename Row, size_t CountArg>
void replayLengthQuery(Replayer& replayer, const uint8_t* fixed) {
  replayQuery<Row>(replayer, fixed, bytesOf(RowCall<Row>::L::template scalar<CountArg>(fixed), 1), 1u << 20);
}

template <typename Row>
struct FormReplay<Row, Query<NamesReply>> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) { replayLengthQuery<Row, 0>(replayer, fixed); }
};

template <typename Row>
struct FormReplay<Row, Query<LengthReply>> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    replayLengthQuery<Row, RowCall<Row>::kFirstPointer - 1>(replayer, fixed);
  }
};

// --- functions of their own ---

// Calls a row's own function with the record, or with the scalars of the fixed part.
template <typename Row, typename L, auto Function>
void callOwn(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
  const auto call = [&](auto&&... arguments) {
    if constexpr (L::kHasTail) {
      Function(replayer, arguments..., rest);
    } else {
      Function(replayer, arguments...);
    }
  };
  using Record = typename RecordOf<typename Row::Form>::Record;
  if constexpr (!std::is_void_v<Record>) {
    call(get<Record>(fixed));
  } else {
    [&]<size_t... I>(std::index_sequence<I...>) { call(L::template scalar<ScalarIndices<Row>::kIndex[I]>(fixed)...); }
    (std::make_index_sequence<ScalarIndices<Row>::kCount>{});
  }
}

// --- the handler ---

// Levels that OpenGL would make by itself are the host's to make.
template <typename Row, typename L, void (*Replay)(Replayer&, const uint8_t*, Reader&)>
void replayFilling(Replayer& replayer, const uint8_t* fixed, Reader& payload) {
  if constexpr (kSetsTexParameter<Row>) {
    if (L::template scalar<1>(fixed) == GL_GENERATE_MIPMAP)
      replayer.state().shared->levelsMakeThemselves.store(true, std::memory_order_relaxed);
  }
  if constexpr (kFillsTexture<Row>) {
    if (replayer.state().shared->levelsMakeThemselves.load(std::memory_order_relaxed)) [[unlikely]] {
      const LevelsAtEnd levels(replayer, L::template scalar<0>(fixed), L::template scalar<1>(fixed));
      return Replay(replayer, fixed, payload);
    }
  }
  Replay(replayer, fixed, payload);
}

template <typename Row, typename L, void (*Replay)(Replayer&, const uint8_t*, Reader&)>
bool replayCommand(Replayer& replayer, Reader payload) {
  const uint64_t bytes = payload.left();
  if constexpr (!L::kHasTail) {
    if (bytes != L::kPayload) [[unlikely]]
      return replayer.wrongSize(bytes, L::kPayload);
  }
  const uint8_t* const fixed = payload.bytes(L::kPayload);
  if (fixed == nullptr) [[unlikely]]
    return replayer.wrongSize(bytes, L::kPayload);
  if constexpr (L::kHasTail && !HasOpenTail<typename RecordOf<typename Row::Form>::Record>) {
    const uint64_t tail = L::tailBytes(fixed);
    if (payload.left() != tail) [[unlikely]] {
      // A guest whose tail is too long for a command sends the command without it.
      const bool tooLong = payloadOf(L::kPayload, tail) == L::kPayload;
      if (payload.left() != 0 || (!tooLong && !kTailMayBeMissing<typename Row::Form>))
        return replayer.wrongSize(bytes, L::kPayload + tail);
      if (tooLong) {
        replayer.passOver(opcodeOf<Row>, Row::kName, "its tail is too long for a command");
        return true;
      }
    }
  }
  if constexpr (setsAttribute(Row::kName)) {
    if (replayer.state().listInsideBegin && !mayDefineInList(replayer, opcodeOf<Row>, Row::kName)) [[unlikely]]
      return true;
  }
  if constexpr (kTextureImage<Row>.width != kNotThere || kGeneratesLevels<Row>) {
    TextureRoom room;
    if constexpr (kGeneratesLevels<Row>) {
      const GLenum target = L::template scalar<0>(fixed);
      const LevelLimit limit(replayer, target);
      if (!limit.holds()) {
        replayer.passOver(opcodeOf<Row>, Row::kName, "in a list, of a texture with images beyond its levels");
        return true;
      }
      if (!room.takeLevels(replayer, opcodeOf<Row>, Row::kName, target)) return true;
      Replay(replayer, fixed, payload);
    } else {
      if (!room.take(replayer, opcodeOf<Row>, Row::kName, textureImageOf<Row, L>(fixed))) return true;
      replayFilling<Row, L, Replay>(replayer, fixed, payload);
    }
    room.settle(replayer);
  } else {
    replayFilling<Row, L, Replay>(replayer, fixed, payload);
  }
  if constexpr (L::kHasTail) {
    if (payload.failed()) [[unlikely]]
      return replayer.wrongData();
  }
  return replayer.sound();
}

}  // namespace qv::peer
