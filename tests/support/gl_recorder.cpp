// A recorder for each GL function.
#include "tests/support/gl_recorder.h"

namespace qv::test {
namespace {

GlRecorder* recorder = nullptr;

[[gnu::noinline]] void addBytes(GlCall& call, const void* from, size_t bytes) {
  const uint8_t* const at = static_cast<const uint8_t*>(from);
  call.arguments.emplace_back(at, at + bytes);
}

template <typename T>
void add(GlCall& call, T value) {
  if constexpr (kIsPointer<T>) {
    addBytes(call, reinterpret_cast<const void*>(value), recorder->bytesBehind);
  } else {
    addBytes(call, &value, sizeof value);
  }
}

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Recorded;
template <typename Row, typename R, typename... A>
struct Recorded<Row, R(APIENTRY*)(A...)> {
  static R APIENTRY call(A... arguments) {
    GlCall& made = recorder->calls.emplace_back();
    made.name = Row::kName;
    (add(made, arguments), ...);
    return R();
  }
};

}  // namespace

GlRecorder::GlRecorder() : before_(peer::gl) {
  recorder = this;
#define QV_ROW(name, ...) peer::gl.name = &Recorded<op::name>::call;
#include "wire/entry_points.def"
}

GlRecorder::~GlRecorder() {
  peer::gl = before_;
  recorder = nullptr;
}

}  // namespace qv::test
