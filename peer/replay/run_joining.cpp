// Which runs may be drawn as one, and how.
#include "peer/replay/run_joining.h"

#include <cstring>
#include <vector>

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "wire/entry_table.h"

namespace qv::peer {
namespace {

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

// The mode that the primitives of a joined run are drawn in.
constexpr uint32_t separateMode(uint32_t mode) {
  switch (mode) {
    case GL_TRIANGLE_STRIP:
    case GL_TRIANGLE_FAN:
      return GL_TRIANGLES;
    case GL_LINE_STRIP:
    case GL_LINE_LOOP:
      return GL_LINES;
    default:
      return mode;
  }
}

constexpr bool canBeJoined(uint32_t mode) { return ownVertices(mode) != 0 || separateMode(mode) != mode; }

// The whole runs behind the first one, one at a time.
class Followers {
 public:
  Followers(Replayer& replayer, VertexRunRecord record, const RunDraw& first)
      : replayer_(replayer), record_(record), layout_(replayer.state().runLayout), next_(first.end) {}

  // The vertices of the next run. False when what follows is something else.
  bool take(const uint8_t*& vertices, uint32_t& count) {
    const size_t there = replayer_.bytesFrom(next_);
    const uint32_t head = kRunHeadBytes + runTagBytes(layout_.slots);
    CommandHeader header;
    if (there <= head || readHeader(next_, there, header) != 0) return false;
    if (header.opcode != opcodeOf<op::qvRunEnded> || header.bytes != kLargeHeaderBytes) return false;
    const uint32_t total = header.total;
    if (total > there || total <= head || (total - head) % layout_.stride != 0) return false;
    // Without the pad behind an odd number of tags, which has no defined value.
    if (get<uint32_t>(next_ + kLargeHeaderBytes) != record_.packed ||
        std::memcmp(next_ + kRunHeadBytes, layout_.tags, sizeof(RunTag) * layout_.slots) != 0) {
      return false;
    }
    count = (total - head) / layout_.stride;
    const uint32_t own = ownVertices(record_.mode());
    // A run that is large enough for a draw of its own is not worth copying.
    if (own == 0 ? count >= kLeastForArrays : count % own != 0) return false;
    vertices = next_ + head;
    next_ += total;
    return true;
  }
  const uint8_t* next() const { return next_; }

 private:
  Replayer& replayer_;
  const VertexRunRecord record_;
  const RunLayout& layout_;
  const uint8_t* next_;
};

// Whether separate primitives look as they do in a strip, fan or loop, and no program of the guest can count them.
bool looksTheSame(uint32_t mode) {
  // A shader of the guest may read the number of a primitive, which counts from its glBegin on.
  GLint program = 0, pipeline = 0;
  gl.glGetIntegerv(GL_CURRENT_PROGRAM, &program);
  if (gl.glBindProgramPipeline != nullptr) gl.glGetIntegerv(GL_PROGRAM_PIPELINE_BINDING, &pipeline);
  if (program != 0 || pipeline != 0) return false;
  const uint32_t separate = separateMode(mode);
  if (separate == mode) return true;
  if (separate == GL_LINES) {
    // Along a strip the stipple goes on; it starts anew with every separate line.
    if (gl.glIsEnabled(GL_LINE_STIPPLE)) return false;
  } else {
    // Edge flags count for separate triangles only.
    GLint faces[2] = {};
    gl.glGetIntegerv(GL_POLYGON_MODE, faces);
    if (faces[0] != GL_FILL || faces[1] != GL_FILL) return false;
  }
  GLint shading = GL_SMOOTH, provoking = GL_LAST_VERTEX_CONVENTION;
  gl.glGetIntegerv(GL_SHADE_MODEL, &shading);
  if (shading == GL_FLAT && gl.glProvokingVertex != nullptr) gl.glGetIntegerv(GL_PROVOKING_VERTEX, &provoking);
  return provoking == GL_LAST_VERTEX_CONVENTION;
}

// Appends the primitives of one run as separate ones. The last vertex of each is that of the primitive in the strip, fan or loop,
// for the colour of flat primitives, and triangles keep their winding.
class Appender {
 public:
  Appender(uint32_t mode, uint32_t stride, std::vector<uint8_t>& out) : mode_(mode), stride_(stride), out_(out) {}

  void append(const uint8_t* vertices, uint32_t count) {
    vertices_ = vertices;
    switch (mode_) {
      case GL_TRIANGLE_STRIP:
        for (uint32_t i = 0; i + 2 < count; ++i) triangle(i + (i & 1), i + 1 - (i & 1), i + 2);
        break;
      case GL_TRIANGLE_FAN:
        for (uint32_t i = 0; i + 2 < count; ++i) triangle(0, i + 1, i + 2);
        break;
      case GL_LINE_LOOP:
      case GL_LINE_STRIP:
        for (uint32_t i = 0; i + 1 < count; ++i) line(i, i + 1);
        if (mode_ == GL_LINE_LOOP && count > 1) line(count - 1, 0);
        break;
      default:
        out_.insert(out_.end(), vertices, vertices + uint64_t{count} * stride_);
        break;
    }
  }

 private:
  void triangle(uint32_t a, uint32_t b, uint32_t c) {
    vertex(a);
    vertex(b);
    vertex(c);
  }
  void line(uint32_t a, uint32_t b) {
    vertex(a);
    vertex(b);
  }
  void vertex(uint32_t i) {
    const uint8_t* const from = vertices_ + uint64_t{i} * stride_;
    out_.insert(out_.end(), from, from + stride_);
  }

  const uint32_t mode_, stride_;
  std::vector<uint8_t>& out_;
  const uint8_t* vertices_ = nullptr;
};

}  // namespace

bool joinRuns(Replayer& replayer, VertexRunRecord record, RunDraw& draw) {
  ReplayState& state = replayer.state();
  const uint32_t mode = record.mode(), stride = state.runLayout.stride, own = ownVertices(mode);
  // Runs that were counted before and were too few are not counted again.
  if (!canBeJoined(mode) || draw.end <= state.joinSeen || draw.count == 0 || (own != 0 && draw.count % own != 0)) return false;
  if (own == 0 && draw.count >= kLeastForArrays) return false;
  Followers counting(replayer, record, draw);
  const uint8_t* vertices = nullptr;
  uint32_t count = 0;
  uint64_t all = draw.count, runs = 0;
  while (counting.take(vertices, count)) {
    all += count;
    ++runs;
  }
  state.joinSeen = counting.next();
  if (runs == 0 || all < kLeastForArrays || !looksTheSame(mode)) return false;

  std::vector<uint8_t>& joined = state.runArrays.joined();
  joined.clear();
  Appender appender(mode, stride, joined);
  appender.append(draw.vertices, draw.count);
  Followers taking(replayer, record, draw);
  while (taking.take(vertices, count)) appender.append(vertices, count);
  replayer.took(taking.next(), runs);
  draw = {separateMode(mode), joined.data(), static_cast<uint32_t>(joined.size() / stride), taking.next()};
  return true;
}

}  // namespace qv::peer
