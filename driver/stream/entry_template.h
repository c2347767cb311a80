// The template that stamped entry points come from: one order of steps for every form.
#pragma once

#include <cstdint>
#include <cstring>
#include <tuple>

#include "driver/base/current_context.h"
#include "driver/objects/display_list_stream.h"
#include "driver/state/gl_context.h"
#include "driver/stream/entry.h"
#include "driver/stream/flush.h"
#include "driver/stream/vertex_run.h"
#include "driver/stream/write_command.h"
#include "wire/entry_table.h"

namespace qv {

template <size_t I, typename... A>
constexpr std::tuple_element_t<I, std::tuple<A...>> argument(A... args) {
  return std::get<I>(std::tuple<A...>(args...));
}

// --- what is decided before anything is written ---

struct Plan {
  uint64_t payload = 0;  // bytes, as payloadOf says
  uint32_t count = 0;    // the form's own word, or the elements of a reply
  GLenum error = 0;      // the code of a refusal; a refusal may be silent
  bool refused = false;
};

// --- writers, one per form ---

// make(context, arguments...): the plan. write(stream, opcode, plan, arguments...): the whole command; the stream is a context's
// or a list's. The forms whose counts come from the tables of value counts have theirs in driver/queries/counted.h.
template <typename Form, typename... A>
struct Writer;

// Commands of one size.
template <typename Form, typename... A>
struct FixedWriter {
  using L = Layout<Form, A...>;
  static constexpr uint32_t kTotal = kSmallHeaderBytes + L::kPayload;
  static Plan make(GlContext*, A...) { return {.payload = L::kPayload}; }
  template <typename Stream>
  static inline void write(Stream& stream, uint32_t opcode, const Plan&, A... args) {
    uint8_t* const at = takeRoom(stream, padded(kTotal));
    put(at, smallHeader(opcode, kTotal));
    L::store(at + kSmallHeaderBytes, args...);
  }
};
template <typename... A>
struct Writer<Fixed, A...> : FixedWriter<Fixed, A...> {};
template <uint32_t N, typename... A>
struct Writer<Vec<N>, A...> : FixedWriter<Vec<N>, A...> {};
template <typename Reply, typename... A>
struct Writer<Query<Reply>, A...> : FixedWriter<Query<Reply>, A...> {};

// Writes a command whose data stands behind one pointer: scalars, the form's own word, data up to the end of the payload.
template <typename Form, typename... A>
struct DataWriter {
  using L = Layout<Form, A...>;
  using Args = Arguments<A...>;
  using Element = typename Args::Element;
  static Plan plan(uint64_t elements, uint64_t word) {
    return {.payload = payloadOf(L::kPayload, elements * sizeof(Element)),
            .count = word > 0xFFFFFFFF ? 0xFFFFFFFF : static_cast<uint32_t>(word)};
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.payload);
    L::store(at, args...);
    if constexpr (FormTraits<Form>::kExtraWords != 0) put(at + L::kExtraAt, plan.count);
    // In bounds: the payload was taken as room, and its fixed part has kPayload bytes.
    if (plan.payload != L::kPayload)
      std::memcpy(at + L::kPayload, argument<Args::kFirstPointer>(args...), static_cast<size_t>(plan.payload) - L::kPayload);
  }
};

template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys, typename... A>
struct Writer<Sized<Key, Otherwise, Listed, Keys...>, A...> : DataWriter<Sized<Key, Otherwise, Listed, Keys...>, A...> {
  static Plan make(GlContext*, A... args) {
    const uint32_t count = Sized<Key, Otherwise, Listed, Keys...>::components(static_cast<GLenum>(argument<Key>(args...)));
    return Writer::plan(count, count);
  }
};

