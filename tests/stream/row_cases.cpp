// Describes the rows of the table as data: templates end here, so that what goes through a thousand rows stays cheap to compile.
#include "tests/stream/row_cases.h"

#include <bit>
#include <cstring>
#include <string_view>
#include <utility>

namespace qv::test {
namespace {

template <typename Form>
struct Facts {
  static constexpr bool kKnown = false;
};
#define QV_FACTS(...)                    \
  struct Facts<__VA_ARGS__> {            \
    static constexpr bool kKnown = true; \
    static FormFacts get()
template <>
QV_FACTS(Fixed) { return {}; }
};
template <uint32_t N>
QV_FACTS(Vec<N>) { return {Kind::kVec, N, 0, 0, {}, {}}; }
};
template <uint32_t K, uint32_t O, uint32_t L, GLenum... Keys>
QV_FACTS(Sized<K, O, L, Keys...>) { return {Kind::kSized, K, O, L, {Keys...}, {}}; }
};
template <CountRule R>
QV_FACTS(Counted<R>) { return {Kind::kCounted, 0, 0, 0, {}, R}; }
};
template <uint32_t Per>
QV_FACTS(Array<Per>) { return {Kind::kArray, Per, 0, 0, {}, {}}; }
};
template <>
QV_FACTS(Query<Answer>) { return {Kind::kAnswer, 0, 0, 0, {}, {}}; }
};
template <uint32_t N>
QV_FACTS(Query<Components<N>>) { return {Kind::kComponents, N, 0, 0, {}, {}}; }
};
template <uint32_t K, uint32_t O, uint32_t L, GLenum... Keys>
QV_FACTS(Query<SizedReply<K, O, L, Keys...>>) { return {Kind::kSizedReply, K, O, L, {Keys...}, {}}; }
};
template <CountRule R>
QV_FACTS(Query<CountedReply<R>>) { return {Kind::kCountedReply, 0, 0, 0, {}, R}; }
};
template <>
QV_FACTS(Query<NamesReply>) { return {Kind::kNamesReply, 0, 0, 0, {}, {}}; }
};
template <>
QV_FACTS(Query<LengthReply>) { return {Kind::kLengthReply, 0, 0, 0, {}, {}}; }
};
#undef QV_FACTS

template <typename T>
Arg describe() {
  Arg arg;
  if constexpr (kIsPointer<T>) {
    arg.pointer = true;
    if constexpr (std::is_void_v<Pointee<T>>) {
      arg.width = 1;
    } else {
      arg.width = sizeof(Pointee<T>);
    }
  } else {
    arg.width = sizeof(T);
    arg.real = std::is_floating_point_v<T>;
    arg.cut = std::is_pointer_v<T> || (sizeof(T) == 8 && std::is_integral_v<T> && std::is_signed_v<T>);
  }
  return arg;
}
template <typename T>
T valueOf(const Arg& arg) {
  if constexpr (kIsPointer<T>) {
    return reinterpret_cast<T>(memory);
  } else if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(static_cast<uintptr_t>(arg.bits));
  } else {
    T value;
    std::memcpy(&value, &arg.bits, sizeof value);
    return value;
  }
}
template <typename R, typename... A, size_t... I>
void callWith(R(APIENTRY* routine)(A...), const std::vector<Arg>& args, std::index_sequence<I...>) {
  routine(valueOf<A>(args[I])...);
}
template <typename Function>
struct Maker;
template <typename R, typename... A>
struct Maker<R(APIENTRY*)(A...)> {
  static void call(PROC proc, const std::vector<Arg>& args) {
    callWith(reinterpret_cast<R(APIENTRY*)(A...)>(reinterpret_cast<void (*)()>(proc)), args, std::index_sequence_for<A...>{});
  }
  static std::vector<Arg> args() { return {describe<A>()...}; }
  static constexpr uint32_t returnBytes() {
    if constexpr (std::is_void_v<R>) {
      return 0;
    } else {
      return sizeof(R);
    }
  }
};

template <uint32_t N>
constexpr bool isAttribute(Attribute<N>*) {
  return true;
}
constexpr bool isAttribute(void*) { return false; }

