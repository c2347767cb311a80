// The strings of glGetString, kept once per process for each class of GL versions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qv {

class GlContext;

// Filled on demand and never freed: an application may keep the pointers. Shared by all threads without a lock; whoever fills
// a block at the same time writes the same bytes.
struct StringBlock {
  static constexpr uint32_t kText = 256, kExtensionText = 16384, kMaxExtensions = 2048;

  char vendor[kText];
  char renderer[kText];
  char version[kText];
  char shadingLanguageVersion[kText];
  char extensions[kExtensionText];     // what glGetString gives
  char extensionCopy[kExtensionText];  // the same, cut into tokens for glGetStringi
  char* extensionList[kMaxExtensions];
  uint32_t extensionCount;
};

StringBlock& stringBlockFor(uint16_t contextVersion);

// Number of extensions in the block of the context, asking the host for them if there are none yet. The context must be the
// current one.
uint32_t extensionCount(GlContext* context);

// Reduces the host's extension list in `text` to the names the driver knows, adds the driver's own, and fills the token list
// of the context's block from the block's `extensions`.
void filterExtensions(GlContext* context, char* text, size_t capacity);

// The two steps of it, over any text. `capacity` is the size of the buffer that `text` stands in.
void keepKnownExtensions(char* text);
void appendExtensions(char* text, size_t capacity, const char* more);

}  // namespace qv
