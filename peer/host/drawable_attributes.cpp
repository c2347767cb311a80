// Walks an AttributeList.
#include "peer/host/drawable_attributes.h"

#include "wire/gl_api.h"

namespace qv::peer {

DrawableAttributes grantedContext(const DrawableAttributes& asked, uint16_t highestVersion) {
  constexpr uint16_t kFirstDeprecating = 300, kFirstWithProfiles = 320;
  DrawableAttributes out = asked;
  if (out.version < kFirstDeprecating) out.version = highestVersion;
  out.profileMask = asked.core() && asked.version >= kFirstWithProfiles ? 1 : 2;
  return out;
}

bool writeGranted(std::span<uint16_t> words, const DrawableAttributes& granted) {
  const uint16_t values[][2] = {{GL_VERSION, granted.version}, {GL_CONTEXT_PROFILE_MASK, granted.profileMask}};
  for (const auto& [token, value] : values) {
    size_t i = 0;
    while (i < words.size() && words[i] != 0 && words[i] != token)
      i += words[i] == GL_SAMPLES || words[i] == GL_VERSION || words[i] == GL_CONTEXT_PROFILE_MASK ? 2 : 1;
    if (i + 1 >= words.size()) return false;
    if (words[i] == 0) {
      if (i + 2 >= words.size()) return false;
      words[i] = token;
      words[i + 2] = 0;
    }
    words[i + 1] = value;
  }
  return true;
}

std::optional<DrawableAttributes> readAttributeList(std::span<const uint16_t> words) {
  DrawableAttributes out;
  for (size_t i = 0; i < words.size(); ++i) {
    const uint16_t token = words[i];
    const bool hasValue = token == GL_SAMPLES || token == GL_VERSION || token == GL_CONTEXT_PROFILE_MASK;
    if (hasValue && i + 1 >= words.size()) return std::nullopt;
    switch (token) {
      case 0:
        return out;
      case GL_DOUBLEBUFFER:
        out.doubleBuffered = true;
        break;
      case GL_SAMPLES:
        out.samples = words[++i];
        break;
      case GL_FRAMEBUFFER_SRGB:
        out.srgb = true;
        break;
      case GL_VERSION:
        out.version = words[++i];
        break;
      case GL_CONTEXT_PROFILE_MASK:
        out.profileMask = words[++i];
        break;
      case GL_RGBA32F:
        out.floatColors = true;
        break;
      case GL_RGB:
      case GL_RGBA:
        out.textureFormat = token;
        break;
      case GL_TEXTURE_2D:
      case GL_TEXTURE_CUBE_MAP:
        out.textureTarget = token;
        break;
      case GL_GENERATE_MIPMAP:
        out.mipmapped = true;
        break;
      default:
        return std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace qv::peer
