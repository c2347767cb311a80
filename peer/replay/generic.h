// Replay of every row whose layout its form tells: one handler per row, stamped from the forms that the driver encodes with.
//
// Each handler relies on the range check of its OpcodeEntry for the fixed part and checks by itself what follows it.
#pragma once

#include <tuple>
#include <utility>

#include "peer/gl_functions.h"
#include "peer/replay/opcode_table.h"
#include "peer/replay/replayer.h"

namespace qv::peer {

// The real function of a row.
template <typename Row>
auto realFunction();
#define QV_ROW(name, ...)                \
  template <>                            \
  inline auto realFunction<op::name>() { \
    return gl.name;                      \
  }
#include "driver/stream/entry_points.def"

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct RowCall;
template <typename Row, typename R, typename... A>
struct RowCall<Row, R(APIENTRY*)(A...)> {
  using RowLayout = Layout<typename Row::Form, A...>;
  static constexpr auto kSlots = RowLayout::kSlots;
  static constexpr size_t kArguments = sizeof...(A);
  static constexpr uint32_t kPayload = RowLayout::kPayload;  // the form's own word included
  static constexpr uint32_t kExtraAt = RowLayout::kExtraAt;
  template <size_t I>
  using Argument = std::tuple_element_t<I, std::tuple<A...>>;

  static constexpr size_t kPointers = (size_t{0} + ... + (kIsPointer<A> ? 1 : 0));
  // Index of the first pointer argument; kArguments when there is none.
  static constexpr size_t kFirstPointer = [] {
    constexpr bool pointer[] = {kIsPointer<A>..., true};
    size_t i = 0;
    while (!pointer[i]) ++i;
    return i;
  }();
  // What the first pointer points at; bytes when there is no pointer or one to void.
  using Element = decltype([] {
    if constexpr (kPointers == 0) {
      return uint8_t{};
    } else if constexpr (std::is_void_v<Pointee<Argument<kFirstPointer>>>) {
      return uint8_t{};
    } else {
      return Pointee<Argument<kFirstPointer>>{};
    }
  }());

  // Calls the real function: scalars from the payload, pointer number k from `pointers[k]`.
  static R call(const uint8_t* payload, void* const* pointers) {
    return call(payload, pointers, std::index_sequence_for<A...>{});
  }

  template <size_t I>
  static Argument<I> scalar(const uint8_t* payload) {
    return getScalar<Argument<I>>(payload + kSlots.slot[I].offset);
  }

 private:
  template <size_t I>
  static Argument<I> argument(const uint8_t* payload, void* const* pointers) {
    if constexpr (kIsPointer<Argument<I>>) {
      constexpr bool pointer[] = {kIsPointer<A>...};
      constexpr size_t number = [&] {
        size_t k = 0;
        for (size_t i = 0; i < I; ++i) k += pointer[i];
        return k;
      }();
      return static_cast<Argument<I>>(pointers[number]);
    } else {
      return scalar<I>(payload);
    }
  }
  template <size_t... I>
  static R call([[maybe_unused]] const uint8_t* payload, [[maybe_unused]] void* const* pointers, std::index_sequence<I...>) {
    return realFunction<Row>()(argument<I>(payload, pointers)...);
  }
};

// The replay of a form; a form without one does not compile.
template <typename Row, typename Form>
struct FormReplay;

template <typename Row>
struct FormReplay<Row, Fixed> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers == 0, "a pointer that the host would follow");
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = 0;
  static bool replay(Replayer&, const uint8_t* payload, uint32_t) {
    Call::call(payload, nullptr);
    return true;
  }
};

template <typename Row, uint32_t N>
struct FormReplay<Row, Vec<N>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers >= 1 && Call::kFirstPointer + Call::kPointers == Call::kArguments);
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = 0;
  static bool replay(Replayer&, const uint8_t* payload, uint32_t) {
    typename Call::Element values[Call::kPointers][N];
    void* pointers[Call::kPointers];
    for (size_t k = 0; k < Call::kPointers; ++k) {
      // In bounds: the payload has been checked to hold the N components at each pointer's slot.
      std::memcpy(values[k], payload + Call::kSlots.slot[Call::kFirstPointer + k].offset, sizeof values[k]);
      pointers[k] = values[k];
    }
    Call::call(payload, pointers);
    return true;
  }
};

