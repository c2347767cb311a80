// The matching of application profiles.
#include "driver/state/application_profile.h"

#include <cstring>

#include "driver/base/image_info.h"
#include "driver/base/process_state.h"
#include "driver/state/profile_table.h"
#include "driver/state/string_block.h"

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

uint32_t applyQuirks(uint16_t contextVersion) {
  uint32_t flags = contextVersion >= 300 ? kQuirkQueryTable : 0;
  ImagePath image;
  if (!image.read()) return flags;
  flags |= kQuirkVertexRuns;

  VersionResource resource;
  if (!resource.read(image.path)) return flags;
  const WCHAR* productName = resource.text(QV_WIDE("\\StringFileInfo\\040904B0\\ProductName"));
  if (productName == nullptr) {
    productName = resource.text(QV_WIDE("\\StringFileInfo\\000004B0\\ProductName"));
  }
  const WCHAR* const fileName = image.tails[0];
  if (fileName != nullptr &&
      (matches(fileName, kQuirkTexts.imageNoHostErrors) || matches(fileName, kQuirkTexts.imageNoHostErrorsToo))) {
    flags |= kQuirkNoHostErrors;
  }
  if (productName == nullptr) return flags;
  if (matches(productName, kQuirkTexts.ownVendor)) {
    stringBlockFor(contextVersion).vendor.fill("Quillvane Inc.");
    flags |= kQuirkNoHostErrors | kQuirkFramebufferComplete;
  } else if (matches(productName, kQuirkTexts.primitiveRestart)) {
    GlExtensionAddendum = "GL_ARB_map_buffer_range GL_NV_primitive_restart";
  } else if (matches(productName, kQuirkTexts.shaderPacking)) {
    GlExtensionAddendum = "GL_ARB_map_buffer_range GL_ARB_shading_language_packing";
  }
  return flags;
}

}  // namespace qv