template <uint32_t Dimensions, typename... A>
struct Writer<Evaluator<Dimensions>, A...> : DataWriter<Evaluator<Dimensions>, A...> {
  static Plan make(GlContext*, A... args) {
    using L = Layout<Evaluator<Dimensions>, A...>;
    uint8_t fixed[L::kPayload];
    L::store(fixed, args...);
    const bool given = argument<Arguments<A...>::kFirstPointer>(args...) != nullptr;
    return Writer::plan(given ? L::tailBytes(fixed) / sizeof(typename L::Element) : 0, 0);
  }
};

// A program that gives no text has given an empty one.
inline const GLchar* orEmpty(const GLchar* text) { return text == nullptr ? "" : text; }
template <typename T>
T orEmpty(T argument) {
  return argument;
}

template <typename... A>
struct Writer<Text, A...> : DataWriter<Text, A...> {
  static Plan make(GlContext*, A... args) {
    const uint64_t bytes = std::strlen(orEmpty(argument<Arguments<A...>::kFirstPointer>(args...))) + 1;
    return Writer::plan(bytes, bytes);
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    DataWriter<Text, A...>::write(stream, opcode, plan, orEmpty(args)...);
  }
};
template <typename... A>
struct Writer<TextQuery, A...> : Writer<Text, A...> {};

template <uint32_t Per, typename... A>
struct Writer<Array<Per>, A...> {
  using L = Layout<Array<Per>, A...>;
  static Plan make(GlContext*, A... args) {
    return {.payload = payloadOf(L::kPayload, bytesOf(argument<L::kCountArg>(args...), L::kEach))};
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.payload);
    L::store(at, args...);
    uint8_t* data = at + L::kPayload;
    const auto elements = static_cast<size_t>((plan.payload - L::kPayload) / L::kEach * Per);  // behind each pointer
    (writeElements<A>(data, elements, args), ...);
  }

 private:
  template <typename T>
  static void writeElements(uint8_t*& data, size_t elements, T value) {
    if constexpr (kIsPointer<T>) {
      const size_t bytes = elements * sizeof(typename Arguments<T>::Element);
      // In bounds: kEach counts the elements behind every pointer.
      if (bytes != 0) std::memcpy(data, value, bytes);
      data += bytes;
    }
  }
};

// The arguments of a call by index, for wire/image_size.h.
template <typename... A>
struct CallArguments {
  std::tuple<A...> values;
  template <size_t I>
  constexpr auto at() const {
    return std::get<I>(values);
  }
};

template <typename Data, typename... A>
struct Writer<Image<Data>, A...> {
  using L = Layout<Image<Data>, A...>;
  using Args = Arguments<A...>;
  using Element = typename Args::Element;
  // No data without a pointer, and none when a buffer is bound: the pointer is then an offset into that.
  static Plan make(GlContext* context, A... args) {
    // The pattern of polygons is sized by the state and the buffer of packing: required oddity 85.
    constexpr bool kPacks = std::is_same_v<Data, Stipple>;
    const uint32_t buffer = kPacks ? context->buffers.pixelPack : context->buffers.pixelUnpack;
    uint32_t count = 0;
    if (buffer == 0 && argument<Args::kFirstPointer>(args...) != nullptr) {
      count = dataCount<Data>(kPacks ? context->pixelStore.pack : context->pixelStore.unpack, CallArguments<A...>{{args...}});
    }
    const uint64_t bytes = bytesOf(count, sizeof(Element));
    const uint64_t payload = payloadOf(L::kPayload, bytes);
    // What is too long for a command travels without its data, and OpenGL is told that there is none.
    return {.payload = payload, .count = payload == L::kPayload ? 0 : count};
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    constexpr bool kRecorded = std::is_same_v<Stream, DisplayListStream>;
    const uint64_t payload = kRecorded ? L::kPayload : plan.payload;
    uint8_t* const at = beginCommand(stream, opcode, payload);
    L::store(at, args...);
    const auto* const data = argument<Args::kFirstPointer>(args...);
    put(at + L::kPointerAt, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(data)));
    put(at + L::kCountAt, plan.count);
    // In bounds: the payload was taken as room.
    if (payload != L::kPayload) std::memcpy(at + L::kPayload, data, static_cast<size_t>(payload) - L::kPayload);
  }
};

