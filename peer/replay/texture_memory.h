// How much memory the textures of a share set take, by their sizes and internal formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>

#include "peer/replay/budget.h"
#include "peer/replay/host_buffer.h"
#include "wire/entry_table.h"

namespace qv::peer {

class Replayer;

// An image, or all levels of a texture's storage, as a command defines it.
struct TextureImage {
  GLenum target = 0, internalFormat = 0;
  GLint level = 0;
  GLsizei width = 1, height = 1, depth = 1;
  GLsizei levels = 0;  // of a storage; 0 for one image
  GLsizei samples = 1;
};

// An estimate: what OpenGL adds for its own ends does not count. 0 for what OpenGL refuses.
uint64_t textureImageBytes(const TextureImage& image);

// What one texture holds of the budget. All under the lock of the names.
struct TextureMemory {
  std::map<uint32_t, uint64_t> images;  // bytes by face and level
  Held held;

  // For whoever gives the texture to GL.
  MemoryShare share() {
    if (kept_ == nullptr) kept_ = std::make_shared<Kept>();
    return kept_;
  }
  // For what shows the texture's images: a view, which a view of it shows as well.
  MemoryShare imageShare() {
    share();
    return kept_->other != nullptr ? kept_->other : MemoryShare(kept_->held);
  }
  // Whether share() has been called.
  bool isShared() const { return kept_ != nullptr; }
  // GL keeps this other object for as long as the texture: a buffer whose elements it shows, or the texture of which it is a
  // view.
  void keep(MemoryShare other) {
    share();
    kept_->other = std::move(other);
  }
  // The texture's name is gone: what it holds belongs to those who have a share.
  void leave() {
    if (kept_ != nullptr) *kept_->held = std::move(held);
    kept_ = nullptr;
  }

 private:
  // Neither of the two refers to anything else: no circle can keep itself.
  struct Kept {
    std::shared_ptr<Held> held = std::make_shared<Held>();
    MemoryShare other;
  };
  std::shared_ptr<Kept> kept_;
};

// Room in the guest's budget for what a command is about to define in the texture that is bound to its target, or in many. What
// OpenGL has made of the command is counted afterwards: a command that it refuses, or that only goes into a list, changes nothing.
class TextureRoom {
 public:
  // False, with GL_OUT_OF_MEMORY raised and a log line, when the guest's textures would take too much.
  bool take(Replayer& replayer, uint32_t opcode, const char* name, const TextureImage& image);
  // The same for the levels that are made of the target's first one.
  bool takeLevels(Replayer& replayer, uint32_t opcode, const char* name, GLenum target);
  // The same for the call of lists that define so many bytes of images, of whatever textures.
  bool takeLists(Replayer& replayer, uint32_t opcode, const char* name, uint64_t bytes);
  // Behind the command.
  void settle(Replayer& replayer);

 private:
  bool hold(Replayer& replayer, uint32_t opcode, const char* name, uint64_t bytes);

