// The oracle of debug builds: a call that is refused leaves exactly one error and an untouched stream, and a call that is not
// refused leaves no error.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv {

class GlContext;

// Whether this build checks every call.
inline constexpr bool kChecksCalls = QV_CHECK_CALLS != 0;

// Compares the context before and after a call. Ends the process, with a line on standard error, when the call broke the rule.
// Calls without a context, and calls that change the current context, are not checked.
class CallCheck {
 public:
  explicit CallCheck(const char* name);
  ~CallCheck();
  CallCheck(const CallCheck&) = delete;
  CallCheck& operator=(const CallCheck&) = delete;

 private:
  const char* name_;
  GlContext* context_;
  uint32_t errors_ = 0;
  uint64_t written_ = 0;
  uint32_t flushes_ = 0;
  uint8_t runOpen_ = 0;
};

// A routine with the check around it.
template <auto Routine, const char* const& Name, typename Pointer = decltype(Routine)>
struct CheckedCall;
template <auto Routine, const char* const& Name, typename R, typename... A>
struct CheckedCall<Routine, Name, R(APIENTRY*)(A...)> {
  static R APIENTRY call(A... args) {
    const CallCheck check(Name);
    return Routine(args...);
  }
};

}  // namespace qv
