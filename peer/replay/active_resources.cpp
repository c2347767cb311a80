// The lists of active uniforms and attributes, and the questions that name uniforms by their indices.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <numeric>
#include <string>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/text_replay.h"

namespace qv::peer {
namespace {

constexpr uint64_t kLongestList = 16 << 20;
constexpr uint32_t kMostValues = 1 << 20;  // of one property
constexpr char kIndexZero[] = "[0]";

struct Listed {
  ActiveResource entry;
  std::string name;

  // Of the name as the application sees it: the guest puts "[0]" behind those of arrays.
  size_t seenLength() const { return name.size() + (entry.step != 0 ? std::strlen(kIndexZero) : 0); }
};

struct Questions {
  GLenum count, longestName;
  void(APIENTRY* describe)(GLuint, GLuint, GLsizei, GLsizei*, GLint*, GLenum*, GLchar*);
  GLint(APIENTRY* locate)(GLuint, const GLchar*);
  GLenum kind;
};

// Locations that one attribute takes up.
GLint columnsOf(GLenum type) {
  switch (type) {
    case GL_FLOAT_MAT2:
    case GL_FLOAT_MAT2x3:
    case GL_FLOAT_MAT2x4:
    case GL_DOUBLE_MAT2:
    case GL_DOUBLE_MAT2x3:
    case GL_DOUBLE_MAT2x4:
      return 2;
    case GL_FLOAT_MAT3:
    case GL_FLOAT_MAT3x2:
    case GL_FLOAT_MAT3x4:
    case GL_DOUBLE_MAT3:
    case GL_DOUBLE_MAT3x2:
    case GL_DOUBLE_MAT3x4:
      return 3;
    case GL_FLOAT_MAT4:
    case GL_FLOAT_MAT4x2:
    case GL_FLOAT_MAT4x3:
    case GL_DOUBLE_MAT4:
    case GL_DOUBLE_MAT4x2:
    case GL_DOUBLE_MAT4x3:
      return 4;
    default:
      return 1;
  }
}

// A program that is linked has resources; no other may be asked for their locations.
bool isLinked(GLuint program) {
  if (gl.glIsProgram(program) == GL_FALSE) return false;
  GLint linked = 0;
  gl.glGetProgramiv(program, GL_LINK_STATUS, &linked);
  return linked != 0;
}

// The resources in the order of their indices in GL; none when the list would be too long.
std::vector<Listed> resourcesOf(GLuint program, const Questions& questions) {
  GLint count = 0, longest = 0;
  gl.glGetProgramiv(program, questions.count, &count);
  gl.glGetProgramiv(program, questions.longestName, &longest);
  std::vector<Listed> list;
  std::string name;
  uint64_t bytes = 0;
  for (GLint i = 0; i < count; ++i) {
    Listed& listed = list.emplace_back();
    GLsizei length = 0;
    name.assign(static_cast<size_t>(std::max(longest, 1)), 0);
    questions.describe(program, static_cast<GLuint>(i), static_cast<GLsizei>(name.size()), &length, &listed.entry.arraySize,
                       &listed.entry.type, name.data());
    name.resize(std::strlen(name.c_str()));
    listed.entry.location = questions.locate(program, name.c_str());
    const bool indexed = name.ends_with(kIndexZero);
    if (indexed) name.resize(name.size() - std::strlen(kIndexZero));
    if (indexed || listed.entry.arraySize > 1) listed.entry.step = questions.kind == GL_UNIFORM ? 1 : columnsOf(listed.entry.type);
    listed.name = name;
    bytes += activeResourceBytes(static_cast<uint32_t>(name.size()));
    if (bytes > kLongestList) return {};
  }
  return list;
}

std::vector<uint8_t> encode(const std::vector<Listed>& list, const std::vector<GLuint>& order) {
  std::vector<uint8_t> out;
  for (const GLuint index : order) {
    const Listed& listed = list[index];
    const size_t at = out.size();
    out.resize(at + activeResourceBytes(static_cast<uint32_t>(listed.name.size())));
    put(out.data() + at, listed.entry);
    // In bounds: an entry has room for the name and its zero.
    std::memcpy(out.data() + at + sizeof listed.entry, listed.name.c_str(), listed.name.size());
  }
  return out;
}

void listResources(Replayer& replayer, const ActiveResourcesRecord& record, const Questions& questions) {
  struct {
    int32_t bytes = 0, entries = 0;
  } totals;
  std::vector<Listed> list;
  if (!replayer.state().insideBegin && isLinked(record.program)) list = resourcesOf(record.program, questions);
  std::vector<GLuint> order(list.size());
  std::iota(order.begin(), order.end(), 0u);
  const bool sorts = std::none_of(list.begin(), list.end(), [](const Listed& one) { return one.entry.location == -1; });
  if (sorts) {
    // The guest sorts by locations. The order of arrival is free, then: the longest name comes last, where the guest takes the
    // longest length from.
    std::stable_sort(order.begin(), order.end(),
                     [&](GLuint a, GLuint b) { return list[a].entry.location < list[b].entry.location; });
  }
  replayer.state().shared->ordersOf(questions.kind)->set(record.program, order);
  if (sorts) {
    const auto longest = std::max_element(order.begin(), order.end(),
                                          [&](GLuint a, GLuint b) { return list[a].seenLength() < list[b].seenLength(); });
    if (longest != order.end()) std::rotate(longest, longest + 1, order.end());
  }
  const std::vector<uint8_t> bytes = encode(list, order);
  totals.bytes = static_cast<int32_t>(bytes.size());
  totals.entries = static_cast<int32_t>(list.size());
  const bool fits = bytes.size() <= record.capacity && bytes.size() <= replayer.replyRoom();
  replayer.answer(bytes.data(), fits ? static_cast<uint32_t>(bytes.size()) : 0, &totals, sizeof totals);
}

}  // namespace

namespace replay {

void qvActiveUniforms(Replayer& replayer, const ActiveResourcesRecord& record) {
  listResources(replayer, record,
                {GL_ACTIVE_UNIFORMS, GL_ACTIVE_UNIFORM_MAX_LENGTH, gl.glGetActiveUniform, gl.glGetUniformLocation, GL_UNIFORM});
}
void qvActiveAttributes(Replayer& replayer, const ActiveResourcesRecord& record) {
  listResources(
      replayer, record,
      {GL_ACTIVE_ATTRIBUTES, GL_ACTIVE_ATTRIBUTE_MAX_LENGTH, gl.glGetActiveAttrib, gl.glGetAttribLocation, GL_PROGRAM_INPUT});
}

void glGetUniformIndices(Replayer& replayer, const TextListRecord& record, Reader& rest) {
  TextArguments names;
  if (!names.read(replayer, rest, record.count, record.countAgain, record.bytes)) return;
  if (record.count < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (!mayAsk(replayer)) return;
  std::vector<GLuint> indices(names.texts.size(), GL_INVALID_INDEX);
  holdGlError(replayer);
  gl.glGetUniformIndices(record.target, record.count, names.texts.data(), indices.data());
  if (glRefused(replayer)) return;
  replayer.state().shared->uniformOrders.toGuest(record.target, indices.data(), indices.size());
  replayer.answer(indices.data(), static_cast<uint32_t>(indices.size() * sizeof(GLuint)));
}

void glGetActiveUniformsiv(Replayer& replayer, const ActiveUniformsRecord& record, Reader& rest) {
  if (record.count < 0) return refuse(replayer, GL_INVALID_VALUE);
  const auto given = rest.elements<GLuint>(static_cast<uint64_t>(record.count));
  if (!mayAsk(replayer)) return;
  std::vector<GLuint> indices(given.size());
  given.copyTo(indices.data());
  replayer.state().shared->uniformOrders.toGl(record.program, indices.data(), indices.size());
  std::vector<GLint> values(given.size());
  holdGlError(replayer);
  gl.glGetActiveUniformsiv(record.program, record.count, indices.data(), record.pname, values.data());
  if (!glRefused(replayer)) replayer.answer(values.data(), static_cast<uint32_t>(values.size() * sizeof(GLint)));
}

// The indices are GL's: a program whose blocks or buffers have members lists uniforms without locations, and keeps GL's order.
void glGetActiveUniformBlockiv(Replayer& replayer, GLuint program, GLuint block, GLenum pname) {
  if (!mayAsk(replayer)) return;
  const std::lock_guard lock(replayer.state().shared->programChanges);
  GLint count = 1;
  holdGlError(replayer);
  if (pname == GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES) {
    gl.glGetActiveUniformBlockiv(program, block, GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS, &count);
    if (glRefused(replayer)) return;
  }
  std::vector<GLint> values(static_cast<size_t>(std::max(count, 16)));
  gl.glGetActiveUniformBlockiv(program, block, pname, values.data());
  if (glRefused(replayer)) return;
  replayer.answer(values.data(), static_cast<uint32_t>(std::max(count, 0)) * 4);
}

void glGetActiveAtomicCounterBufferiv(Replayer& replayer, const AtomicCounterBufferRecord& record) {
  if (!mayAsk(replayer)) return;
  const std::lock_guard lock(replayer.state().shared->programChanges);
  GLint count = 1;
  holdGlError(replayer);
  if (record.pname == GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES) {
    gl.glGetActiveAtomicCounterBufferiv(record.program, record.index, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTERS, &count);
    if (glRefused(replayer)) return;
  }
  std::vector<GLint> values(static_cast<size_t>(std::max(count, 0)) + 16);
  gl.glGetActiveAtomicCounterBufferiv(record.program, record.index, record.pname, values.data());
  if (glRefused(replayer)) return;
  replayer.answer(values.data(), std::min(record.count, static_cast<uint32_t>(std::max(count, 0))) * 4);
}

void glGetActiveSubroutineUniformiv(Replayer& replayer, const SubroutineUniformRecord& record) {
  if (!mayAsk(replayer)) return;
  const std::lock_guard lock(replayer.state().shared->programChanges);
  GLint count = 1;
  holdGlError(replayer);
  if (record.pname == GL_COMPATIBLE_SUBROUTINES) {
    gl.glGetActiveSubroutineUniformiv(record.program, record.shaderType, record.index, GL_NUM_COMPATIBLE_SUBROUTINES, &count);
    if (glRefused(replayer)) return;
  }
  std::vector<GLint> values(static_cast<size_t>(std::max(count, 0)) + 16);
  gl.glGetActiveSubroutineUniformiv(record.program, record.shaderType, record.index, record.pname, values.data());
  if (!glRefused(replayer)) replayer.answer(values.data(), std::min(record.count, static_cast<uint32_t>(std::max(count, 0))) * 4);
}

void glGetProgramResourceiv(Replayer& replayer, const ProgramResourceRecord& record, Reader& rest) {
  if (record.count < 0 || record.room < 0) return refuse(replayer, GL_INVALID_VALUE);
  const auto given = rest.elements<GLenum>(static_cast<uint64_t>(record.count));
  if (!mayAsk(replayer)) return;
  std::vector<GLenum> properties(given.size() + 1);
  given.copyTo(properties.data());
  const uint32_t room = std::min({static_cast<uint32_t>(record.room), replayer.reply2Room() / 4, kMostValues});
  std::vector<GLint> values(size_t{room} + 1);
  GLsizei length = 0;
  holdGlError(replayer);
  GLuint index = record.index;
  if (const ResourceOrders* const orders = replayer.state().shared->ordersOf(record.kind); orders != nullptr)
    orders->toGl(record.program, &index, 1);
  gl.glGetProgramResourceiv(record.program, record.kind, index, record.count, properties.data(), static_cast<GLsizei>(room),
                            &length, values.data());
  if (glRefused(replayer)) return;
  length = std::clamp(length, 0, static_cast<GLsizei>(room));
  replayer.answer(&length, sizeof length, values.data(), static_cast<uint32_t>(length) * 4);
}

}  // namespace replay

}  // namespace qv::peer
