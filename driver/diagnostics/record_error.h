// recordError: the one way in which the driver reports a GL error of the guest's own finding.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace qv {

class GlContext;

// The text of every error that has no description of its own.
inline constexpr char kErrorText[] = "Orbeck todo";

// Notes `code` for glGetError, over any earlier one, and tells it to the debug log if there is one. While a list is only
// being compiled nothing happens unless `force` is set. The text follows printf; one of 4096 bytes or more that the log
// wants makes the whole call void.
[[gnu::cold, gnu::format(printf, 4, 5)]] void recordError(GlContext* context, uint32_t code, int force, const char* format, ...);

}  // namespace qv
