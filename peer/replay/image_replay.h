// Replay of uploads from their form.
#pragma once

#include "peer/replay/images.h"
#include "peer/replay/row_replay.h"

namespace qv::peer {

// The scalars of a command by index, for wire/image_size.h.
template <typename L>
struct CommandArguments {
  const uint8_t* fixed;
  template <size_t I>
  auto at() const {
    return L::template scalar<I>(fixed);
  }
};

template <typename Data>
inline constexpr size_t kTypeArgument = ~size_t{0};
template <uint32_t D, uint32_t W, uint32_t F>
inline constexpr size_t kTypeArgument<PixelsAt<D, W, F>> = F + 1;

template <typename Row, typename Data>
struct FormReplay<Row, Image<Data>> {
  using L = LayoutOf<Row>;
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
    const auto data = rest.rest();
    UploadSource source;
    const CommandArguments<L> arguments{fixed};
    if constexpr (kSizedByPixelStore<Data>) {
      constexpr bool kBits = std::is_same_v<Data, BitmapAt> || std::is_same_v<Data, Stipple>;
      if (!findUpload(replayer, opcodeOf<Row>, Row::kName, Data::image(arguments), kBits, L::pointer(fixed), data, source))
        return;
    } else {
      const uint64_t expected = uint64_t{Data::count(arguments)} * sizeof(typename L::Element);
      if constexpr (std::is_same_v<Data, CountAt<1>>) {
        if (!mayRecordPixelMap(replayer, opcodeOf<Row>, Row::kName, arguments.template at<1>(), data.size())) return;
      }
      if (!findPlainUpload(replayer, opcodeOf<Row>, Row::kName, expected, L::pointer(fixed), data, source)) return;
    }
    call(fixed, source, typename Row::Prototype::Pointer{});
    endUpload(source);
  }

 private:
  template <size_t I, typename A>
  static A argument(const uint8_t* fixed, const UploadSource& source) {
    if constexpr (kIsPointer<A>) {
      return static_cast<A>(source.pointer);
    } else if constexpr (I == kTypeArgument<Data>) {
      return source.type;
    } else if constexpr (I + 1 == kTypeArgument<Data>) {
      return source.format;
    } else if constexpr (std::is_same_v<A, GLint>) {
      return near(L::template scalar<I>(fixed));
    } else {
      return L::template scalar<I>(fixed);
    }
  }
  template <typename... A>
  static void call([[maybe_unused]] const uint8_t* fixed, const UploadSource& source, void(APIENTRY*)(A...)) {
    [&]<size_t... I>(std::index_sequence<I...>) { realFunction<Row>()(argument<I, A>(fixed, source)...); }
    (std::index_sequence_for<A...>{});
  }
};

// Fixed commands on images whose sums of sizes and offsets an OpenGL may let wrap.
template <typename Row>
inline constexpr bool kKeptNear = false;
#define QV_KEPT_NEAR(name) \
  template <>              \
  inline constexpr bool kKeptNear<op::name> = true;
QV_KEPT_NEAR(glCopyTexImage1D)
QV_KEPT_NEAR(glCopyTexImage2D)
QV_KEPT_NEAR(glCopyTexSubImage1D)
QV_KEPT_NEAR(glCopyTexSubImage2D)
QV_KEPT_NEAR(glCopyTexSubImage3D)
QV_KEPT_NEAR(glCopyColorTable)
QV_KEPT_NEAR(glCopyColorSubTable)
QV_KEPT_NEAR(glCopyConvolutionFilter1D)
QV_KEPT_NEAR(glCopyConvolutionFilter2D)
#undef QV_KEPT_NEAR

template <typename Row>
requires kKeptNear<Row>
struct FormReplay<Row, Fixed> {
  using L = LayoutOf<Row>;
  static void replay(Replayer&, const uint8_t* fixed, Reader&) { call(fixed, typename Row::Prototype::Pointer{}); }

 private:
  template <typename A, size_t I>
  static A argument(const uint8_t* fixed) {
    if constexpr (std::is_same_v<A, GLint>) {
      return near(L::template scalar<I>(fixed));
    } else {
      return L::template scalar<I>(fixed);
    }
  }
  template <typename... A>
  static void call(const uint8_t* fixed, void(APIENTRY*)(A...)) {
    [&]<size_t... I>(std::index_sequence<I...>) { realFunction<Row>()(argument<A, I>(fixed)...); }
    (std::index_sequence_for<A...>{});
  }
};

}  // namespace qv::peer
