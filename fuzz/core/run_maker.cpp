// Makes runs out of tags.
#include "fuzz/core/run_maker.h"

#include "fuzz/core/command_maker.h"
#include "fuzz/core/kinds.h"
#include "wire/entry_table.h"

namespace qv::fuzz {
namespace {

struct Layout {
  uint32_t mode = 0;
  std::vector<RunTag> tags;
  uint32_t stride = 0;
};

uint32_t typeOf(Random& random) {
  constexpr uint32_t kFloat = runTypeCode<GLfloat>();
  return random.oneIn(4) ? random.below(kRunTypes) : kFloat;
}

void addTag(Layout& layout, RunTag tag) {
  layout.tags.push_back(tag);
  if (tag.valid()) layout.stride += runAttributeBytes(tag.components(), kRunTypeBytes[tag.type()]);
}

Layout makeLayout(Random& random) {
  Layout out;
  out.mode = random.oneIn(32) ? random.below(256) : random.below(10);
  for (uint32_t slots = random.below(5); slots > 0; --slots) {
    switch (random.below(4)) {
      case 0:
        addTag(out, RunTag::of(3, typeOf(random), kNormal));
        break;
      case 1:
        addTag(out, RunTag::of(3 + random.below(2), typeOf(random), kColor));
        break;
      case 2:
        addTag(out, RunTag::of(1 + random.below(4), typeOf(random), kTexCoord));
        break;
      default:
        addTag(out, RunTag::of(1 + random.below(4), typeOf(random), kTexCoord + random.below(random.oneIn(8) ? 40 : 4)));
        break;
    }
  }
  if (!random.oneIn(16)) addTag(out, RunTag::of(2 + random.below(3), typeOf(random), kPosition));
  if (random.oneIn(64)) addTag(out, RunTag{static_cast<uint16_t>(random.next())});
  return out;
}

uint32_t vertexCount(Random& random) {
  switch (random.below(16)) {
    case 0:
      return 0;
    case 1:
      return 40 + random.below(16);  // about as many as make an array draw worth it
    case 2:
      return 100 + random.below(200);
    default:
      return 1 + random.below(9);
  }
}

void addVertices(Random& random, const Layout& layout, uint32_t count, Bytes& payload) {
  static constexpr ArgumentFacts kTypes[kRunTypes] = {
      {.kind = ValueKind::Real, .width = 8},   {.kind = ValueKind::Real, .width = 4},
      {.kind = ValueKind::Signed, .width = 4}, {.kind = ValueKind::Unsigned, .width = 4},
      {.kind = ValueKind::Signed, .width = 2}, {.kind = ValueKind::Unsigned, .width = 2},
      {.kind = ValueKind::Signed, .width = 1}, {.kind = ValueKind::Unsigned, .width = 1}};
  for (uint32_t v = 0; v < count; ++v) {
    for (const RunTag tag : layout.tags) {
      if (!tag.valid()) continue;
      const ArgumentFacts& type = kTypes[tag.type()];
      const size_t begin = payload.size();
      payload.resize(begin + runAttributeBytes(tag.components(), type.width));
      for (uint32_t k = 0; k < tag.components(); ++k) {
        const bool any = random.oneIn(256);
        const double number = type.kind == ValueKind::Real ? drawValue(Kind::Coordinate, random) : random.below(3);
        const uint64_t bits = any ? drawAnything(type, random) : bitsOf(type, number);
        std::memcpy(payload.data() + begin + size_t{k} * type.width, &bits, type.width);
      }
    }
  }
}

void appendRun(Random& random, const Layout& layout, bool ended, uint32_t count, Bytes& out) {
  Bytes payload(4);
  const uint32_t stride = random.oneIn(64) ? random.below(200) : layout.stride;
  const auto slots = static_cast<uint32_t>(random.oneIn(128) ? random.below(256) : layout.tags.size());
  put(payload.data(), VertexRunRecord::of(layout.mode, slots, stride).packed);
  for (const RunTag tag : layout.tags) {
    payload.resize(payload.size() + 2);
    put(payload.data() + payload.size() - 2, tag.bits);
  }
  payload.resize(padded(payload.size()), static_cast<uint8_t>(random.next()));
  addVertices(random, layout, count, payload);
  if (!ended && random.oneIn(4) && payload.size() > 24) payload.resize(payload.size() - 4 * random.below(4));
  if (!ended && random.oneIn(8)) {
    payload.resize(payload.size() + 4);
    put(payload.data() + payload.size() - 4, kMarkInRun);
  }
  appendCommand(out, ended ? opcodeOf<op::qvRunEnded> : opcodeOf<op::qvRunBroken>, payload, !random.oneIn(64));
}

}  // namespace

void makeRun(Random& random, Bytes& out) { appendRun(random, makeLayout(random), !random.oneIn(6), vertexCount(random), out); }

void makeRuns(Random& random, uint32_t count, Bytes& out) {
  const Layout layout = makeLayout(random);
  const uint32_t vertices = vertexCount(random);
  for (uint32_t i = 0; i < count; ++i) appendRun(random, layout, true, random.oneIn(8) ? vertexCount(random) : vertices, out);
}

void makeBrokenRun(Random& random, Bytes& out) { appendRun(random, makeLayout(random), false, vertexCount(random), out); }

}  // namespace qv::fuzz
