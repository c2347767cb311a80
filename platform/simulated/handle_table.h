// Handles as numbers that tell their kind and generation, so that a dead or foreign one is noticed and never followed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

namespace qv::sim {

// Top four bits: the kind. Ten bits of generation, sixteen of index, two zero bits.
template <class Object, uint32_t Kind>
class HandleTable {
 public:
  // The handle of a new object, 0 when the table is full. Addresses of objects hold until their removal.
  uint32_t insert(Object object) {
    uint32_t index;
    if (resting_ > kReuseDistance || (places_.size() == kMost && resting_ != 0)) {
      index = firstFree_;
      firstFree_ = places_[index].nextFree;
      --resting_;
    } else if (places_.size() < kMost) {
      index = static_cast<uint32_t>(places_.size());
      places_.emplace_back();
    } else {
      return 0;
    }
    Place& place = places_[index];
    place.object = std::move(object);
    place.used = true;
    ++live_;
    return handleOf(index);
  }

  Object* find(uint32_t handle) {
    uint32_t index = handle >> 2 & 0xFFFF;
    if (index >= places_.size() || !places_[index].used || handle != handleOf(index)) {
      return nullptr;
    }
    return &places_[index].object;
  }

  bool erase(uint32_t handle) {
    if (find(handle) == nullptr) {
      return false;
    }
    uint32_t index = handle >> 2 & 0xFFFF;
    Place& place = places_[index];
    place.object = Object();
    place.used = false;
    place.generation = (place.generation + 1) & 0x3FF;
    (resting_ == 0 ? firstFree_ : places_[lastFree_].nextFree) = index;
    lastFree_ = index;
    ++resting_;
    --live_;
    return true;
  }

  // Calls visit(handle, object) for every live object; it must not insert or erase.
  template <class Visitor>
  void forEach(Visitor&& visit) {
    for (uint32_t i = 0; i < places_.size(); ++i) {
      if (places_[i].used) {
        visit(handleOf(i), places_[i].object);
      }
    }
  }

  uint32_t live() const { return live_; }

 private:
  static constexpr size_t kReuseDistance = 64;  // a freed place rests until this many others are free
  static constexpr size_t kMost = 0x10000;

  struct Place {
    Object object{};
    uint32_t generation = 1;
    uint32_t nextFree = 0;
    bool used = false;
  };

  uint32_t handleOf(uint32_t index) const { return Kind << 28 | places_[index].generation << 18 | index << 2; }

  std::deque<Place> places_;
  // Free places form a queue through themselves: in a steady state nothing is allocated.
  uint32_t firstFree_ = 0;
  uint32_t lastFree_ = 0;
  uint32_t resting_ = 0;
  uint32_t live_ = 0;
};

}  // namespace qv::sim
