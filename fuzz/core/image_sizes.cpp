// The sizes of images by the geometry of their rows.
#include "fuzz/core/image_sizes.h"

#include <algorithm>
#include <type_traits>
#include <unordered_map>

#include "wire/entry_table.h"

namespace qv::fuzz {
namespace {

struct Values {
  const uint64_t* values;
  template <size_t I>
  int32_t at() const {
    return static_cast<int32_t>(values[I]);
  }
};

struct Upload {
  uint64_t (*elements)(const uint64_t* values, const PixelState& state) = nullptr;
  CallImage (*image)(const uint64_t* values) = nullptr;
};

template <typename Form>
struct UploadOf {
  static constexpr Upload value = {};
};
template <typename Data>
struct UploadOf<Image<Data>> {
  static uint64_t elements(const uint64_t* values, const PixelState& state) {
    // The pattern of polygons is sized by the state of packing: required oddity 85.
    constexpr bool kPacks = std::is_same_v<Data, Stipple>;
    return dataCount<Data>(kPacks ? state.store.pack : state.store.unpack, Values{values});
  }
  static constexpr Upload value = [] {
    Upload upload{.elements = &elements};
    if constexpr (kSizedByPixelStore<Data>) upload.image = [](const uint64_t* values) { return Data::image(Values{values}); };
    return upload;
  }();
};

const Upload* uploadOf(const RowFacts& row) {
  static const std::unordered_map<int, Upload> all = [] {
    std::unordered_map<int, Upload> out;
    forEachRow([&]<typename Row>(Row) {
      const Upload upload = UploadOf<typename Row::Form>::value;
      if (upload.elements != nullptr) out[Row::kOpcode] = upload;
    });
    return out;
  }();
  const auto at = all.find(row.opcode);
  return at == all.end() || row.form != FormKind::Image ? nullptr : &at->second;
}

}  // namespace

bool isSizedByHost(const RowFacts& row) {
  switch (row.opcode) {
    case op::glGetTexImage::kOpcode:
    case op::glGetCompressedTexImage::kOpcode:
    case op::glGetPixelMapfv::kOpcode:
    case op::glGetPixelMapuiv::kOpcode:
    case op::glGetPixelMapusv::kOpcode:
      return true;
    default:
      return false;
  }
}

std::optional<CallImage> imageOf(const RowFacts& row, const uint64_t* values) {
  const auto number = [&](size_t argument) { return static_cast<int32_t>(values[argument]); };
  switch (row.opcode) {
    case op::glReadPixels::kOpcode:
      return CallImage{.extent = {number(2), number(3), 1},
                       .format = static_cast<GLenum>(values[4]),
                       .type = static_cast<GLenum>(values[5])};
    case op::glGetTexImage::kOpcode:  // of any size
      return CallImage{.dimensions = 3,
                       .target = static_cast<GLenum>(values[0]),
                       .format = static_cast<GLenum>(values[2]),
                       .type = static_cast<GLenum>(values[3])};
    case op::glGetPolygonStipple::kOpcode:
      return CallImage{.extent = {32, 32, 1}, .format = GL_COLOR_INDEX, .type = GL_BITMAP};
    default:
      break;
  }
  const Upload* const upload = uploadOf(row);
  if (upload == nullptr || upload->image == nullptr) return {};
  return upload->image(values);
}

std::optional<uint64_t> uploadElements(const RowFacts& row, const uint64_t* values, const PixelState& state) {
  const Upload* const upload = uploadOf(row);
  if (upload == nullptr) return {};
  uint64_t elements = upload->elements(values, state);
  // What the host reads of the pattern of polygons is another matter.
  if (row.opcode == op::glPolygonStipple::kOpcode)
    elements = std::max(elements, upload->image(values).shape(state.store.unpack).end());
  return elements;
}

std::optional<uint64_t> readBytes(const RowFacts& row, const uint64_t* values, const PixelState& state) {
  constexpr uint64_t kOfTexture = 1 << 18, kOfMap = 256 * 4;
  switch (row.opcode) {
    case op::glReadPixels::kOpcode:
    case op::glGetPolygonStipple::kOpcode: {
      const CallImage image = *imageOf(row, values);
      return imageBytes(state.store.pack, 0, image.format, image.type, image.extent);
    }
    case op::glGetTexImage::kOpcode:
    case op::glGetCompressedTexImage::kOpcode:
      return kOfTexture;
    case op::glGetPixelMapfv::kOpcode:
    case op::glGetPixelMapuiv::kOpcode:
    case op::glGetPixelMapusv::kOpcode:
      return kOfMap;
    case op::glGetBufferSubData::kOpcode:
      return static_cast<uint64_t>(std::max(0, static_cast<int32_t>(values[2])));
    default:
      return {};
  }
}

}  // namespace qv::fuzz
