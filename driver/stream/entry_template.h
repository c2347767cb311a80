// The template that stamped entry points come from: one order of steps for every form.
#pragma once

#include <cstdint>
#include <cstring>
#include <tuple>

#include "driver/diagnostics/record_error.h"
#include "driver/frame/process_state.h"
#include "driver/lists/display_list_stream.h"
#include "driver/queries/limit_cache.h"
#include "driver/queries/value_count.h"
#include "driver/state/gl_context.h"
#include "driver/stream/flush.h"
#include "driver/stream/shadow_hooks.h"
#include "driver/stream/vertex_run.h"
#include "driver/stream/write_command.h"

namespace qv {

// Records an error of the whole family's standard text and leaves the stream as it was.
inline void refuse(GlContext* context, uint32_t opcode, GLenum code) {
  recordError(context, code, 0, kErrorText);
  context->lastOpcode = static_cast<int32_t>(opcode);
}

template <size_t I, typename... A>
constexpr std::tuple_element_t<I, std::tuple<A...>> argument(A... args) {
  return std::get<I>(std::tuple<A...>(args...));
}

// Index of the last scalar, of the first and of the last pointer among the arguments.
template <typename... A>
struct Arguments {
  static constexpr size_t kCount = sizeof...(A);
  static constexpr size_t npos = ~size_t{0};
  static constexpr std::array<bool, kCount + 1> kPointers = {kIsPointer<A>..., false};
  static constexpr size_t kFirstPointer = [] {
    for (size_t i = 0; i < kCount; ++i)
      if (kPointers[i]) return i;
    return npos;
  }();
  static constexpr size_t kLastScalar = [] {
    for (size_t i = kCount; i-- > 0;)
      if (!kPointers[i]) return i;
    return npos;
  }();
};

// --- what is decided before anything is written ---

struct Plan {
  uint32_t total = 0;    // small-form total
  uint32_t count = 0;    // elements or data bytes, by form
  GLenum error = 0;      // the code of a refusal
  bool refused = false;
};

// Value count of a pname that decides how many elements an array has. GL_SHADER_BINARY_FORMATS has no row in the tables: its
// count is the cached limit, and a count of 0 stops the call without an error.
inline Plan planCount(const GlContext* context, CountRule rule, GLenum first, GLenum pname) {
  Plan plan;
  int32_t count = 0;
  plan.error = GL_INVALID_ENUM;
  if (rule == CountRule::Value || rule == CountRule::ValueFirst) {
    if (pname == GL_SHADER_BINARY_FORMATS) {
      count = shaderBinaryFormatCount(context);
      plan.error = 0;
    } else {
      count = valueCount(context->contextVersion, pname);
    }
  } else if (rule == CountRule::TexEnv) {
    count = texEnvValueCount(pname);
  } else {
    count = mapValueCount(first, pname);
  }
  plan.refused = count < 1;
  plan.count = plan.refused ? 0 : static_cast<uint32_t>(count);
  return plan;
}

// --- writers, one per form ---

// make(): the plan. write(): the whole command; `stream` is a context's or a list's.
template <typename Form, typename... A>
struct Writer;

template <typename Form, typename... A>
struct FixedWriter {
  using L = Layout<Form, A...>;
  static Plan make(GlContext*, A...) { return {.total = L::kTotal}; }
  template <typename Stream>
  static inline void write(Stream& stream, uint32_t opcode, const Plan&, A... args) {
    uint8_t* const at = takeRoom(stream, padded(L::kTotal));
    put(at, smallHeader(opcode, L::kTotal));
    L::store(at + 4, args...);
  }
};
template <typename... A>
struct Writer<Fixed, A...> : FixedWriter<Fixed, A...> {};
template <uint32_t N, typename... A>
struct Writer<Vec<N>, A...> : FixedWriter<Vec<N>, A...> {};
template <typename Reply, typename... A>
struct Writer<Query<Reply>, A...> : FixedWriter<Query<Reply>, A...> {};

template <CountRule Rule, typename... A>
struct Writer<Query<CountedReply<Rule>>, A...> {
  using L = Layout<Query<CountedReply<Rule>>, A...>;
  static Plan make(GlContext* context, A... args) {
    constexpr size_t kPname = Rule == CountRule::ValueFirst ? 0 : Arguments<A...>::kLastScalar;
    Plan plan = planCount(context, Rule, static_cast<GLenum>(argument<0>(args...)), static_cast<GLenum>(argument<kPname>(args...)));
    plan.total = L::kTotal;
    return plan;
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.total);
    L::store(at, args...);
    put(at + L::kExtraAt, plan.count);
  }
};

