// The strings of glGetString, kept once per process for each class of GL versions.
#pragma once

#include <cstdint>

namespace qv {

// Filled by the first context that asks (required oddity 49) and never freed: an application may keep the pointers. Shared by all
// threads without a lock; whoever fills a block at the same time writes the same bytes.
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

}  // namespace qv
