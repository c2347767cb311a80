// recordError, and the text that it gives to the debug log.
#include "driver/diagnostics/record_error.h"

#include <cstdio>

#include "driver/diagnostics/debug_dispatch.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

const char* errorName(uint32_t code) {
  switch (code) {
    case GL_INVALID_VALUE:
      return "GL_INVALID_VALUE";
    case GL_INVALID_OPERATION:
      return "GL_INVALID_OPERATION";
    case GL_STACK_OVERFLOW:
      return "GL_STACK_OVERFLOW";
    case GL_STACK_UNDERFLOW:
      return "GL_STACK_UNDERFLOW";
    case GL_OUT_OF_MEMORY:
      return "GL_OUT_OF_MEMORY";
    case GL_INVALID_FRAMEBUFFER_OPERATION:
      return "GL_INVALID_FRAMEBUFFER_OPERATION";
    case GL_TABLE_TOO_LARGE:
      return "GL_TABLE_TOO_LARGE";
    default:
      // GL_INVALID_ENUM has no name of its own: required oddity 5.
      return "UNKNOWN_ERROR";
  }
}

// Writes "NAME in TEXT" to `out` and returns its length; -1 if the text or the whole does not fit.
[[gnu::format(printf, 3, 0)]] int32_t formatError(char (&out)[kDebugTextSize], uint32_t code, const char* format,
                                                  va_list arguments) {
  constexpr int kSize = kDebugTextSize;
  char text[kDebugTextSize];
  const int textLength = std::vsnprintf(text, sizeof text, format, arguments);
  if (textLength < 0 || textLength >= kSize) return -1;
  const int length = std::snprintf(out, sizeof out, "%s in %s", errorName(code), text);
  return length < 0 || length >= kSize ? -1 : length;
}

}  // namespace

void recordError(GlContext* context, uint32_t code, int force, const char* format, ...) {
  ++context->errorsRaised;
  // Required oddity 3: while a list is being compiled its commands are stored and cannot fail yet; other calls are not told
  // apart.
  if (context->recordingList != nullptr && context->listMode != GL_COMPILE_AND_EXECUTE && force == 0) return;
  assignMessageId(context, apiErrorId);
  const uint32_t id = apiErrorId.load(std::memory_order_relaxed);
  const DebugState* const log = context->debugLog;
  if (log != nullptr && log->passes(kDebugSourceApi, kDebugTypeError, id, kDebugSeverityHigh)) {
    char message[kDebugTextSize];
    va_list arguments;
    va_start(arguments, format);
    const int32_t length = formatError(message, code, format, arguments);
    va_end(arguments);
    if (length < 0) return;  // neither a message nor an error: required oddity 7
    dispatchMessage(context, kDebugSourceApi, kDebugTypeError, id, kDebugSeverityHigh, length, message);
  }
  context->recordedError = code;  // the last error counts: required oddity 4
}

}  // namespace qv
