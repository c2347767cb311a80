// Decodes a run's layout and feeds its vertices to GL.
#include "peer/replay/vertex_run.h"

#include <array>

#include "peer/replay/generic.h"
#include "peer/replay/run_arrays.h"

namespace qv::peer {
namespace {

constexpr uint32_t kMostSlots = 16;
constexpr uint32_t kTextureSets = 32;
constexpr uint32_t kArraySets = 8;  // texture coordinate sets that GL has arrays for
constexpr uint32_t kModes = 15;     // GL_POINTS to GL_PATCHES
// From here on one array draw, set-up included, is cheaper than a call per attribute.
constexpr uint32_t kLeastForArrays = 48;
constexpr uint32_t kFloatType = 1;
constexpr uint32_t kTypes = 8;
constexpr uint32_t kTypeWidths[kTypes] = {8, 4, 4, 4, 2, 2, 1, 1};

template <typename T>
constexpr uint32_t typeCode() {
  if (std::is_same_v<T, GLdouble>) return 0;
  if (std::is_same_v<T, GLfloat>) return kFloatType;
  if (std::is_same_v<T, GLint>) return 2;
  if (std::is_same_v<T, GLuint>) return 3;
  if (std::is_same_v<T, GLshort>) return 4;
  if (std::is_same_v<T, GLushort>) return 5;
  if (std::is_same_v<T, GLbyte>) return 6;
  return 7;
}

// Gives GL one attribute. `target` is the texture unit, for the calls that take one.
using AttributeCall = void (*)(GLenum target, const uint8_t* data);

template <typename Row>
void giveAttribute([[maybe_unused]] GLenum target, const uint8_t* data) {
  using Call = RowCall<Row>;
  constexpr uint32_t kComponents = Call::kSlots.slot[Call::kFirstPointer].count;
  typename Call::Element values[kComponents];
  // In bounds: a slot is as wide as its components, rounded up to 4 bytes.
  std::memcpy(values, data, sizeof values);
  if constexpr (Call::kArguments == 2) {
    realFunction<Row>()(target, values);
  } else {
    realFunction<Row>()(values);
  }
}

// The participants' vector calls by family, component count and type, out of the one table.
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

using CallTable = std::array<std::array<std::array<AttributeCall, kTypes>, 5>, kFamilies>;

constexpr CallTable makeCallTable() {
  CallTable table{};
  forEachRow([&]<typename Row>(Row) {
    constexpr uint32_t kFamily = kFamilyOf<typename Row::Implementation>;
    if constexpr (kFamily != kFamilies) {
      using Call = RowCall<Row>;
      if constexpr (Call::kPointers == 1) {
        table[kFamily][Call::kSlots.slot[Call::kFirstPointer].count][typeCode<typename Call::Element>()] = &giveAttribute<Row>;
      }
    }
  });
  return table;
}
constexpr CallTable kCalls = makeCallTable();

struct RunSlot {
  AttributeCall call = nullptr;
  GLenum target = 0;
  uint32_t number = 0;
  uint32_t components = 0;
  uint32_t offset = 0;  // from the vertex's start
  uint32_t width = 0;   // bytes
};

struct RunLayout {
  RunSlot slot[kMostSlots];
  uint32_t slots = 0;
  uint32_t stride = 0;
  bool positioned = false;  // the last slot is the position; without one the run gives attributes only
  bool arrays = true;       // every slot is one that GL has float arrays for
};

bool readLayout(Replayer& replayer, uint32_t packed, const uint8_t* tags, RunLayout& layout) {
  layout.slots = packed >> 16 & 0xFF;
  for (uint32_t i = 0; i < layout.slots; ++i) {
    const uint32_t tag = get<uint16_t>(tags + 2 * i);
    const uint32_t number = tag & 0xFF, type = tag >> 8 & 0xF, components = tag >> 12;
    RunSlot& slot = layout.slot[i];
    if (type >= kTypes || components < 1 || components > 4 || layout.positioned) {
      return replayer.fail("tag 0x%04x in slot %u", tag, i);
    }
    slot.number = number;
    slot.components = components;
    slot.offset = layout.stride;
    slot.width = padded(components * kTypeWidths[type]);
    layout.stride += slot.width;
    if (type != kFloatType) layout.arrays = false;
    if (number == kPosition) {
      slot.call = kCalls[kPositions][components][type];
      layout.positioned = true;
    } else if (number == kNormal) {
      slot.call = kCalls[kNormals][components][type];
    } else if (number == kColor) {
      slot.call = kCalls[kColors][components][type];
    } else if (number == kTexCoord) {
      slot.call = kCalls[kTexCoords][components][type];
    } else if (number > kTexCoord && number < kTexCoord + kTextureSets) {
      slot.call = kCalls[kMultiTexCoords][components][type];
      slot.target = GL_TEXTURE0 + number - kTexCoord;
      if (number >= kTexCoord + kArraySets) layout.arrays = false;
    }
    if (slot.call == nullptr) return replayer.fail("tag 0x%04x in slot %u", tag, i);
  }
  if (layout.stride != (packed & 0xFFFF)) {
    return replayer.fail("%u bytes per vertex, the tags make it %u", packed & 0xFFFF, layout.stride);
  }
  return true;
}

void give(const RunLayout& layout, const uint8_t* vertex, uint32_t slots) {
  for (uint32_t i = 0; i < slots; ++i) layout.slot[i].call(layout.slot[i].target, vertex + layout.slot[i].offset);
}

void draw(Replayer& replayer, uint32_t mode, const RunLayout& layout, const uint8_t* data, uint32_t vertices) {
  RunAttribute attributes[kMostSlots];
  uint32_t count = 0;
  for (uint32_t i = 0; i < layout.slots; ++i) {
    const RunSlot& slot = layout.slot[i];
    // Of an attribute given twice in a vertex the later one counts.
    uint32_t k = 0;
    while (k < count && attributes[k].number != slot.number) ++k;
    attributes[k] = {slot.number, static_cast<int32_t>(slot.components), slot.offset};
    if (k == count) ++count;
  }
  replayer.runArrays().draw(mode, data, static_cast<int32_t>(vertices), static_cast<int32_t>(layout.stride), attributes, count);
  // What glBegin leaves behind is the last vertex's attributes.
  give(layout, data + (vertices - 1) * size_t{layout.stride}, layout.slots - 1);
}

}  // namespace

bool replayRun(Replayer& replayer, const uint8_t* payload, uint32_t bytes, bool ended) {
  const uint32_t packed = get<uint32_t>(payload);
  const uint32_t mode = packed >> 24, slots = packed >> 16 & 0xFF;
  if (slots > kMostSlots) return replayer.fail("%u slots", slots);
  const uint32_t dataAt = 4 + padded(2 * slots);
  if (bytes < dataAt) return replayer.fail("%u slots in a payload of %u bytes", slots, bytes);
  RunLayout layout;
  if (!readLayout(replayer, packed, payload + 4, layout)) return false;

  const uint8_t* const data = payload + dataAt;
  const uint32_t dataBytes = bytes - dataAt;
  const uint32_t vertices = layout.stride == 0 ? 0 : dataBytes / layout.stride;
  // A vertex that was cut short has whole slots.
  uint32_t rest = dataBytes - vertices * layout.stride, wholeSlots = 0;
  while (rest != 0 && wholeSlots < layout.slots && layout.slot[wholeSlots].width <= rest) rest -= layout.slot[wholeSlots++].width;
  if (rest != 0) return replayer.fail("%u bytes behind %u vertices of %u", rest, vertices, layout.stride);

  const bool arrays = ended && layout.positioned && layout.arrays && vertices >= kLeastForArrays && mode < kModes &&
                      !replayer.insideBegin() && !replayer.listOpen();
  if (arrays) {
    draw(replayer, mode, layout, data, vertices);
  } else {
    gl.glBegin(mode);
    for (uint32_t v = 0; v < vertices; ++v) give(layout, data + v * size_t{layout.stride}, layout.slots);
  }
  give(layout, data + vertices * size_t{layout.stride}, wholeSlots);
  if (!arrays && ended) gl.glEnd();
  replayer.setInsideBegin(!ended && mode < kModes);
  return true;
}

void openBareRun(Replayer& replayer, uint32_t packed) {
  const uint32_t mode = packed >> 24;
  gl.glBegin(mode);
  replayer.setInsideBegin(mode < kModes);
}

}  // namespace qv::peer
