// recordError: how every part of the driver reports a GL error that the guest has found.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace qv {

class GlContext;

// The text of every error that has no description of its own: required oddity 6.
inline constexpr char kErrorText[] = "Orbeck todo";

// Notes `code` for glGetError in place of any earlier code and tells it to the debug log, if there is one. While a list is being
// compiled nothing is noted unless `force` is set. `format` is printf's. When the log wants the text and it has 4096 bytes or
// more, nothing is noted either.
[[gnu::cold, gnu::format(printf, 4, 5)]] void recordError(GlContext* context, uint32_t code, int force, const char* format, ...);

}  // namespace qv
