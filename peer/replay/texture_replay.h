// Replay of fixed commands that name a texture among other things.
#pragma once

#include "peer/replay/framebuffer_replay.h"
#include "peer/replay/row_replay.h"
#include "peer/replay/textures.h"

namespace qv::peer {

// Which argument of a command names a texture that must be there.
inline constexpr size_t kNamesNoTexture = ~size_t{0};
template <typename Row>
inline constexpr size_t kTextureArgument = kNamesNoTexture;
#define QV_NAMES_TEXTURE(name, argument) \
  template <>                            \
  inline constexpr size_t kTextureArgument<op::name> = argument;
QV_NAMES_TEXTURE(glBindImageTexture, 1)
QV_NAMES_TEXTURE(glFramebufferTexture, 2)
QV_NAMES_TEXTURE(glFramebufferTexture1D, 3)
QV_NAMES_TEXTURE(glFramebufferTexture1DEXT, 3)
QV_NAMES_TEXTURE(glFramebufferTexture2D, 3)
QV_NAMES_TEXTURE(glFramebufferTexture2DEXT, 3)
QV_NAMES_TEXTURE(glFramebufferTexture3D, 3)
QV_NAMES_TEXTURE(glFramebufferTexture3DEXT, 3)
QV_NAMES_TEXTURE(glFramebufferTextureEXT, 2)
QV_NAMES_TEXTURE(glFramebufferTextureFaceEXT, 2)
QV_NAMES_TEXTURE(glFramebufferTextureLayer, 2)
QV_NAMES_TEXTURE(glFramebufferTextureLayerEXT, 2)
#undef QV_NAMES_TEXTURE

template <typename Row>
requires(kTextureArgument<Row> != kNamesNoTexture) struct FormReplay<Row, Fixed> {
  using L = LayoutOf<Row>;
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    const GLuint real = realTexture(replayer, L::template scalar<kTextureArgument<Row>>(fixed));
    callAndNote(
        replayer, [&] { call(real, fixed, typename Row::Prototype::Pointer{}); },
        [&] {
          if constexpr (std::is_same_v<Row, op::glBindImageTexture>) {
            noteImageBound(replayer, L::template scalar<0>(fixed), real);
          } else {
            noteTextureAttached(replayer, L::template scalar<0>(fixed), L::template scalar<1>(fixed), real);
          }
        });
  }

 private:
  template <size_t I>
  static auto argument(GLuint real, const uint8_t* fixed) {
    if constexpr (I == kTextureArgument<Row>) {
      return real;
    } else {
      return L::template scalar<I>(fixed);
    }
  }
  template <typename... A>
  static void call(GLuint real, const uint8_t* fixed, void(APIENTRY*)(A...)) {
    [&]<size_t... I>(std::index_sequence<I...>) { realFunction<Row>()(argument<I>(real, fixed)...); }
    (std::index_sequence_for<A...>{});
  }
};

}  // namespace qv::peer