template <CountRule Rule, typename... A>
struct Writer<Counted<Rule>, A...> {
  using L = Layout<Counted<Rule>, A...>;
  static constexpr size_t kData = Arguments<A...>::kFirstPointer;
  using Element = Pointee<std::tuple_element_t<kData, std::tuple<A...>>>;
  static Plan make(GlContext* context, A... args) {
    Plan plan = planCount(context, Rule, static_cast<GLenum>(argument<0>(args...)), static_cast<GLenum>(argument<kData - 1>(args...)));
    plan.total = L::kTotal + plan.count * static_cast<uint32_t>(sizeof(Element));
    return plan;
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.total);
    L::store(at, args...);
    put(at + L::kExtraAt, plan.count);
    // In bounds: the total counts these elements.
    std::memcpy(at + L::kPayload, argument<kData>(args...), plan.count * sizeof(Element));
  }
};

template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys, typename... A>
struct Writer<Sized<Key, Otherwise, Listed, Keys...>, A...> {
  using Form = Sized<Key, Otherwise, Listed, Keys...>;
  using L = Layout<Form, A...>;
  static constexpr size_t kData = Arguments<A...>::kFirstPointer;
  using Element = Pointee<std::tuple_element_t<kData, std::tuple<A...>>>;
  static Plan make(GlContext*, A... args) {
    const uint32_t count = Form::components(static_cast<GLenum>(argument<Key>(args...)));
    return {.total = L::kTotal + count * static_cast<uint32_t>(sizeof(Element)), .count = count};
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.total);
    L::store(at, args...);
    // In bounds: the total counts these components.
    std::memcpy(at + L::kPayload, argument<kData>(args...), plan.count * sizeof(Element));
  }
};

template <uint32_t Per, typename... A>
struct Writer<Array<Per>, A...> {
  using L = Layout<Array<Per>, A...>;
  using Args = Arguments<A...>;
  static Plan make(GlContext*, A... args) {
    const auto count = argument<Args::kFirstPointer - 1>(args...);
    // A negative count goes to the host with no elements behind it, and the host reports it.
    const uint32_t elements = static_cast<int64_t>(count) < 0 ? 0 : static_cast<uint32_t>(count) * Per;
    const uint32_t fixed = L::kTotal;
    const uint32_t total = fixed + elements * kElementBytes;
    return {.total = total, .count = total < fixed ? 0 : elements};
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.total);
    L::store(at, args...);
    uint8_t* data = at + L::kPayload;
    (writeElements<A>(data, plan.count, args), ...);
  }

 private:
  template <typename T>
  static constexpr uint32_t elementBytes() {
    if constexpr (kIsPointer<T>) {
      if constexpr (std::is_void_v<Pointee<T>>) {
        return 1;
      } else {
        return sizeof(Pointee<T>);
      }
    } else {
      return 0;
    }
  }
  static constexpr uint32_t kElementBytes = (elementBytes<A>() + ...);
  template <typename T>
  static void writeElements(uint8_t*& data, uint32_t count, T value) {
    if constexpr (kIsPointer<T>) {
      const size_t bytes = size_t{count} * elementBytes<T>();
      // In bounds: the total counts the elements behind every pointer.
      if (bytes != 0) std::memcpy(data, value, bytes);
      data += bytes;
    }
  }
};

