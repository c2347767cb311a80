// Replay of the display list commands that are more than a call.
#include "peer/replay/lists.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/texture_memory.h"
#include "peer/replay/vertex_attributes.h"

namespace qv::peer {
namespace {

constexpr uint64_t kListBytes = 256;  // that a list takes besides its commands

// Calls lists, which may open a primitive or close the open one; `insideBegin` is true again afterwards. They define `imageBytes`
// bytes of images at most.
template <typename Call>
void callLists(Replayer& replayer, uint32_t opcode, const char* name, uint64_t imageBytes, Call&& call) {
  ReplayState& state = replayer.state();
  const bool carriedOut = !state.listOpen || state.listExecutes;
  TextureRoom room;
  if (carriedOut && !room.takeLists(replayer, opcode, name, imageBytes)) return;
  if (carriedOut) state.bindings.unit = ObjectBindings::kUnknown;
  const bool ask = state.insideBegin || state.shared->hasUnbalancedLists();
  if (state.listOpen && state.shared->hasUnbalancedLists()) state.listUnbalanced = true;
  if (carriedOut && ask && !state.insideBegin) holdGlError(replayer);
  call();
  if (!carriedOut) return;
  if (ask) {
    state.insideBegin = askWhetherPrimitiveIsOpen(replayer);
    dropProvokedError(replayer);
  }
  room.settle(replayer);
}

// At the end of some lists an OpenGL visits the lists that the list calls, and those that they call: it crashes over one that is
// not there, and never comes back from a circle. So it does with lists that call others inside a primitive, that leave a
// primitive open, and that set a vertex attribute between the vertices of one. Inside a primitive of a list only lists may be
// called that are there and call no others. Returns whether the call of any list but such may be recorded.
bool mayCallAny(Replayer& replayer, uint32_t opcode, const char* name) {
  ReplayState& state = replayer.state();
  if (!state.listOpen || !state.listInsideBegin) return true;
  replayer.passOver(opcode, name, "inside a primitive of a list, of a list that calls others or is not there");
  return false;
}

// The same for a list that sets attributes inside a primitive: a list that it calls must be there as a whole.
bool mayCallAbsent(Replayer& replayer, uint32_t opcode, const char* name) {
  ReplayState& state = replayer.state();
  if (!state.listOpen) return true;
  if (state.listDefinesInside) {
    replayer.passOver(opcode, name,
                      "of a list that is not there as a whole, behind vertex attributes inside a primitive of a list");
    return false;
  }
  if (state.shared->lists.othersCall()) {
    replayer.passOver(opcode, name,
                      "of a list that is not there as a whole, while lists of other contexts that call lists are open");
    return false;
  }
  return state.listCallsAbsent = true;
}

// Before a list's first call goes into the open one.
void noteCaller(ReplayState& state) {
  if (!state.listOpen || state.listIsCaller) return;
  state.listIsCaller = true;
  state.shared->lists.calls();
}

void deleteLists(ReplayState& state, KnownLists::Range range) {
  std::vector<uint32_t> names;
  if (!state.shared->lists.deleted(range, names)) return;
  // An OpenGL tries every name of a range, under the lock of all that share lists: the names beyond are given it one by one.
  constexpr GLsizei kMostAtOnce = 1 << 16;
  gl.glDeleteLists(range.first, std::min(range.second, kMostAtOnce));
  if (range.second <= kMostAtOnce) return;
  for (const uint32_t name : names) gl.glDeleteLists(name, 1);
}

void closeList(Replayer& replayer) {
  ReplayState& state = replayer.state();
  state.listOpen = false;
  for (const KnownLists::Range& range : state.shared->lists.closed(state.listName, state.listIsCaller)) deleteLists(state, range);
}

}  // namespace

std::vector<KnownLists::Range> KnownLists::closed(uint32_t list, bool calls) {
  const std::lock_guard lock(mutex_);
  if (const auto at = open_.find(list); at != open_.end()) open_.erase(at);
  if (calls) --callers_;
  return callers_ == 0 ? std::exchange(pending_, {}) : std::vector<Range>();
}

bool KnownLists::deleted(Range range, std::vector<uint32_t>& names) {
  constexpr uint64_t kNames = uint64_t{1} << 32;
  const std::lock_guard lock(mutex_);
  if (callers_ != 0) {
    // Lists of a guest that does this without end stay.
    if (pending_.size() < kMostPending) pending_.push_back(range);
    return false;
  }
  const auto erase = [&](uint32_t from, uint64_t end) {
    auto at = calls_.lower_bound(from);
    for (; at != calls_.end() && at->first < end; at = calls_.erase(at)) names.push_back(at->first);
  };
  const uint64_t end = uint64_t{range.first} + static_cast<uint32_t>(range.second);
  erase(range.first, end);
  if (end > kNames) erase(0, end - kNames);
  return true;
}

bool KnownLists::isWhole(uint32_t list) const {
  constexpr uint32_t kDeepest = 256;  // OpenGL itself goes down 64 lists at most, and a circle has no end
  const std::lock_guard lock(mutex_);
  std::set<uint32_t> whole;
  const auto visit = [&](auto&& self, uint32_t name, uint32_t depth) -> bool {
    if (whole.contains(name)) return true;
    const auto at = calls_.find(name);
    if (open_.contains(name) || at == calls_.end() || at->second.others || depth == kDeepest) return false;
    for (const ListCalls::Calls& next : at->second.calls)
      if (!self(self, next.name, depth + 1)) return false;
    whole.insert(name);
    return true;
  };
  return visit(visit, list, 0);
}

uint64_t KnownLists::allImageBytes() const {
  ListCalls all;
  for (const auto& [_, one] : calls_) all.addImages(one.imageBytes);
  return all.imageBytes;
}

uint64_t KnownLists::imageBytes() const {
  if (!haveImages_.load(std::memory_order_relaxed)) return 0;
  const std::lock_guard lock(mutex_);
  return allImageBytes();
}

uint64_t KnownLists::imageBytes(uint32_t list) const {
  if (!haveImages_.load(std::memory_order_relaxed)) return 0;
  constexpr uint32_t kDeepest = 64;  // OpenGL goes no further down
  const std::lock_guard lock(mutex_);
  std::map<uint32_t, uint64_t> known;
  const auto visit = [&](auto&& self, uint32_t name, uint32_t depth) -> uint64_t {
    const auto at = calls_.find(name);
    if (at == calls_.end() || depth == kDeepest) return 0;
    if (const auto before = known.find(name); before != known.end()) return before->second;
    // In a circle each list counts once.
    known[name] = at->second.imageBytes;
    ListCalls all;
    all.imageBytes = at->second.imageBytes;
    if (at->second.others) all.addImages(allImageBytes());
    for (const ListCalls::Calls& next : at->second.calls) {
      const uint64_t bytes = self(self, next.name, depth + 1);
      all.addImages(bytes > ListCalls::kMostImageBytes / next.times ? ListCalls::kMostImageBytes : bytes * next.times);
    }
    return known[name] = all.imageBytes;
  };
  return visit(visit, list, 0);
}

void noteRecorded(Replayer& replayer, uint32_t bytes) {
  ReplayState& state = replayer.state();
  if (state.shared->listBytes == nullptr || state.listFull) return;
  state.listBytes += bytes;
  Held& memory = state.listCalls.memory;
  if (state.listBytes <= memory.amount()) return;
  // More than is needed, so that not every command takes some; where there is not more, as much as is needed.
  const uint64_t more = state.listBytes / 4 + 1024;
  if (memory.resize(*state.shared->listBytes, state.listBytes + more)) return;
  if (memory.resize(*state.shared->listBytes, state.listBytes)) return;
  state.listFull = true;
  replayer.passOver(opcodeOf<op::glNewList>, "glNewList", "over the guest's quota of memory for display lists");
  refuse(replayer, GL_OUT_OF_MEMORY);
}

bool mayDefineInList(Replayer& replayer, uint32_t opcode, const char* name) {
  ReplayState& state = replayer.state();
  if (state.listCallsAbsent) {
    replayer.passOver(opcode, name, "inside a primitive of a list that calls lists which are not there as a whole");
    return false;
  }
  return state.listDefinesInside = true;
}

namespace replay {

void glNewList(Replayer& replayer, GLuint list, GLenum mode) {
  gl.glNewList(list, mode);
  ReplayState& state = replayer.state();
  if (list == 0 || state.listOpen || state.insideBegin || (mode != GL_COMPILE && mode != GL_COMPILE_AND_EXECUTE)) return;
  state.listOpen = true;
  state.listName = list;
  state.listExecutes = mode == GL_COMPILE_AND_EXECUTE;
  state.listPrimitives = 0;
  state.listUnbalanced = false;
  state.listInsideBegin = false;
  state.listCalls = {};
  state.listBytes = kListBytes;
  state.listFull = false;
  state.listCallsAbsent = false;
  state.listDefinesInside = false;
  state.listIsCaller = false;
  state.shared->lists.opened(list);
}

void glEndList(Replayer& replayer) {
  ReplayState& state = replayer.state();
  // See mayCallAny(): there the primitive ends with the list.
  if (state.listOpen && state.listCalls.any() && state.listInsideBegin) {
    replayer.passOver(opcodeOf<op::glBegin>, "glBegin",
                      "a list that calls lists leaves its primitive open: it ends with the list");
    glEnd(replayer);
  }
  gl.glEndList();
  if (!state.listOpen) return;
  if (state.listUnbalanced || state.listPrimitives != 0) state.shared->noteUnbalancedList();
  if (state.shared->listBytes != nullptr) {
    Held& memory = state.listCalls.memory;
    memory.resize(*state.shared->listBytes, std::min(state.listBytes, memory.amount()));
  }
  state.listFull = false;
  state.shared->lists.compiled(state.listName, std::exchange(state.listCalls, {}));
  closeList(replayer);
}

void glDeleteLists(Replayer& replayer, GLuint first, GLsizei count) {
  ReplayState& state = replayer.state();
  // OpenGL finds the errors.
  if (state.insideBegin || count <= 0) return gl.glDeleteLists(first, count);
  deleteLists(state, {first, count});
}

void glCallList(Replayer& replayer, GLuint list) {
  ReplayState& state = replayer.state();
  noteCaller(state);
  const bool leaf = state.shared->lists.isLeaf(list);
  if (!leaf && !mayCallAny(replayer, opcodeOf<op::glCallList>, "glCallList")) return;
  if (state.listOpen) {
    if (!leaf && !state.shared->lists.isWhole(list) && !mayCallAbsent(replayer, opcodeOf<op::glCallList>, "glCallList")) return;
    state.listCalls.add(list);
  }
  callLists(replayer, opcodeOf<op::glCallList>, "glCallList", state.shared->lists.imageBytes(list),
            [&] { gl.glCallList(list); });
}

void glCallLists(Replayer& replayer, const CallListsRecord& record, Reader& names) {
  if (record.bytes != names.left()) {
    return replayer.fail("byte count of %u for %u bytes of names", record.bytes, static_cast<uint32_t>(names.left()));
  }
  const uint8_t* const data = names.rest().data();
  noteCaller(replayer.state());
  if (!mayCallAny(replayer, opcodeOf<op::glCallLists>, "glCallLists")) return;
  if (!mayCallAbsent(replayer, opcodeOf<op::glCallLists>, "glCallLists")) return;
  if (replayer.state().listOpen) replayer.state().listCalls.others = true;
  callLists(replayer, opcodeOf<op::glCallLists>, "glCallLists", replayer.state().shared->lists.imageBytes(),
            [&] { gl.glCallLists(record.count, record.type, data); });
}

}  // namespace replay

}  // namespace qv::peer
