// What the system knows of the program that the process runs: the path of its image and its version resource.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv {

// The full path of the process image and its last one, two and three components; null for a tail that is absent.
struct ImagePath {
  static constexpr DWORD kCapacity = MAX_PATH;

  // False when the path cannot be read. A path that fills the buffer counts as truncated and has no tails.
  bool read();

  WCHAR path[kCapacity + 1] = {};
  const WCHAR* tails[3] = {};
};

// The version resource of an image.
class VersionResource {
 public:
  VersionResource() = default;
  VersionResource(const VersionResource&) = delete;
  VersionResource& operator=(const VersionResource&) = delete;
  ~VersionResource();

  // False when the image has none.
  bool read(const WCHAR* path);

  // High half of the product version, 0 without a fixed record.
  uint32_t productMajor() const;
  // The product name in the first language that has one, or null. The search takes the size of the translation list in bytes for
  // its number of entries (required oddity 53); look-ups with what stands behind the list find nothing.
  const WCHAR* translatedProductName() const;
  // The text at `key`, or null when it is absent or empty.
  const WCHAR* text(const WCHAR* key) const;

 private:
  void* block_ = nullptr;
  DWORD size_ = 0;
};

}  // namespace qv