template <typename Record, typename... A>
struct Writer<As<Record>, A...> {
  using Args = Arguments<A...>;
  static Plan make(GlContext*, A... args) { return {.payload = payloadOf(sizeof(Record), Record::of(args...).tailBytes())}; }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.payload);
    put(at, Record::of(args...));
    // In bounds: the payload was taken as room.
    if (plan.payload != sizeof(Record))
      std::memcpy(at + sizeof(Record), argument<Args::kFirstPointer>(args...), static_cast<size_t>(plan.payload) - sizeof(Record));
  }
};

// --- replies ---

template <typename Form>
inline constexpr bool kAnswersByValue = false;
template <>
inline constexpr bool kAnswersByValue<Query<Answer>> = true;
template <>
inline constexpr bool kAnswersByValue<TextQuery> = true;

template <typename Form>
inline constexpr bool kAnswersByPointer = false;
template <typename Reply>
inline constexpr bool kAnswersByPointer<Query<Reply>> = !std::is_same_v<Reply, Answer>;

// Elements that come back behind the pointer.
template <typename Form, typename... A>
struct ReplyCount {
  static uint32_t of(const Plan& plan, A...) { return plan.count; }
};
template <uint32_t N, typename... A>
struct ReplyCount<Query<Components<N>>, A...> {
  static uint32_t of(const Plan&, A...) { return N; }
};
template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys, typename... A>
struct ReplyCount<Query<SizedReply<Key, Otherwise, Listed, Keys...>>, A...> {
  static uint32_t of(const Plan&, A... args) {
    return Sized<Key, Otherwise, Listed, Keys...>::components(static_cast<GLenum>(argument<Key>(args...)));
  }
};
template <typename... A>
struct ReplyCount<Query<NamesReply>, A...> {
  static uint32_t of(const Plan&, A... args) {
    const GLsizei n = argument<0>(args...);
    return n < 0 ? 0 : static_cast<uint32_t>(n);
  }
};
template <typename... A>
struct ReplyCount<Query<LengthReply>, A...> {
  static uint32_t of(const Plan&, A... args) {
    const auto n = argument<Arguments<A...>::kLastScalar>(args...);
    return n < 0 ? 0 : static_cast<uint32_t>(n);
  }
};

// Asks for a list: its length comes into the first reply, or into a word of the driver's when the caller asks for none, and its
// elements into the second. Without room, or with a negative one, there is no second.
template <typename... A>
void flushForList(GlContext* context, A... args) {
  using Args = Arguments<A...>;
  static_assert(Args::kPointerCount == 2 && Args::kFirstPointer + 2 == Args::kCount);
  auto* const length = argument<Args::kFirstPointer>(args...);
  auto* const list = argument<Args::kFirstPointer + 1>(args...);
  const GLsizei room = argument<Args::kLastScalar>(args...);
  const uint64_t bytes = list == nullptr ? 0 : bytesOf(room, sizeof *list);
  GLsizei unasked = 0;
  static_assert(sizeof *length == sizeof unasked);
  flushStream(context, 0, length == nullptr ? &unasked : length, sizeof unasked, bytes == 0 ? nullptr : list,
              bytes > 0xFFFFFFFF ? 0xFFFFFFFF : static_cast<uint32_t>(bytes));
}

// --- the entry point ---

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Entry;

// Forms whose command has one size and no answer: their entry points have a fast path of their own.
template <typename Form>
inline constexpr bool kOneSize = false;
template <>
inline constexpr bool kOneSize<Fixed> = true;
template <uint32_t N>
inline constexpr bool kOneSize<Vec<N>> = true;

// The shadow step of a row is the overload shadow(op::name, context, arguments...) in the header of its family (driver/calls/).
// A row that names a shadow step and has none does not compile.
template <typename Row, typename R, typename... A>
struct Entry<Row, R(APIENTRY*)(A...)> {
  using Form = typename Row::Form;
  static constexpr uint32_t kOpcode = static_cast<uint32_t>(Row::kOpcode);

