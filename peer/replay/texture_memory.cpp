// The estimate of textures' memory, and its count for each texture.
#include "peer/replay/texture_memory.h"

#include <algorithm>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "wire/image_size.h"

namespace qv::peer {
namespace {

constexpr GLsizei kLargest = 1 << 15;  // no OpenGL has textures of this size
constexpr uint32_t kLevels = 32;

// Bytes of a texel, and of a block of 16 for compressed formats as one texel's share, rounded up.
uint64_t texelBytes(GLenum internalFormat) {
  switch (internalFormat) {
    case GL_RGB32F:
    case GL_RGB32I:
    case GL_RGB32UI:
    case GL_RGBA32F:
    case GL_RGBA32I:
    case GL_RGBA32UI:
      return 16;
    case GL_DEPTH32F_STENCIL8:
    case GL_RG32F:
    case GL_RG32I:
    case GL_RG32UI:
    case GL_RGB12:
    case GL_RGB16:
    case GL_RGB16_SNORM:
    case GL_RGB16F:
    case GL_RGB16I:
    case GL_RGB16UI:
    case GL_RGBA12:
    case GL_RGBA16:
    case GL_RGBA16_SNORM:
    case GL_RGBA16F:
    case GL_RGBA16I:
    case GL_RGBA16UI:
      return 8;
    case 1:
    case GL_ALPHA:
    case GL_ALPHA8:
    case GL_INTENSITY:
    case GL_INTENSITY8:
    case GL_LUMINANCE:
    case GL_LUMINANCE8:
    case GL_R8:
    case GL_R8_SNORM:
    case GL_R8I:
    case GL_R8UI:
    case GL_RED:
    case GL_COMPRESSED_RGB_S3TC_DXT1_EXT:
    case GL_COMPRESSED_RGBA_S3TC_DXT1_EXT:
    case GL_COMPRESSED_RGBA_S3TC_DXT3_EXT:
    case GL_COMPRESSED_RGBA_S3TC_DXT5_EXT:
    case GL_COMPRESSED_SRGB_S3TC_DXT1_EXT:
    case GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT1_EXT:
    case GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT3_EXT:
    case GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT5_EXT:
    case GL_COMPRESSED_RED_RGTC1:
    case GL_COMPRESSED_SIGNED_RED_RGTC1:
    case GL_COMPRESSED_RG_RGTC2:
    case GL_COMPRESSED_SIGNED_RG_RGTC2:
    case GL_COMPRESSED_RGBA_BPTC_UNORM:
    case GL_COMPRESSED_SRGB_ALPHA_BPTC_UNORM:
    case GL_COMPRESSED_RGB_BPTC_SIGNED_FLOAT:
    case GL_COMPRESSED_RGB_BPTC_UNSIGNED_FLOAT:
      return 1;
    default:
      return 4;
  }
}

bool isCubeFace(GLenum target) { return target >= GL_TEXTURE_CUBE_MAP_POSITIVE_X && target <= GL_TEXTURE_CUBE_MAP_NEGATIVE_Z; }

// The name by which glGet tells what is bound to a target; 0 for what is no target.
GLenum bindingOf(GLenum target) {
  if (isCubeFace(target)) return GL_TEXTURE_BINDING_CUBE_MAP;
  switch (target) {
    case GL_TEXTURE_1D:
      return GL_TEXTURE_BINDING_1D;
    case GL_TEXTURE_2D:
      return GL_TEXTURE_BINDING_2D;
    case GL_TEXTURE_3D:
      return GL_TEXTURE_BINDING_3D;
    case GL_TEXTURE_1D_ARRAY:
      return GL_TEXTURE_BINDING_1D_ARRAY;
    case GL_TEXTURE_2D_ARRAY:
      return GL_TEXTURE_BINDING_2D_ARRAY;
    case GL_TEXTURE_RECTANGLE:
      return GL_TEXTURE_BINDING_RECTANGLE;
    case GL_TEXTURE_CUBE_MAP:
      return GL_TEXTURE_BINDING_CUBE_MAP;
    case GL_TEXTURE_CUBE_MAP_ARRAY:
      return GL_TEXTURE_BINDING_CUBE_MAP_ARRAY;
    case GL_TEXTURE_2D_MULTISAMPLE:
      return GL_TEXTURE_BINDING_2D_MULTISAMPLE;
    case GL_TEXTURE_2D_MULTISAMPLE_ARRAY:
      return GL_TEXTURE_BINDING_2D_MULTISAMPLE_ARRAY;
    default:
      return 0;
  }
}

}  // namespace

uint64_t textureImageBytes(const TextureImage& image) {
  const GLsizei sizes[] = {image.width, image.height, image.depth};
  if (std::any_of(std::begin(sizes), std::end(sizes), [](GLsizei size) { return size <= 0 || size > kLargest; })) return 0;
  const auto samples = static_cast<uint64_t>(std::clamp(image.samples, 1, 64));
  const uint64_t texel = texelBytes(image.internalFormat) * samples;
  if (image.levels <= 0)
    return texel * static_cast<uint64_t>(image.width) * static_cast<uint64_t>(image.height) * static_cast<uint64_t>(image.depth);
  // Layers do not shrink from level to level.
  const bool layeredRows = image.target == GL_TEXTURE_1D_ARRAY, deep = image.target == GL_TEXTURE_3D;
  uint64_t bytes = 0;
  for (GLsizei level = 0; level < std::min(image.levels, 16); ++level) {
    const auto at = [&](GLsizei size, bool shrinks) {
      return static_cast<uint64_t>(shrinks ? std::max(size >> level, 1) : size);
    };
    bytes += texel * at(image.width, true) * at(image.height, !layeredRows) * at(image.depth, deep);
  }
  return image.target == GL_TEXTURE_CUBE_MAP ? 6 * bytes : bytes;
}

bool mayDefineTexture(Replayer& replayer, uint32_t opcode, const char* name, const TextureImage& image) {
  ReplayState& state = replayer.state();
  SharedObjects& shared = *state.shared;
  const GLenum binding = bindingOf(image.target);
  if (shared.textureBytes == nullptr || binding == 0 || state.insideBegin) return true;
  GLint bound = 0;
  gl.glGetIntegerv(binding, &bound);
  // Each target has a texture of its own behind the name 0.
  const uint64_t key = bound != 0 ? static_cast<uint32_t>(bound) : uint64_t{binding} << 32;
  const uint32_t face = isCubeFace(image.target) ? image.target - GL_TEXTURE_CUBE_MAP_POSITIVE_X : 0;
  const uint32_t slot = face * kLevels + (static_cast<uint32_t>(image.level) & (kLevels - 1));
  const bool room = shared.withNames([&](auto& names) {
    TextureMemory& memory = names.textureMemory[key];
    std::map<uint32_t, uint64_t> images = image.levels > 0 ? std::map<uint32_t, uint64_t>{} : memory.images;
    images[slot] = textureImageBytes(image);
    uint64_t bytes = 0;
    for (const auto& [_, one] : images) bytes += one;
    if (!memory.held.resize(*shared.textureBytes, bytes)) return false;
    memory.images = std::move(images);
    return true;
  });
  if (room) return true;
  replayer.passOver(opcode, name, "over the guest's quota of texture memory");
  refuse(replayer, GL_OUT_OF_MEMORY);
  return false;
}

}  // namespace qv::peer
