// SharedObjects: what the host keeps for the contexts of one share set besides GL's own objects.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "peer/replay/host_buffer.h"
#include "peer/replay/kept_objects.h"
#include "peer/replay/name_map.h"
#include "peer/replay/resource_orders.h"
#include "peer/replay/sync_names.h"
#include "peer/replay/texture_memory.h"

namespace qv::peer {

// The lists that a list calls, as far as its commands name them, and the images of textures that it defines itself.
struct ListCalls {
  static constexpr uint64_t kMostImageBytes = uint64_t{1} << 48;

  struct Calls {
    uint32_t name = 0, times = 0;
  };
  std::vector<Calls> calls;
  bool others = false;      // lists that only the call itself tells
  uint64_t imageBytes = 0;  // at most kMostImageBytes
  Held memory;              // of the list's commands
  bool any() const { return others || !calls.empty(); }
  void add(uint32_t list) {
    if (calls.empty() || calls.back().name != list) calls.push_back({list, 0});
    ++calls.back().times;
  }
  void addImages(uint64_t bytes) { imageBytes = bytes > kMostImageBytes - imageBytes ? kMostImageBytes : imageBytes + bytes; }
};

// The display lists that there are, as far as they have been compiled by the contexts that know this object, and those that are
// open.
//
// While a list is open that calls others, what it calls stays as whole as it is: no context deletes a list, and a list that is
// defined anew calls only such as are whole.
class KnownLists {
 public:
  using Range = std::pair<uint32_t, int32_t>;  // first name, count

  // Notes that a context has opened a list, and that it is about to record the first call of another one into it.
  void opened(uint32_t list) {
    const std::lock_guard lock(mutex_);
    open_.insert(list);
  }
  void calls() {
    const std::lock_guard lock(mutex_);
    ++callers_;
  }
  // Notes that an open list is closed, compiled or not. Returns what is to be deleted now.
  std::vector<Range> closed(uint32_t list, bool calls);
  // Notes that a list has been compiled, and which others it calls.
  void compiled(uint32_t list, ListCalls calls) {
    const std::lock_guard lock(mutex_);
    calls_[list] = std::move(calls);  // what the list had before comes back
  }
  // Notes that the lists of a range, whose names wrap around, are about to be deleted. Puts those that were known to be there
  // into `names`. False when they must stay for now: closed() will return the range.
  bool deleted(Range range, std::vector<uint32_t>& names);
  // Whether the list is known to be there and to call no other.
  bool isLeaf(uint32_t list) const {
    const std::lock_guard lock(mutex_);
    const auto at = calls_.find(list);
    return at != calls_.end() && !at->second.any() && !open_.contains(list);
  }
  // Whether the list and all that it calls, and they in turn, are known to be there, without a circle, and none of them is open.
  bool isWhole(uint32_t list) const;
  // Notes that a list may define images of textures.
  void noteImages() { haveImages_.store(true, std::memory_order_relaxed); }
  // How many bytes of images the call of a list may define at most, and the call of any lists.
  uint64_t imageBytes(uint32_t list) const;
  uint64_t imageBytes() const;
  // Whether lists are open that call others, besides one of the caller's own.
  bool othersCall() const {
    const std::lock_guard lock(mutex_);
    return callers_ > 1;
  }

 private:
  static constexpr size_t kMostPending = 65536;

  uint64_t allImageBytes() const;

  std::atomic<bool> haveImages_{false};
  mutable std::mutex mutex_;
  std::map<uint32_t, ListCalls> calls_;
  std::multiset<uint32_t> open_;  // of different contexts
  uint32_t callers_ = 0;          // open lists that call others
  std::vector<Range> pending_;    // to be deleted when there are no more of them
};

// Every context of the share set has a thread of its own.
class SharedObjects {
 public:
  // Notes that a compiled list may leave a primitive open or close an open one.
  void noteUnbalancedList() { unbalancedLists_.store(true, std::memory_order_relaxed); }
  // Whether calling a list may open or close a primitive.
  bool hasUnbalancedLists() const { return unbalancedLists_.load(std::memory_order_relaxed); }

  // Names that the contexts of the set have in common.
  struct Names {
    NameMap textures, buffers;
    std::unordered_map<GLuint, std::shared_ptr<HostBuffer>> bufferObjects;  // by GL's name
    std::unordered_map<uint64_t, TextureMemory> textureMemory;              // by GL's name, or the target of a name 0
    std::unordered_map<GLuint, std::shared_ptr<Held>> renderbufferMemory;   // by name, here and below
    std::unordered_map<GLuint, std::shared_ptr<Attachments>> framebuffers;
  };
  // `use(names)` under the lock; it may call GL.
  template <typename Use>
  auto withNames(Use&& use) {
    const std::lock_guard lock(mutex_);
    return use(names_);
  }

  // Another number after each deletion of textures, and in each set: a texture that was found under a number is found again without
  // the lock while that number stands here. Changed under the lock.
  std::atomic<uint64_t> texturesGeneration{nextGeneration()};
  void texturesDeleted() { texturesGeneration = nextGeneration(); }
  bool isKnown(const ObjectBindings::KnownTexture& known, GLuint guest) const {
    return known.guest == guest && known.generation == texturesGeneration.load(std::memory_order_acquire);
  }

  // Held while a program is linked or its text replaced, and from a question for a length to the question whose answer has it and
  // that OpenGL would write whole: no other context may make it longer meanwhile.
  std::mutex programChanges;

  // Held while a buffer gets another store, and from a look at a store's size to the call for which OpenGL does not look at it.
  std::mutex storeChanges;

  // Null: unlimited. They outlive what is held of them here.
  std::shared_ptr<Budget> bufferBytes, textureBytes, renderbufferBytes, listBytes;
  // Whether some texture may have been told to make its levels by itself.
  std::atomic<bool> levelsMakeThemselves{false};

  KnownLists lists;
  SyncNames syncs;
  ResourceOrders uniformOrders, attributeOrders;
  // The orders for a kind of resources; null for a kind whose indices are GL's.
  ResourceOrders* ordersOf(GLenum kind) {
    if (kind == GL_UNIFORM) return &uniformOrders;
    return kind == GL_PROGRAM_INPUT ? &attributeOrders : nullptr;
  }

 private:
  static uint64_t nextGeneration() {
    static std::atomic<uint64_t> last{0};
    return ++last;
  }

  std::atomic<bool> unbalancedLists_{false};
  std::mutex mutex_;
  Names names_;
};

}  // namespace qv::peer
