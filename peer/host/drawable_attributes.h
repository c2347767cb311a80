// The AttributeList of packets, read into the properties that a host context or drawable is made from.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace qv::peer {

struct DrawableAttributes {
  bool doubleBuffered = false;
  bool srgb = false;
  bool floatColors = false;
  uint16_t samples = 0;
  uint16_t version = 0;      // major * 100 + minor * 10; 0 when the list has none
  uint16_t profileMask = 0;  // 2 compatibility, 1 core; 0 when the list has none
  // Of pbuffers.
  uint16_t textureFormat = 0;  // GL_RGB, GL_RGBA or 0
  uint16_t textureTarget = 0;  // GL_TEXTURE_2D, GL_TEXTURE_CUBE_MAP or 0
  bool mipmapped = false;

  // Of a context's list: without a profile word it asks for compatibility.
  bool core() const { return profileMask != 0 && (profileMask & 2) == 0; }
  bool operator==(const DrawableAttributes&) const = default;
};

// The highest version of OpenGL that guests get, whatever the host's OpenGL has: the newest whose functions the driver knows.
inline constexpr uint16_t kHighestVersion = 430;

// What a context gets that is asked for with these attributes: a request for no version, or for one from before profiles and
// deprecation, gets the highest version in its compatibility profile, as programs of that time are given today. A version without
// profiles is compatible.
DrawableAttributes grantedContext(const DrawableAttributes& asked, uint16_t highestVersion);

// Puts version and profile into a list of attributes, in place of those that stand there. False when there is no room.
bool writeGranted(std::span<uint16_t> words, const DrawableAttributes& granted);

// Reads the words up to the zero word. No result without a zero word, for an unknown token, and for a list that ends between a
// token and its value.
std::optional<DrawableAttributes> readAttributeList(std::span<const uint16_t> words);

}  // namespace qv::peer