  static R APIENTRY call(A... args) {
    if constexpr (kOneSize<Form>) {
      constexpr uint32_t kBytes = padded(kSmallHeaderBytes + LayoutOf<Row>::kPayload);
      GlContext* const context = currentContext();
      if (context && isIdle(context) && context->remaining >= kBytes) [[likely]] {
        context->lastOpcode = static_cast<int32_t>(kOpcode);
        Writer<Form, A...>::write(*context, kOpcode, Plan{}, args...);
        if constexpr (has<Row>(kListTest | kShadow)) shadow(Row{}, context, args...);
        return;
      }
      everyStep(args...);  // out of line, so that the fast path saves no registers
    } else {
      return steps(args...);
    }
  }

 private:
  // Whether the fast path may be taken: no list is open, if the row cares for lists, no primitive and no run. A run is open inside
  // glBegin only, so rows with a begin check need not look for one.
  static bool isIdle(const GlContext* context) {
    if constexpr (has<Row>(kRecords | kListTest)) {
      if (context->recordingList) return false;
    }
    if constexpr (has<Row>(kBeginCheck)) {
      return !context->insideBegin;
    } else {
      return !context->runOpen;
    }
  }

  [[gnu::noinline]] static R everyStep(A... args) { return steps(args...); }

  // Size, recording, checks, run, command, shadow, reply: this order holds for every entry point. A list records the command
  // before any check, and a refused call leaves the stream as it was.
  static inline R steps(A... args) {
    GlContext* const context = currentContext();
    if (!context) [[unlikely]]
      return R();
    const Plan plan = Writer<Form, A...>::make(context, args...);
    if (plan.refused) [[unlikely]] {
      if (plan.error != 0) recordError(context, plan.error, 0, kErrorText);
      context->lastOpcode = static_cast<int32_t>(kOpcode);
      return R();
    }
    if constexpr (has<Row>(kRecords)) {
      if (DisplayListStream* const list = context->recordingList) [[unlikely]] {
        list->lastOpcode = static_cast<int32_t>(kOpcode);
        Writer<Form, A...>::write(*list, kOpcode, plan, args...);
      }
    }
    if constexpr (has<Row>(kBeginCheck)) {
      if (context->insideBegin) [[unlikely]] {
        refuse(context, kOpcode, GL_INVALID_OPERATION);
        return R();
      }
    }
    if (context->runOpen) [[unlikely]]
      closeRun(context, kRunBroken);
    context->lastOpcode = static_cast<int32_t>(kOpcode);
    Writer<Form, A...>::write(*context, kOpcode, plan, args...);
    if constexpr (has<Row>(kListTest)) {
      if (context->listMode != GL_COMPILE) [[likely]]
        shadow(Row{}, context, args...);
    } else if constexpr (has<Row>(kShadow)) {
      shadow(Row{}, context, args...);
    }
    if constexpr (kAnswersByValue<Form>) {
      R answer{};
      flushStream(context, 0, &answer, sizeof answer, nullptr, 0);
      return answer;
    } else if constexpr (std::is_same_v<Form, Query<ListReply>>) {
      flushForList(context, args...);
    } else if constexpr (kAnswersByPointer<Form>) {
      constexpr size_t kReply = sizeof...(A) - 1;
      auto* const reply = argument<kReply>(args...);
      const uint32_t bytes = ReplyCount<Form, A...>::of(plan, args...) * static_cast<uint32_t>(sizeof *reply);
      flushStream(context, 0, bytes == 0 ? nullptr : reply, bytes, nullptr, 0);
    }
  }
};

// --- the same steps for hand-written entry points ---

