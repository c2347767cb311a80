// The reading of the image's path and version resource.
#include "driver/base/image_info.h"

#include <cstdlib>
#include <cstring>

namespace qv {

bool ImagePath::read() {
  const DWORD length = GetModuleFileNameW(nullptr, path, kCapacity);
  if (length == 0) return false;
  if (length >= kCapacity) return true;
  uint32_t found = 0;
  for (DWORD i = length; i > 0 && found < 3; --i) {
    if (path[i - 1] != '\\' && path[i - 1] != '/') continue;
    tails[found++] = i < length ? path + i : nullptr;
  }
  while (found < 3) tails[found++] = path;
  return true;
}

VersionResource::~VersionResource() { std::free(block_); }

bool VersionResource::read(const WCHAR* path) {
  DWORD handle = 0;
  size_ = GetFileVersionInfoSizeW(path, &handle);
  if (size_ == 0) return false;
  block_ = std::calloc(size_, 1);
  return GetFileVersionInfoW(path, 0, size_, block_) != 0;
}

uint32_t VersionResource::productMajor() const {
  void* value = nullptr;
  UINT bytes = 0;
  if (!VerQueryValueW(block_, QV_WIDE("\\"), &value, &bytes) || bytes < sizeof(VS_FIXEDFILEINFO)) return 0;
  VS_FIXEDFILEINFO record;
  std::memcpy(&record, value, sizeof(record));
  return record.dwProductVersionMS >> 16;
}

const WCHAR* VersionResource::translatedProductName() const {
  constexpr ptrdiff_t kEntryBytes = 4;
  void* value = nullptr;
  UINT bytes = 0;
  if (!VerQueryValueW(block_, QV_WIDE("\\VarFileInfo\\Translation"), &value, &bytes)) return nullptr;
  const char* const end = static_cast<const char*>(block_) + size_;
  const char* entry = static_cast<const char*>(value);
  for (UINT index = 0; index < bytes; ++index, entry += kEntryBytes) {
    if (entry < block_ || end - entry < kEntryBytes) break;
    uint16_t language, codePage;
    std::memcpy(&language, entry, 2);
    std::memcpy(&codePage, entry + 2, 2);
    WCHAR key[] = QV_WIDE("\\StringFileInfo\\00000000\\ProductName");
    constexpr uint32_t kDigitsAt = 16;
    const uint32_t number = uint32_t{language} << 16 | codePage;
    for (uint32_t i = 0; i < 8; ++i) {
      key[kDigitsAt + i] = static_cast<WCHAR>("0123456789abcdef"[number >> (28 - 4 * i) & 15]);
    }
    const WCHAR* const name = text(key);
    if (name != nullptr) return name;
  }
  return nullptr;
}

const WCHAR* VersionResource::text(const WCHAR* key) const {
  void* value = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(block_, key, &value, &length) || length == 0) return nullptr;
  const WCHAR* const found = static_cast<const WCHAR*>(value);
  if (found[0] == 0) return nullptr;
  // The resource is the program's own: its text must end inside it.
  const char* const end = static_cast<const char*>(block_) + size_;
  for (const WCHAR* at = found; end - reinterpret_cast<const char*>(at) >= ptrdiff_t{sizeof *at}; ++at) {
    if (*at == 0) return found;
  }
  return nullptr;
}

}  // namespace qv