size_t firstPointer(const std::vector<Arg>& args) {
  for (size_t i = 0; i < args.size(); ++i)
    if (args[i].pointer) return i;
  return args.size();
}

}  // namespace

uint8_t memory[512];

void fillMemory() {
  for (size_t i = 0; i < sizeof memory; ++i) memory[i] = static_cast<uint8_t>(7 * i + 3);
}

std::vector<RowCase> stampedRows() {
  std::vector<RowCase> out;
  forEachRow([&](auto tag) {
    using Row = decltype(tag);
    using Make = Maker<typename Row::Prototype::Pointer>;
    constexpr bool kAttribute = isAttribute(static_cast<typename Row::Implementation*>(nullptr));
    if constexpr (kAttribute || std::is_same_v<typename Row::Implementation, Stamped>) {
      if constexpr (Facts<typename Row::Form>::kKnown)
        out.push_back({Row::kName, Row::kOpcode, Row::kSize, Row::kProperties, kAttribute, Facts<typename Row::Form>::get(),
                       Make::args(), Make::returnBytes(), &Make::call});
    }
  });
  return out;
}

uint32_t countOf(uint32_t pname) {
  switch (pname) {
    case GL_AMBIENT:
    case GL_POSITION:
    case GL_TEXTURE_ENV_COLOR:
      return 4;
    case GL_SPOT_DIRECTION:
      return 3;
    case GL_SAMPLE_POSITION:
      return 2;
    default:
      return 1;
  }
}

std::vector<Fix> fixesOf(const RowCase& row) {
  const FormFacts& form = row.form;
  switch (form.kind) {
    case Kind::kSized:
    case Kind::kSizedReply: {
      std::vector<Fix> out = {{}};
      for (const uint32_t key : form.keys) out.push_back({static_cast<int>(form.n), key});
      return out;
    }
    case Kind::kCounted:
    case Kind::kCountedReply:
      if (form.rule == CountRule::Value) return {{1, GL_AMBIENT}, {1, GL_SHININESS}, {1, GL_SPOT_DIRECTION}};
      if (form.rule == CountRule::ValueFirst) return {{0, GL_SAMPLE_POSITION}};
      if (form.rule == CountRule::TexEnv) return {{1, GL_TEXTURE_ENV_COLOR}, {1, GL_TEXTURE_ENV_MODE}};
      return {};  // the count of an evaluator query takes a query of its own: tested apart
    default:
      return {{}};
  }
}

std::vector<Arg> argumentsOf(const RowCase& row, const Fix& fix) {
  std::vector<Arg> args = row.args;
  uint32_t next = 0x11;
  for (Arg& arg : args) {
    if (arg.pointer) continue;
    next += 0x0101;
    const uint32_t value = next & (arg.width == 1 ? 0x7F : 0x7FFF);
    arg.bits = !arg.real ? value : arg.width == 4 ? std::bit_cast<uint32_t>(static_cast<float>(value))
                                                  : std::bit_cast<uint64_t>(static_cast<double>(value));
  }
  if (fix.index >= 0) args[static_cast<size_t>(fix.index)].bits = fix.value;
  if (row.form.kind == Kind::kArray) args[firstPointer(args) - 1].bits = kArrayCount;
  if (row.form.kind == Kind::kNamesReply) args[0].bits = kArrayCount;
  if (row.form.kind == Kind::kLengthReply) args[args.size() - 2].bits = kArrayCount;
  return args;
}

uint32_t sizedCount(const FormFacts& form, const Fix& fix) { return fix.index >= 0 ? form.listed : form.otherwise; }

uint32_t elementsOf(const RowCase& row, const Fix& fix) {
  switch (row.form.kind) {
    case Kind::kVec:
      return row.form.n;
    case Kind::kSized:
      return sizedCount(row.form, fix);
    case Kind::kCounted:
      return countOf(fix.value);
    case Kind::kArray:
      return kArrayCount * row.form.n;
    default:
      return 0;
  }
}

}  // namespace qv::test
