// Decodes the tags of vertex runs.
#include "peer/replay/run_layout.h"

#include <array>
#include <cstring>

#include "peer/replay/replayer.h"
#include "peer/replay/row_replay.h"

namespace qv::peer {
namespace {

constexpr uint32_t kTextureSets = 32;
constexpr uint32_t kArraySets = 8;  // texture coordinate sets that GL has arrays for

template <typename Row>
void giveAttribute([[maybe_unused]] GLenum target, const uint8_t* data) {
  using Call = RowCall<Row>;
  constexpr uint32_t kComponents = Call::L::kSlots.slot[Call::kFirstPointer].count;
  typename Call::Element values[kComponents];
  std::memcpy(values, data, sizeof values);
  if constexpr (Call::kCount == 2) {
    realFunction<Row>()(target, values);
  } else {
    realFunction<Row>()(values);
  }
}

// The vector calls of the vertex attributes by family, component count and type, out of the one table.
enum Family : uint32_t { kPositions, kNormals, kColors, kTexCoords, kMultiTexCoords, kFamilies };

template <typename Implementation>
constexpr uint32_t kFamilyOf = kFamilies;
template <>
constexpr uint32_t kFamilyOf<Attribute<kPosition>> = kPositions;
template <>
constexpr uint32_t kFamilyOf<Attribute<kNormal>> = kNormals;
template <>
constexpr uint32_t kFamilyOf<Attribute<kColor>> = kColors;
template <>
constexpr uint32_t kFamilyOf<Attribute<kTexCoord>> = kTexCoords;
template <>
constexpr uint32_t kFamilyOf<Attribute<kByTarget>> = kMultiTexCoords;

using CallTable = std::array<std::array<std::array<AttributeCall, kRunTypes>, 5>, kFamilies>;

constexpr CallTable makeCallTable() {
  CallTable table{};
  forEachRow([&]<typename Row>(Row) {
    constexpr uint32_t kFamily = kFamilyOf<typename Row::Implementation>;
    if constexpr (kFamily != kFamilies) {
      using Call = RowCall<Row>;
      if constexpr (Call::kPointerCount == 1) {
        table[kFamily][Call::L::kSlots.slot[Call::kFirstPointer].count][runTypeCode<typename Call::Element>()] =
            &giveAttribute<Row>;
      }
    }
  });
  return table;
}
constexpr CallTable kCalls = makeCallTable();

void giveNothing(GLenum, const uint8_t*) {}

// The call for a tag; null for a tag of no vertex attribute call. The guest checks no texture unit: a number of no attribute is one
// that is far from any, and GL's to refuse.
AttributeCall callOf(RunTag tag, GLenum& target) {
  target = 0;
  const uint32_t number = tag.number();
  if (number == kPosition) return kCalls[kPositions][tag.components()][tag.type()];
  if (number == kNormal) return kCalls[kNormals][tag.components()][tag.type()];
  if (number == kColor) return kCalls[kColors][tag.components()][tag.type()];
  if (number == kTexCoord) return kCalls[kTexCoords][tag.components()][tag.type()];
  if (number < kTexCoord || number >= kTexCoord + kTextureSets) return &giveNothing;
  target = GL_TEXTURE0 + number - kTexCoord;
  return kCalls[kMultiTexCoords][tag.components()][tag.type()];
}

void addAttribute(RunLayout& layout, RunTag tag, uint32_t offset) {
  uint32_t k = 0;
  while (k < layout.attributes && layout.attribute[k].number != tag.number()) ++k;
  layout.attribute[k] = {tag.number(), static_cast<int32_t>(tag.components()), offset};
  if (k == layout.attributes) ++layout.attributes;
}

}  // namespace

bool readRunLayout(Replayer& replayer, VertexRunRecord record, const uint8_t* tags, RunLayout& layout) {
  constexpr uint32_t kFloat = runTypeCode<GLfloat>();
  layout.slotsAndStride = 0;
  layout.slots = record.slots();
  layout.stride = 0;
  layout.positioned = false;
  layout.arrays = true;
  layout.refused = false;
  layout.attributes = 0;
  for (uint32_t i = 0; i < layout.slots; ++i) {
    const RunTag tag = get<RunTag>(tags + sizeof(RunTag) * i);
    RunSlot& slot = layout.slot[i];
    slot.call = tag.valid() && !layout.positioned ? callOf(tag, slot.target) : nullptr;
    if (slot.call == nullptr) {
      replayer.fail("bad tag 0x%04x in slot %u", tag.bits, i);
      return false;
    }
    slot.offset = layout.stride;
    slot.width = runAttributeBytes(tag.components(), kRunTypeBytes[tag.type()]);
    layout.tags[i] = tag;
    layout.stride += slot.width;
    layout.positioned = tag.number() == kPosition;
    layout.refused = layout.refused || slot.call == &giveNothing;
    layout.arrays = layout.arrays && !layout.refused && tag.type() == kFloat && tag.number() < kTexCoord + kArraySets;
    addAttribute(layout, tag, slot.offset);
  }
  if (layout.stride != record.stride()) {
    replayer.fail("%u bytes per vertex, %u by its tags", record.stride(), layout.stride);
    return false;
  }
  layout.slotsAndStride = record.packed & 0xFFFFFF;
  return true;
}

}  // namespace qv::peer
