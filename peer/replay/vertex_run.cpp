// Decodes a run's layout and feeds its vertices to GL.
#include "peer/replay/vertex_run.h"

#include <array>

#include "driver/stream/opcodes.h"
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
constexpr uint32_t kFloatType = runTypeCode<GLfloat>();
constexpr uint32_t kTypes = 8;
constexpr uint32_t kTypeWidths[kTypes] = {8, 4, 4, 4, 2, 2, 1, 1};

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
        table[kFamily][Call::kSlots.slot[Call::kFirstPointer].count][runTypeCode<typename Call::Element>()] = &giveAttribute<Row>;
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

// Vertices per primitive of the modes whose primitives share none; 0 for the others.
constexpr uint32_t ownVertices(uint32_t mode) {
  switch (mode) {
    case GL_POINTS:
      return 1;
    case GL_LINES:
      return 2;
    case GL_TRIANGLES:
      return 3;
    case GL_QUADS:
      return 4;
    default:
      return 0;
  }
}

// Whole runs that follow the one at `payload` and have its mode and layout are drawn with it: programs draw primitive after
// primitive in a glBegin of its own, and a draw costs as much as hundreds of vertices. Returns the vertices of all, `vertices`
// and `data` having been those of the first.
uint32_t joinRuns(Replayer& replayer, const uint8_t* payload, uint32_t dataAt, const RunLayout& layout, const uint8_t*& data,
                  uint32_t vertices) {
  const uint32_t mode = get<uint32_t>(payload) >> 24, perPrimitive = ownVertices(mode);
  if (perPrimitive == 0 || vertices == 0 || vertices % perPrimitive != 0) return vertices;
  constexpr uint32_t kHead = 8;
  const uint8_t* next = data + size_t{vertices} * layout.stride;
  uint32_t bytes = 0;  // of vertices of the run at `next`
  const auto belongs = [&] {
    const size_t there = replayer.bytesFrom(next);
    if (there < kHead + dataAt || get<uint32_t>(next) != kRunEnded) return false;
    const uint32_t total = get<uint32_t>(next + 4);
    if (total > there || total <= kHead + dataAt) return false;
    bytes = total - kHead - dataAt;
    // The packed word and the tags, without the place behind a lone tag, which has no defined value.
    return bytes % (layout.stride * perPrimitive) == 0 && std::memcmp(next + kHead, payload, 4 + 2 * layout.slots) == 0;
  };
  if (!belongs()) return vertices;
  // A program of the guest's may look at the number of a primitive, which counts from its glBegin on.
  GLint program = 0;
  gl.glGetIntegerv(GL_CURRENT_PROGRAM, &program);
  if (program != 0) return vertices;
  std::vector<uint8_t>& joined = replayer.runArrays().joined();
  joined.assign(data, next);
  uint64_t runs = 0;
  do {
    const uint8_t* const more = next + kHead + dataAt;
    joined.insert(joined.end(), more, more + bytes);
    next = more + bytes;
    ++runs;
  } while (belongs());
  replayer.took(next, runs);
  data = joined.data();
  return static_cast<uint32_t>(joined.size() / layout.stride);
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

  const uint8_t* data = payload + dataAt;
  const uint32_t dataBytes = bytes - dataAt;
  uint32_t vertices = layout.stride == 0 ? 0 : dataBytes / layout.stride;
  // A vertex that was cut short has whole slots.
  uint32_t rest = dataBytes - vertices * layout.stride, wholeSlots = 0;
  while (rest != 0 && wholeSlots < layout.slots && layout.slot[wholeSlots].width <= rest) rest -= layout.slot[wholeSlots++].width;
  if (rest != 0) return replayer.fail("%u bytes behind %u vertices of %u", rest, vertices, layout.stride);

  bool arrays = ended && layout.positioned && layout.arrays && mode < kModes && !replayer.insideBegin() && !replayer.listOpen();
  if (arrays && wholeSlots == 0) vertices = joinRuns(replayer, payload, dataAt, layout, data, vertices);
  arrays = arrays && vertices >= kLeastForArrays;
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
