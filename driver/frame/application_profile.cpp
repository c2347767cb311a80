// The two routines of the application profiles and the reading of the image's name and version resource.
#include "driver/frame/application_profile.h"

#include <cstdlib>
#include <cstring>

#include "driver/frame/process_state.h"
#include "driver/frame/profile_table.h"
#include "driver/queries/strings.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

// Whether `text`, which ends in zero, starts with a stored text.
bool matches(const WCHAR* text, const char* stored) {
  while (*text == ' ') ++text;
  for (;; ++text, ++stored) {
    uint32_t c = static_cast<uint16_t>(*text);
    if (c >= 'A' && c <= 'Z') c |= 32;
    if (c >= 'a' && c <= 'z') c = c < 'n' ? c + 13 : c - 13;
    if (*stored == '\0') return true;
    if (c != static_cast<unsigned char>(*stored)) return false;
  }
}

// The full path of the process image and its last one, two and three components; null for a tail that is absent.
struct ImagePath {
  static constexpr DWORD kCapacity = MAX_PATH;

  // False when the path cannot be read. One that fills the buffer counts as truncated and has no tails.
  bool read() {
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

  WCHAR path[kCapacity + 1] = {};
  const WCHAR* tails[3] = {};
};

// The version resource of the image.
class VersionResource {
 public:
  VersionResource() = default;
  VersionResource(const VersionResource&) = delete;
  VersionResource& operator=(const VersionResource&) = delete;
  ~VersionResource() { std::free(block_); }

  bool read(const WCHAR* path) {
    DWORD handle = 0;
    size_ = GetFileVersionInfoSizeW(path, &handle);
    if (size_ == 0) return false;
    block_ = std::calloc(size_, 1);
    return GetFileVersionInfoW(path, 0, size_, block_) != 0;
  }

  // High half of the product version, 0 without a fixed record.
  uint32_t productMajor() const {
    void* value = nullptr;
    UINT bytes = 0;
    if (!VerQueryValueW(block_, QV_WIDE("\\"), &value, &bytes) || bytes < sizeof(VS_FIXEDFILEINFO)) return 0;
    VS_FIXEDFILEINFO record;
    std::memcpy(&record, value, sizeof(record));
    return record.dwProductVersionMS >> 16;
  }

  // The product name in the first language that has one, or null. The bound is the size of the list in bytes, not the count
  // of its entries, which are four times fewer: required. Look-ups with what stands behind the list just pass on.
  const WCHAR* translatedProductName() const {
    void* value = nullptr;
    UINT bytes = 0;
    if (!VerQueryValueW(block_, QV_WIDE("\\VarFileInfo\\Translation"), &value, &bytes)) return nullptr;
    const char* const end = static_cast<const char*>(block_) + size_;
    const char* entry = static_cast<const char*>(value);
    for (UINT index = 0; index < bytes; ++index, entry += kEntryBytes) {
      if (entry < block_ || end - entry < static_cast<ptrdiff_t>(kEntryBytes)) break;
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

  // The text at `key`, or null when it is absent or empty.
  const WCHAR* text(const WCHAR* key) const {
    void* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(block_, key, &value, &length) || length == 0) return nullptr;
    const WCHAR* const found = static_cast<const WCHAR*>(value);
    return found[0] != 0 ? found : nullptr;
  }

 private:
  static constexpr UINT kEntryBytes = 4;
  void* block_ = nullptr;
  DWORD size_ = 0;
};

struct ProfileInput {
  const WCHAR* tails[3] = {};
  const WCHAR* productName = nullptr;
  uint32_t productMajor = 0;
};

bool rowMatches(const VersionProfileRow& row, const ProfileInput& input) {
  if (row.productMajor > input.productMajor) return false;
  if ((row.against & kProductName) != 0 && input.productName != nullptr && matches(input.productName, row.text)) return true;
  for (uint32_t i = 0; i < 3; ++i) {
    if ((row.against & kTail1 << i) != 0 && input.tails[i] != nullptr && matches(input.tails[i], row.text)) return true;
  }
  return false;
}

// Runs the rows of one stage.
bool runStage(uint32_t stage, const ProfileInput& input, uint16_t& version, uint8_t& compatibility) {
  for (const VersionProfileRow& row : kVersionProfileRows) {
    if ((row.against & kProductName) != stage || !rowMatches(row, input)) continue;
    version = row.version;
    compatibility = 1;
    if (row.wholeWglText) WglExtensions = WglExtensionText;
    return true;
  }
  return false;
}

}  // namespace

bool applyVersionProfile(uint16_t& version, uint8_t& compatibility) {
  ImagePath image;
  if (!image.read()) return false;
  ProfileInput input;
  std::memcpy(input.tails, image.tails, sizeof(input.tails));
  if (input.tails[0] != nullptr && runStage(0, input, version, compatibility)) return true;

  VersionResource resource;
  if (!resource.read(image.path)) return false;
  input.productMajor = resource.productMajor();
  input.productName = resource.translatedProductName();
  return input.productName != nullptr && runStage(kProductName, input, version, compatibility);
}

void applyQuirks(GlContext* context) {
  if (context->contextVersion >= 300) context->quirkFlags |= kQuirkQueryTable;
  ImagePath image;
  if (!image.read()) return;
  context->quirkFlags |= kQuirkVertexRuns;

  VersionResource resource;
  if (!resource.read(image.path)) return;
  const WCHAR* productName = resource.text(QV_WIDE("\\StringFileInfo\\040904B0\\ProductName"));
  if (productName == nullptr) {
    productName = resource.text(QV_WIDE("\\StringFileInfo\\000004B0\\ProductName"));
  }
  const WCHAR* const fileName = image.tails[0];
  if (fileName != nullptr &&
      (matches(fileName, kQuirkTexts.imageNoHostErrors) || matches(fileName, kQuirkTexts.imageNoHostErrorsToo))) {
    context->quirkFlags |= kQuirkNoHostErrors;
  }
  if (productName == nullptr) return;
  if (matches(productName, kQuirkTexts.ownVendor)) {
    StringBlock& strings = stringBlockFor(context->contextVersion);
    std::strncpy(strings.vendor, "Quillvane Inc.", sizeof(strings.vendor));
    context->quirkFlags |= kQuirkNoHostErrors | kQuirkFramebufferComplete;
  } else if (matches(productName, kQuirkTexts.primitiveRestart)) {
    GlExtensionAddendum = "GL_ARB_map_buffer_range GL_NV_primitive_restart";
  } else if (matches(productName, kQuirkTexts.shaderPacking)) {
    GlExtensionAddendum = "GL_ARB_map_buffer_range GL_ARB_shading_language_packing";
  }
}

}  // namespace qv
