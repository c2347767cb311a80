// Reads the table of explained differences.
#include "fuzz/calls/explained.h"

#include <cstring>
#include <string_view>
#include <unordered_set>

#include "wire/columns.h"
#include "wire/entry_table.h"

namespace qv::fuzz {
namespace {

struct Query {
  std::string_view routine;
  uint32_t name;
};
constexpr Query kNotAsked[] = {
#define QV_NOT_ASKED(routine, name, why) {#routine, name},
#include "fuzz/calls/explained.def"
};

constexpr Query kRounded[] = {
#define QV_ROUNDED(routine, name, why) {#routine, name},
#include "fuzz/calls/explained.def"
};

constexpr uint32_t kAnyAnswer[] = {
#define QV_ANY_ANSWER(name, why) name,
#include "fuzz/calls/explained.def"
};

std::unordered_set<std::string_view> leftOut() {
  std::unordered_set<std::string_view> out = {
#define QV_NOT_CALLED(routine, why) #routine,
#include "fuzz/calls/explained.def"
  };
  return out;
}

}  // namespace

bool isCompared(const RowFacts& row) {
  static const std::unordered_set<std::string_view> names = leftOut();
  // Without a line the target of a glMultiTexCoord is any: required oddity 80.
  Random none(0);
  if (drawLine(row, none) == nullptr && std::string_view(row.name).starts_with("glMultiTexCoord")) return false;
  return !row.isPrivate && !names.contains(row.name);
}

bool isComparedInList(const RowFacts& row) {
  const std::string_view name = row.name;
  if (row.attribute || name == "glBegin" || name == "glEnd" || name == "glEndList" || name.starts_with("glCallList")) return true;
  return row.stamped && (row.properties & (kShadow | kListTest)) == 0;
}

bool isCompared(const Call& call) {
  for (const Query& query : kNotAsked)
    if (query.routine == call.row->name && call.values[0] == query.name) return false;
  return true;
}

bool isOnImages(const RowFacts& row) {
  static const uint64_t none[16] = {};
  return row.form == FormKind::Image || readBytes(row, none, {}).has_value();
}

// Mesa goes wrong over some images, and the peer keeps them from it: Mesa by itself would show other pixels, write beyond its
// memory, or never come back. tests/soak/random_images_test.cpp compares these with images that Mesa gets right.
bool isImageCompared(const Call& call, const PixelState& pixels, bool readsFromWindow) {
  const RowFacts& row = *call.row;
  const std::optional<CallImage> image = imageOf(row, call.values.data());
  if (!image) return true;
  const bool stipples = row.opcode == op::glPolygonStipple::kOpcode || row.opcode == op::glGetPolygonStipple::kOpcode;
  const bool reads = row.form != FormKind::Image;
  const PixelStoreHalf& store = reads ? pixels.store.pack : pixels.store.unpack;
  if (stipples || row.opcode == op::glBitmap::kOpcode) {
    // The guest sizes the pattern by the state of packing: required oddity 85.
    const bool same = std::memcmp(&pixels.store.pack, &pixels.store.unpack, sizeof(PixelStoreHalf)) == 0;
    return store.skipPixels % 8 == 0 && (!stipples || (same && !pixels.packs && !pixels.unpacks));
  }
  // Pixels beside a framebuffer have no value. Those of a window are inside.
  if (row.opcode == op::glReadPixels::kOpcode && !readsFromWindow) return false;
  if (image->type == GL_BITMAP || image->format == GL_COLOR_INDEX) return false;
  if (reads && row.opcode != op::glReadPixels::kOpcode && image->format == GL_STENCIL_INDEX) return false;
  const bool moved = (store.rowLength | store.skipPixels | store.skipRows | store.skipImages | store.imageHeight) != 0;
  if (store.swapBytes != 0 && moved) return false;
  // A flat image heeds neither.
  return image->dimensions == 3 && image->target != GL_TEXTURE_1D_ARRAY ? true : (store.imageHeight | store.skipImages) == 0;
}

bool isAnswerCompared(const Call& call) {
  for (const uint64_t value : call.values)
    for (const uint32_t name : kAnyAnswer)
      if (value == name) return false;
  return true;
}

bool isRounded(const Call& call) {
  for (const Query& query : kRounded)
    if (query.routine == call.row->name && call.values[0] == query.name) return true;
  return false;
}

}  // namespace qv::fuzz
