// glGetString and glGetStringi, and the filter that the host's extension list goes through.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

class GlContext;

// Number of extensions in the block of the context, asking the host for them if there are none yet. The context must be the
// current one.
uint32_t extensionCount(GlContext* context);

// Reduces the host's extension list in `text` to the names that the driver knows and adds the driver's own.
void filterExtensions(GlContext* context, char* text, size_t capacity);

// The two steps of filterExtensions, over any text. `capacity` is the size of the buffer that `text` stands in.
void keepKnown(char* text);
void appendExtensions(char* text, size_t capacity, const char* more);

}  // namespace qv