template <typename... A>
struct Writer<Text, A...> {
  using L = Layout<Text, A...>;
  static constexpr size_t kText = Arguments<A...>::kFirstPointer;
  static Plan make(GlContext*, A... args) {
    const uint32_t bytes = static_cast<uint32_t>(std::strlen(argument<kText>(args...)) + 1);
    return {.total = L::kTotal + bytes, .count = bytes};
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.total);
    L::store(at, args...);
    put(at + L::kExtraAt, plan.count);
    // In bounds: the total counts the text, unless it wrapped in 32 bits, and then nothing is copied.
    if (plan.total >= L::kTotal) std::memcpy(at + L::kPayload, argument<kText>(args...), plan.count);
  }
};
template <typename... A>
struct Writer<TextQuery, A...> : Writer<Text, A...> {};

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
struct ReplyCount;
template <uint32_t N, typename... A>
struct ReplyCount<Query<Components<N>>, A...> {
  static uint32_t of(const Plan&, A...) { return N; }
};
template <CountRule Rule, typename... A>
struct ReplyCount<Query<CountedReply<Rule>>, A...> {
  static uint32_t of(const Plan& plan, A...) { return plan.count; }
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

template <typename Row, typename R, typename... A>
struct Entry<Row, R(APIENTRY*)(A...)> {
  using Form = typename Row::Form;
  static constexpr uint32_t kOpcode = static_cast<uint32_t>(Row::kOpcode);

  static R APIENTRY call(A... args) {
    if constexpr (kOneSize<Form>) {
      constexpr uint32_t kBytes = padded(LayoutOf<Row>::kTotal);
      GlContext* const context = currentContext();
      if (context && isIdle(context) && context->remaining >= kBytes) [[likely]] {
        context->lastOpcode = static_cast<int32_t>(kOpcode);
        Writer<Form, A...>::write(*context, kOpcode, Plan{}, args...);
        if constexpr (has<Row>(kListTest | kShadow)) Shadow<Row>::apply(context, args...);
        return;
      }
      everyStep(args...);  // out of line, so that the fast path saves no registers
    } else {
      return steps(args...);
    }
  }

 private:
  // Nothing is recorded, refused or cut off: no list is open where the row cares for lists, no primitive, no run. A run is open
  // inside glBegin only, so that rows with a begin check need not look at it.
  static bool isIdle(const GlContext* context) {
    if constexpr (has<Row>(kRecords | kListTest)) {
      if (context->recordingList) return false;
    }
    if constexpr (has<Row>(kBeginCheck)) {
      return !context->insideBegin;
    } else {
      return !context->run.open;
    }
  }

  [[gnu::noinline]] static R everyStep(A... args) { return steps(args...); }

  // Size, recording, checks, run, command, shadow, reply: this order holds for every entry point. What a list records it
  // records before any check, and a refused call leaves the stream as it was.
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
    if (context->run.open) [[unlikely]]
      closeRun(context, kRunBroken);
    context->lastOpcode = static_cast<int32_t>(kOpcode);
    Writer<Form, A...>::write(*context, kOpcode, plan, args...);
    if constexpr (has<Row>(kListTest)) {
      if (context->listMode != GL_COMPILE) [[likely]]
        Shadow<Row>::apply(context, args...);
    } else if constexpr (has<Row>(kShadow)) {
      Shadow<Row>::apply(context, args...);
    }
    if constexpr (kAnswersByValue<Form>) {
      R answer{};
      flushStream(context, 0, &answer, sizeof answer, nullptr, 0);
      return answer;
    } else if constexpr (kAnswersByPointer<Form>) {
      constexpr size_t kReply = sizeof...(A) - 1;
      auto* const reply = argument<kReply>(args...);
      const uint32_t bytes = ReplyCount<Form, A...>::of(plan, args...) * static_cast<uint32_t>(sizeof *reply);
      flushStream(context, 0, bytes == 0 ? nullptr : reply, bytes, nullptr, 0);
    }
  }
};

// --- vertex run participants ---

template <typename Row, uint32_t Number, typename Pointer = typename Row::Prototype::Pointer>
struct AttributeEntry;

// Scalar calls, the position of every component an argument of its own.
template <typename Row, uint32_t Number, typename T, typename... Rest>
struct AttributeEntry<Row, Number, void(APIENTRY*)(T, Rest...)> {
  // The context is not tested for null: calling these without one is undefined.
  static void APIENTRY call(T first, Rest... rest) {
    if constexpr (Number == kByTarget) {
      // The target is not checked: an unusual one makes an unusual signature.
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