  enum class Defined { Nothing, Image, Texture, Any } defined_ = Defined::Nothing;
  GLenum target_ = 0;
  GLint level_ = 0;
  uint64_t key_ = 0;
  Held held_;
};

// Which arguments of a row define an image; kNotThere for one that the row lacks.
inline constexpr size_t kNotThere = ~size_t{0};
struct TextureImageArguments {
  size_t internalFormat = kNotThere, level = kNotThere, width = kNotThere, height = kNotThere, depth = kNotThere,
         levels = kNotThere, samples = kNotThere;
};
template <typename Row>
inline constexpr TextureImageArguments kTextureImage = {};
#define QV_DEFINES_TEXTURE(name, ...) \
  template <>                         \
  inline constexpr TextureImageArguments kTextureImage<op::name> = {__VA_ARGS__};
QV_DEFINES_TEXTURE(glCompressedTexImage1D, .internalFormat = 2, .level = 1, .width = 3)
QV_DEFINES_TEXTURE(glCompressedTexImage2D, .internalFormat = 2, .level = 1, .width = 3, .height = 4)
QV_DEFINES_TEXTURE(glCompressedTexImage3D, .internalFormat = 2, .level = 1, .width = 3, .height = 4, .depth = 5)
QV_DEFINES_TEXTURE(glCopyTexImage1D, .internalFormat = 2, .level = 1, .width = 5)
QV_DEFINES_TEXTURE(glCopyTexImage2D, .internalFormat = 2, .level = 1, .width = 5, .height = 6)
QV_DEFINES_TEXTURE(glTexImage1D, .internalFormat = 2, .level = 1, .width = 3)
QV_DEFINES_TEXTURE(glTexImage2D, .internalFormat = 2, .level = 1, .width = 3, .height = 4)
QV_DEFINES_TEXTURE(glTexImage2DMultisample, .internalFormat = 2, .width = 3, .height = 4, .samples = 1)
QV_DEFINES_TEXTURE(glTexImage3D, .internalFormat = 2, .level = 1, .width = 3, .height = 4, .depth = 5)
QV_DEFINES_TEXTURE(glTexImage3DMultisample, .internalFormat = 2, .width = 3, .height = 4, .depth = 5, .samples = 1)
QV_DEFINES_TEXTURE(glTexStorage1D, .internalFormat = 2, .width = 3, .levels = 1)
QV_DEFINES_TEXTURE(glTexStorage2D, .internalFormat = 2, .width = 3, .height = 4, .levels = 1)
QV_DEFINES_TEXTURE(glTexStorage2DMultisample, .internalFormat = 2, .width = 3, .height = 4, .samples = 1)
QV_DEFINES_TEXTURE(glTexStorage3D, .internalFormat = 2, .width = 3, .height = 4, .depth = 5, .levels = 1)
QV_DEFINES_TEXTURE(glTexStorage3DMultisample, .internalFormat = 2, .width = 3, .height = 4, .depth = 5, .samples = 1)
#undef QV_DEFINES_TEXTURE

// Rows whose one argument is the target of the texture that gets all its levels.
template <typename Row>
inline constexpr bool kGeneratesLevels = false;
template <>
inline constexpr bool kGeneratesLevels<op::glGenerateMipmap> = true;
template <>
inline constexpr bool kGeneratesLevels<op::glGenerateMipmapEXT> = true;

// Rows that fill an image, or a part of it: the target and the level come first.
template <typename Row>
inline constexpr bool kFillsTexture = kTextureImage<Row>.level != kNotThere;
#define QV_FILLS_TEXTURE(name) \
  template <>                  \
  inline constexpr bool kFillsTexture<op::name> = true;
QV_FILLS_TEXTURE(glCompressedTexSubImage1D)
QV_FILLS_TEXTURE(glCompressedTexSubImage2D)
QV_FILLS_TEXTURE(glCompressedTexSubImage3D)
QV_FILLS_TEXTURE(glCopyTexSubImage1D)
QV_FILLS_TEXTURE(glCopyTexSubImage2D)
QV_FILLS_TEXTURE(glCopyTexSubImage3D)
QV_FILLS_TEXTURE(glTexSubImage1D)
QV_FILLS_TEXTURE(glTexSubImage2D)
QV_FILLS_TEXTURE(glTexSubImage3D)
#undef QV_FILLS_TEXTURE

// Rows that set a parameter of a texture, whose name is the second argument.
template <typename Row>
inline constexpr bool kSetsTexParameter = false;
template <>
inline constexpr bool kSetsTexParameter<op::glTexParameterf> = true;
template <>
inline constexpr bool kSetsTexParameter<op::glTexParameterfv> = true;
template <>
inline constexpr bool kSetsTexParameter<op::glTexParameteri> = true;
template <>
inline constexpr bool kSetsTexParameter<op::glTexParameteriv> = true;

// The image that a command of the row defines, with `L` the row's layout.
template <typename Row, typename L>
TextureImage textureImageOf(const uint8_t* fixed) {
  constexpr TextureImageArguments kAt = kTextureImage<Row>;
  TextureImage image{.target = L::template scalar<0>(fixed),
                     .internalFormat = static_cast<GLenum>(L::template scalar<kAt.internalFormat>(fixed)),
                     .width = L::template scalar<kAt.width>(fixed)};
  if constexpr (kAt.level != kNotThere) image.level = L::template scalar<kAt.level>(fixed);
  if constexpr (kAt.height != kNotThere) image.height = L::template scalar<kAt.height>(fixed);
  if constexpr (kAt.depth != kNotThere) image.depth = L::template scalar<kAt.depth>(fixed);
  if constexpr (kAt.levels != kNotThere) image.levels = L::template scalar<kAt.levels>(fixed);
  if constexpr (kAt.samples != kNotThere) image.samples = L::template scalar<kAt.samples>(fixed);
  return image;
}

}  // namespace qv::peer
