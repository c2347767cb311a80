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

// --- what OpenGL has ---

namespace {

constexpr GLint kMostLevels = 16;

uint32_t slotOf(GLenum target, GLint level) {
  const uint32_t face = isCubeFace(target) ? target - GL_TEXTURE_CUBE_MAP_POSITIVE_X : 0;
  return face * kLevels + (static_cast<uint32_t>(level) & (kLevels - 1));
}

// The bytes of an image. `get(target, level, name)` answers a parameter of it, 0 for what is not there.
template <typename Get>
uint64_t measuredImage(GLenum target, GLint level, Get&& get) {
  const GLsizei width = get(target, level, GL_TEXTURE_WIDTH);
  if (width <= 0) return 0;
  return textureImageBytes({.target = target,
                            .internalFormat = static_cast<GLenum>(get(target, level, GL_TEXTURE_INTERNAL_FORMAT)),
                            .width = width,
                            .height = get(target, level, GL_TEXTURE_HEIGHT),
                            .depth = get(target, level, GL_TEXTURE_DEPTH),
                            .samples = get(target, level, GL_TEXTURE_SAMPLES)});
}

// The bytes of all images of a texture.
template <typename Get>
std::map<uint32_t, uint64_t> measuredTexture(GLenum target, Get&& get) {
  std::map<uint32_t, uint64_t> images;
  const bool faces = target == GL_TEXTURE_CUBE_MAP || isCubeFace(target);
  const bool one = target == GL_TEXTURE_2D_MULTISAMPLE || target == GL_TEXTURE_2D_MULTISAMPLE_ARRAY;
  for (uint32_t face = 0; face < (faces ? 6u : 1u); ++face) {
    const GLenum image = faces ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + face : target;
    for (GLint level = 0; level < (one ? 1 : kMostLevels); ++level) {
      if (const uint64_t bytes = measuredImage(image, level, get); bytes != 0) images[slotOf(image, level)] = bytes;
    }
  }
  return images;
}

GLint boundParameter(GLenum target, GLint level, GLenum name) {
  GLint value = 0;
  gl.glGetTexLevelParameteriv(target, level, name, &value);
  return value;
}

// The texture that is bound to a target, by GL's name. Each target has a texture of its own behind the name 0.
uint64_t boundKey(GLenum binding) {
  GLint bound = 0;
  gl.glGetIntegerv(binding, &bound);
  return bound != 0 ? static_cast<uint32_t>(bound) : uint64_t{binding} << 32;
}

uint64_t sumOf(const std::map<uint32_t, uint64_t>& images) {
  uint64_t bytes = 0;
  for (const auto& [_, one] : images) bytes += one;
  return bytes;
}

// Questions about images that OpenGL need not have: their errors are nobody's.
class Questions {
 public:
  explicit Questions(Replayer& replayer) { holdGlError(replayer); }
  ~Questions() { gl.glGetError(); }
  Questions(const Questions&) = delete;
  Questions& operator=(const Questions&) = delete;
};

// Counts all textures of the share set anew, but for storages, which no list defines. Textures without a name are asked for
// through every target.
void recount(SharedObjects& shared, bool listOpen) {
  if (ownGl.glGetTextureParameterivEXT == nullptr || ownGl.glGetTextureLevelParameterivEXT == nullptr) return;
  shared.withNames([&](auto& names) {
    const auto count = [&](GLuint texture, GLenum target, uint64_t key) {
      std::map<uint32_t, uint64_t> images;
      if (target == GL_TEXTURE_CUBE_MAP && !listOpen) {
        // An OpenGL answers for the first face whichever it is asked for, unless the texture is bound.
        GLint bound = 0;
        gl.glGetIntegerv(GL_TEXTURE_BINDING_CUBE_MAP, &bound);
        gl.glBindTexture(target, texture);
        images = measuredTexture(target, boundParameter);
        gl.glBindTexture(target, static_cast<GLuint>(bound));
      } else {
        images = measuredTexture(target, [&](GLenum image, GLint level, GLenum name) {
          GLint value = 0;
          ownGl.glGetTextureLevelParameterivEXT(texture, image, level, name, &value);
          return value;
        });
      }
      if (images.empty() && !names.textureMemory.contains(key)) return;
      TextureMemory& memory = names.textureMemory[key];
      memory.held.set(*shared.textureBytes, sumOf(images));
      memory.images = std::move(images);
    };
    static constexpr GLenum kTargets[] = {GL_TEXTURE_2D,        GL_TEXTURE_CUBE_MAP, GL_TEXTURE_3D,
                                          GL_TEXTURE_1D,        GL_TEXTURE_2D_ARRAY, GL_TEXTURE_RECTANGLE,
                                          GL_TEXTURE_1D_ARRAY,  GL_TEXTURE_CUBE_MAP_ARRAY};
    names.textures.forEachReal([&](GLuint texture) {
      if (gl.glIsTexture(texture) == GL_FALSE) return;
      for (const GLenum target : kTargets) {
        GLint fixed = -1;  // OpenGL answers for the texture's own target alone
        ownGl.glGetTextureParameterivEXT(texture, target, GL_TEXTURE_IMMUTABLE_FORMAT, &fixed);
        if (fixed == -1) continue;
        if (fixed == GL_FALSE) count(texture, target, texture);
        return;
      }
    });
    for (const GLenum target : kTargets) count(0, target, uint64_t{bindingOf(target)} << 32);
  });
}

}  // namespace