template <typename Row, uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct FormReplay<Row, Sized<KeyArg, Otherwise, Listed, Keys...>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers == 1);
  using Element = typename Call::Element;
  static constexpr uint32_t kFewest = Otherwise < Listed ? Otherwise : Listed, kMost = Otherwise < Listed ? Listed : Otherwise;
  static constexpr uint32_t kLeast = Call::kPayload + kFewest * sizeof(Element), kSpan = (kMost - kFewest) * sizeof(Element);
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
    const auto key = static_cast<GLenum>(Call::template scalar<KeyArg>(payload));
    const uint32_t count = Row::Form::components(key);
    if (bytes != Call::kPayload + count * sizeof(Element)) return replayer.fail("a payload of %u bytes for 0x%x", bytes, key);
    // GL itself decides by the name how many it reads; no name makes it read more than 16.
    Element values[16] = {};
    // In bounds: the payload's length has just been compared with the count, and the count is 4 at most.
    std::memcpy(values, payload + Call::kPayload, count * sizeof(Element));
    void* const pointer = values;
    Call::call(payload, &pointer);
    return true;
  }
};

template <typename Row, CountRule Rule>
struct FormReplay<Row, qv::Counted<Rule>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers == 1);
  using Element = typename Call::Element;
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = 4096 * sizeof(Element);
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
    const uint32_t count = get<uint32_t>(payload + Call::kExtraAt);
    if (count > 4096 || bytes != Call::kPayload + count * sizeof(Element)) {
      return replayer.fail("%u elements in a payload of %u bytes", count, bytes);
    }
    // As above: what GL reads is up to the name, and zeros follow what the guest gave.
    uint8_t* const values = replayer.scratch((count < 16 ? 16 : count) * sizeof(Element));
    std::memcpy(values, payload + Call::kPayload, count * sizeof(Element));
    void* const pointer = values;
    Call::call(payload, &pointer);
    return true;
  }
};

template <typename Row, uint32_t Per>
struct FormReplay<Row, Array<Per>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers >= 1 && Call::kPointers <= 2 && Call::kFirstPointer >= 1);
  using Element = typename Call::Element;
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = kAnySpan;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
    const auto given = static_cast<int64_t>(Call::template scalar<Call::kFirstPointer - 1>(payload));
    // GL refuses a negative count before it reads anything.
    const uint64_t each = given < 0 ? 0 : static_cast<uint64_t>(given) * Per * sizeof(Element);
    if (bytes - Call::kPayload != each * Call::kPointers) {
      return replayer.fail("%lld elements in a payload of %u bytes", static_cast<long long>(given), bytes);
    }
    uint8_t* const values = replayer.scratch(bytes - Call::kPayload + 64);
    std::memcpy(values, payload + Call::kPayload, bytes - Call::kPayload);
    void* const pointers[] = {values, values + each};
    Call::call(payload, pointers);
    return true;
  }
};

// Points at a name of `bytes` bytes that ends within them; null when it does not.
inline const char* checkedText(Replayer& replayer, const uint8_t* payload, uint32_t fixed, uint32_t lengthAt, uint32_t bytes) {
  const uint32_t length = get<uint32_t>(payload + lengthAt);
  if (length != bytes - fixed || length == 0 || payload[bytes - 1] != 0) {
    replayer.fail("a text of %u bytes in a payload of %u", length, bytes);
    return nullptr;
  }
  return reinterpret_cast<const char*>(payload + fixed);
}

template <typename Row>
struct FormReplay<Row, Text> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers == 1);
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = kAnySpan;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
    const char* const text = checkedText(replayer, payload, Call::kPayload, Call::kExtraAt, bytes);
    if (text == nullptr) return false;
    void* const pointer = const_cast<char*>(text);
    Call::call(payload, &pointer);
    return true;
  }
};