// Closes an open run, sets lastOpcode and writes the row's command from its arguments.
template <typename Row, typename... A>
inline void send(GlContext* context, A... args) {
  const auto write = [&]<typename R, typename... P>(R(APIENTRY*)(P...)) {
    if (context->runOpen) [[unlikely]]
      closeRun(context, kRunBroken);
    context->lastOpcode = Row::kOpcode;
    using W = Writer<typename Row::Form, P...>;
    W::write(*context, opcodeOf<Row>, W::make(context, args...), args...);
  };
  write(typename Row::Prototype::Pointer{});
}

// Writes the row's command into the list that is being recorded, if one is.
template <typename Row, typename... A>
inline void recordInList(GlContext* context, A... args) {
  DisplayListStream* const list = context->recordingList;
  if (!list) [[likely]]
    return;
  const auto write = [&]<typename R, typename... P>(R(APIENTRY*)(P...)) {
    list->lastOpcode = Row::kOpcode;
    using W = Writer<typename Row::Form, P...>;
    W::write(*list, opcodeOf<Row>, W::make(context, args...), args...);
  };
  write(typename Row::Prototype::Pointer{});
}

// --- vertex run participants ---

template <typename Row, uint32_t Number, typename Pointer = typename Row::Prototype::Pointer>
struct AttributeEntry;

// A scalar call has an argument for each component, a vector call one pointer.
template <typename Row, uint32_t Number, typename T, typename... Rest>
struct AttributeEntry<Row, Number, void(APIENTRY*)(T, Rest...)> {
  // The context is not tested for null: required oddity 81.
  static void APIENTRY call(T first, Rest... rest) {
    if constexpr (Number == kByTarget) {
      // The target is not checked, an unusual one makes an unusual signature: required oddity 80.
      constexpr GLenum kTargetBias = 33976;  // so that GL_TEXTURE0 is attribute 8
      if (!repeats(first - kTargetBias, rest...)) [[unlikely]]
        otherwise(first, rest...);
    } else {
      if (!repeats(Number, first, rest...)) [[unlikely]]
        otherwise(first, rest...);
    }
  }

 private:
  // Element type, number and copying of the components, behind a pointer or as arguments.
  template <typename C, typename... Cs>
  struct Components {
    using Element = std::conditional_t<std::is_pointer_v<C>, Pointee<C>, C>;
    static constexpr uint32_t kCount = std::is_pointer_v<C> ? FormTraits<typename Row::Form>::kVector : 1 + sizeof...(Cs);
    static inline void store(uint8_t* at, C value, Cs... values) {
      if constexpr (std::is_pointer_v<C>) {
        std::memcpy(at, value, kCount * sizeof(Element));
      } else {
        put(at, value);
        [[maybe_unused]] uint8_t* next = at;
        (put(next += sizeof(Element), values), ...);
      }
    }
  };

  // The fast path: the call repeats the layout of the run.
  template <typename... C>
  static inline bool repeats(uint32_t number, C... components) {
    using Values = Components<C...>;
    return repeatAttribute<Number, typename Values::Element, Values::kCount>(
        currentContext(), number, [&](uint8_t* at) { Values::store(at, components...); });
  }

  [[gnu::noinline]] static void otherwise(T first, Rest... rest) {
    GlContext* const context = currentContext();
    const auto plain = [&] {
      context->lastOpcode = Row::kOpcode;
      Writer<typename Row::Form, T, Rest...>::write(*context, static_cast<uint32_t>(Row::kOpcode), Plan{}, first, rest...);
    };
    if constexpr (Number == kByTarget) {
      constexpr GLenum kTargetBias = 33976;
      define(context, first - kTargetBias, plain, rest...);
    } else {
      define(context, Number, plain, first, rest...);
    }
  }
  template <typename Plain, typename... C>
  static inline void define(GlContext* context, uint32_t number, Plain&& plain, C... components) {
    using Values = Components<C...>;
    defineAttribute<Number, typename Values::Element, Values::kCount>(
        context, number, [&](uint8_t* at) { Values::store(at, components...); }, plain);
  }
};

}  // namespace qv
