// A stub for each row of the table, from the row's form.
#include "fuzz/stub_gl/stub_gl.h"

#include <cstdlib>
#include <string_view>
#include <unordered_map>

#include "fuzz/core/require.h"
#include "fuzz/stub_gl/stub_state.h"
#include "peer/replay/gl_functions.h"
#include "wire/layout.h"

namespace qv::fuzz {

thread_local StubState stub;

namespace {

constexpr uint64_t kMostWritten = 65536;  // by any query whose name decides
constexpr uint64_t kMostRead = 16;        // values, where a name decides

template <typename R>
R anyResult() {
  if constexpr (std::is_pointer_v<R>) {
    return R();
  } else if constexpr (!std::is_void_v<R>) {
    return stub.random.oneIn(4) ? static_cast<R>(stub.random.below(16)) : R();
  }
}

// A query of which GL alone knows how much it writes.
void writeByName(void* to, uint64_t elementBytes) {
  const uint64_t values = stub.random.oneIn(256) ? kMostWritten / elementBytes : 1 + stub.random.below(16);
  writeMemory(to, values * elementBytes);
}

template <typename Form>
struct Touch {  // scalars only, or a family whose functions have stubs of their own
  template <typename... A>
  static void memory(A...) {}
};

template <size_t I, typename... A>
auto argument(A... arguments) {
  return std::get<I>(std::tuple<A...>(arguments...));
}

template <typename T>
void readElements(T pointer, uint64_t count) {
  if constexpr (kIsPointer<T>) readMemory(static_cast<const void*>(pointer), count * sizeof(typename Arguments<T>::Element));
}

template <uint32_t N>
struct Touch<Vec<N>> {
  template <typename... A>
  static void memory(A... arguments) {
    (readElements(arguments, N), ...);
  }
};
template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct Touch<Sized<Key, Otherwise, Listed, Keys...>> {
  template <typename... A>
  static void memory(A... arguments) {
    (readElements(arguments, kMostRead), ...);
  }
};
template <CountRule Rule>
struct Touch<Counted<Rule>> {
  template <typename... A>
  static void memory(A... arguments) {
    (readElements(arguments, kMostRead), ...);
  }
};
template <uint32_t Per>
struct Touch<Array<Per>> {
  template <typename... A>
  static void memory(A... arguments) {
    const auto count = static_cast<int64_t>(argument<Arguments<A...>::kFirstPointer - 1>(arguments...));
    require(count >= 0, "GL is handed an array of negative length");
    (readElements(arguments, static_cast<uint64_t>(count) * Per), ...);
  }
};
struct TouchText {
  template <typename... A>
  static void memory(A... arguments) {
    (readText(arguments), ...);
  }
  template <typename T>
  static void readText(T pointer) {
    if constexpr (std::is_same_v<T, const GLchar*>) readMemory(pointer, std::strlen(pointer) + 1);
  }
};
template <>
struct Touch<Text> : TouchText {};
template <>
struct Touch<TextQuery> : TouchText {};

// Behind the last argument, which is where replies go.
template <uint32_t N>
struct Touch<Query<Components<N>>> {
  template <typename... A>
  static void memory(A... arguments) {
    writeByName(argument<sizeof...(A) - 1>(arguments...), sizeof(typename Arguments<A...>::Element));
  }
};
template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct Touch<Query<SizedReply<Key, Otherwise, Listed, Keys...>>> : Touch<Query<Components<1>>> {};
template <CountRule Rule>
struct Touch<Query<CountedReply<Rule>>> : Touch<Query<Components<1>>> {};
template <>
struct Touch<Query<NamesReply>> {
  template <typename... A>
  static void memory(A... arguments) {
    const GLsizei count = argument<0>(arguments...);
    if (count > 0) writeMemory(argument<1>(arguments...), static_cast<uint64_t>(count) * 4);
  }
};
template <>
struct Touch<Query<LengthReply>> {
  template <typename... A>
  static void memory(A... arguments) {
    const auto count = argument<Arguments<A...>::kLastScalar>(arguments...);
    if (count > 0) {
      writeMemory(argument<sizeof...(A) - 1>(arguments...),
                  static_cast<uint64_t>(count) * sizeof(typename Arguments<A...>::Element));
    }
  }
};
template <>
struct Touch<As<CallListsRecord>> {
  static void memory(GLsizei count, GLenum type, const void* names) {
    if (count > 0) readMemory(names, static_cast<uint64_t>(count) * listNameBytes(type));
  }
};

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Stub;
template <typename Row, typename R, typename... A>
struct Stub<Row, R(APIENTRY*)(A...)> {
  static R APIENTRY call(A... arguments) {
    Touch<typename Row::Form>::memory(arguments...);
    return anyResult<R>();
  }
};

using Function = void (*)();

const std::unordered_map<std::string_view, Function>& byName() {
  static const std::unordered_map<std::string_view, Function> map = [] {
    std::unordered_map<std::string_view, Function> out;
#define QV_ROW(name, ...) out[#name] = reinterpret_cast<Function>(peer::gl.name);
#include "wire/entry_points.def"
    return out;
  }();
  return map;
}

}  // namespace

void installStubGl() {
#define QV_ROW(name, ...) peer::gl.name = &Stub<op::name>::call;
#include "wire/entry_points.def"
  installStubState();
  installStubPixels();
#define QV_LACKING(name) peer::gl.name = nullptr;
#include "fuzz/stub_gl/lacking.def"
  byName();
}

void (*stubGlFunction(const char* name))() {
  const auto found = byName().find(name);
  return found == byName().end() ? nullptr : found->second;
}

void restartStubGl(uint64_t seed) {
  stub = {};
  stub.random = Random(seed);
}

}  // namespace qv::fuzz