template <typename Row>
struct FormReplay<Row, TextQuery> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers == 1);
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = kAnySpan;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t bytes) {
    const char* const text = checkedText(replayer, payload, Call::kPayload, Call::kExtraAt, bytes);
    if (text == nullptr) return false;
    void* const pointer = const_cast<char*>(text);
    const auto result = Call::call(payload, &pointer);
    replayer.answer(&result, sizeof result);
    return true;
  }
};

template <typename Row>
struct FormReplay<Row, Query<Answer>> {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers == 0);
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = 0;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t) {
    const auto result = Call::call(payload, nullptr);
    static_assert(!std::is_pointer_v<std::remove_const_t<decltype(result)>>, "a handle needs a name of the peer's own");
    // Answers go as their low 32 bits where they are wider.
    replayer.answer(&result, sizeof result < 4 ? sizeof result : 4);
    return true;
  }
};

// Queries into memory. GL decides by the name how much it writes, and no name makes it write more than kScratchBytes; the
// guest gets as much as the form says, zeros where GL wrote nothing.
template <typename Row>
bool replayQuery(Replayer& replayer, const uint8_t* payload, uint64_t elements, uint64_t most) {
  using Call = RowCall<Row>;
  static_assert(Call::kPointers == 1);
  if (elements > most) return replayer.fail("%llu values asked for", static_cast<unsigned long long>(elements));
  const auto bytes = static_cast<uint32_t>(elements * sizeof(typename Call::Element));
  uint8_t* const values = replayer.scratch(bytes);
  void* const pointer = values;
  Call::call(payload, &pointer);
  replayer.answer(values, bytes);
  return true;
}

template <typename Row, uint32_t N>
struct FormReplay<Row, Query<Components<N>>> {
  static constexpr uint32_t kLeast = RowCall<Row>::kPayload, kSpan = 0;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t) { return replayQuery<Row>(replayer, payload, N, N); }
};

template <typename Row, uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct FormReplay<Row, Query<SizedReply<KeyArg, Otherwise, Listed, Keys...>>> {
  static constexpr uint32_t kLeast = RowCall<Row>::kPayload, kSpan = 0;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t) {
    const auto key = static_cast<GLenum>(RowCall<Row>::template scalar<KeyArg>(payload));
    return replayQuery<Row>(replayer, payload, SizedReply<KeyArg, Otherwise, Listed, Keys...>::components(key), 16);
  }
};

template <typename Row, CountRule Rule>
struct FormReplay<Row, Query<CountedReply<Rule>>> {
  using Call = RowCall<Row>;
  static constexpr uint32_t kLeast = Call::kPayload, kSpan = 0;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t) {
    return replayQuery<Row>(replayer, payload, get<uint32_t>(payload + Call::kExtraAt),
                            Replayer::kScratchBytes / sizeof(typename Call::Element));
  }
};

// Here GL writes as many as it is told, so the scratch memory is sized by the number.
template <typename Row, size_t CountArg>
bool replayLengthQuery(Replayer& replayer, const uint8_t* payload) {
  const auto count = static_cast<int64_t>(RowCall<Row>::template scalar<CountArg>(payload));
  return replayQuery<Row>(replayer, payload, count < 0 ? 0 : static_cast<uint64_t>(count), 1u << 20);
}

template <typename Row>
struct FormReplay<Row, Query<NamesReply>> {
  static constexpr uint32_t kLeast = RowCall<Row>::kPayload, kSpan = 0;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t) {
    return replayLengthQuery<Row, 0>(replayer, payload);
  }
};

template <typename Row>
struct FormReplay<Row, Query<LengthReply>> {
  static constexpr uint32_t kLeast = RowCall<Row>::kPayload, kSpan = 0;
  static bool replay(Replayer& replayer, const uint8_t* payload, uint32_t) {
    return replayLengthQuery<Row, RowCall<Row>::kFirstPointer - 1>(replayer, payload);
  }
};

}  // namespace qv::peer
