// Replay of fixed commands that name a texture among other things.
#pragma once

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
    call(replayer, fixed, typename Row::Prototype::Pointer{});
  }

 private:
  template <size_t I>
  static auto argument(Replayer& replayer, const uint8_t* fixed) {
    if constexpr (I == kTextureArgument<Row>) {
      return realTexture(replayer, L::template scalar<I>(fixed));
    } else {
      return L::template scalar<I>(fixed);
    }
  }
  template <typename... A>
  static void call(Replayer& replayer, const uint8_t* fixed, void(APIENTRY*)(A...)) {
    [&]<size_t... I>(std::index_sequence<I...>) { realFunction<Row>()(argument<I>(replayer, fixed)...); }
    (std::index_sequence_for<A...>{});
  }
};

}  // namespace qv::peer