bool TextureRoom::hold(Replayer& replayer, uint32_t opcode, const char* name, uint64_t bytes) {
  if (held_.take(*replayer.state().shared->textureBytes, bytes)) return true;
  replayer.passOver(opcode, name, "over the guest's quota of texture memory");
  refuse(replayer, GL_OUT_OF_MEMORY);
  return false;
}

bool TextureRoom::take(Replayer& replayer, uint32_t opcode, const char* name, const TextureImage& image) {
  ReplayState& state = replayer.state();
  SharedObjects& shared = *state.shared;
  const GLenum binding = bindingOf(image.target);
  if (shared.textureBytes == nullptr || binding == 0 || state.insideBegin) return true;
  key_ = boundKey(binding);
  target_ = image.target;
  level_ = image.level;
  const uint64_t bytes = textureImageBytes(image);
  if (state.listOpen) {
    state.listCalls.addImages(bytes);
    shared.lists.noteImages();
  }
  const uint64_t before = shared.withNames([&](auto& names) -> uint64_t {
    const auto memory = names.textureMemory.find(key_);
    if (memory == names.textureMemory.end()) return 0;
    if (image.levels > 0) return sumOf(memory->second.images);
    const auto one = memory->second.images.find(slotOf(image.target, image.level));
    return one == memory->second.images.end() ? 0 : one->second;
  });
  defined_ = image.levels > 0 || shared.levelsMakeThemselves ? Defined::Texture : Defined::Image;
  return hold(replayer, opcode, name, bytes > before ? bytes - before : 0);
}

bool TextureRoom::takeLevels(Replayer& replayer, uint32_t opcode, const char* name, GLenum target) {
  ReplayState& state = replayer.state();
  if (state.shared->textureBytes == nullptr || bindingOf(target) == 0 || isCubeFace(target) || state.insideBegin) return true;
  GLint base = 0;
  TextureImage image{.target = target};
  {
    const Questions questions(replayer);
    const GLenum first = target == GL_TEXTURE_CUBE_MAP ? GLenum{GL_TEXTURE_CUBE_MAP_POSITIVE_X} : target;
    gl.glGetTexParameteriv(target, GL_TEXTURE_BASE_LEVEL, &base);
    image.internalFormat = static_cast<GLenum>(boundParameter(first, base, GL_TEXTURE_INTERNAL_FORMAT));
    image.width = boundParameter(first, base, GL_TEXTURE_WIDTH);
    image.height = boundParameter(first, base, GL_TEXTURE_HEIGHT);
    image.depth = boundParameter(first, base, GL_TEXTURE_DEPTH);
  }
  for (GLsizei size = std::max({image.width, image.height, target == GL_TEXTURE_3D ? image.depth : 1}); size > 0; size /= 2)
    ++image.levels;
  return take(replayer, opcode, name, image);
}

bool TextureRoom::takeLists(Replayer& replayer, uint32_t opcode, const char* name, uint64_t bytes) {
  if (bytes == 0 || replayer.state().shared->textureBytes == nullptr) return true;
  defined_ = Defined::Any;
  return hold(replayer, opcode, name, bytes);
}

void TextureRoom::settle(Replayer& replayer) {
  ReplayState& state = replayer.state();
  SharedObjects& shared = *state.shared;
  if (defined_ == Defined::Nothing || state.insideBegin) return;
  const Questions questions(replayer);
  if (defined_ == Defined::Any) return recount(shared, state.listOpen);
  shared.withNames([&](auto& names) {
    TextureMemory& memory = names.textureMemory[key_];
    if (defined_ == Defined::Image) {
      memory.images[slotOf(target_, level_)] = measuredImage(target_, level_, boundParameter);
    } else {
      memory.images = measuredTexture(target_, boundParameter);
    }
    memory.held.set(*shared.textureBytes, sumOf(memory.images));
  });
}

}  // namespace qv::peer
