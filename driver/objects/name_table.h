// NameTable: the sorted array through which every GL object that the guest tracks is found by its name.
#pragma once

#include <cstdint>

namespace qv {

struct NameRow {
  void* object = nullptr;  // null: the name has been generated, but no object exists yet
  uint32_t key = 0;        // never 0 in a table
};

// A table that belongs to a ShareGroup is used under the group's lock, also for a lookup, since `find` writes the cache.
struct NameTable {
  // How a row's object is destroyed; one function for the whole table, never a choice by row.
  using Destroy = void (*)(void* object);

  static constexpr uint32_t kInitialCapacity = 256;

  explicit NameTable(Destroy destroyObject);
  NameTable(const NameTable&) = delete;
  NameTable& operator=(const NameTable&) = delete;
  ~NameTable() { clear(); }

  // The object of `key`, null when there is no row or the row has no object yet. Fills the cache.
  void* find(uint32_t key) {
    // Key 0 meets an empty cache here and so answers null without a search.
    if (key == cachedKey) return cachedObject;
    return search(key);
  }
  template <typename T>
  T* findAs(uint32_t key) {
    return static_cast<T*>(find(key));
  }
  // True if a row exists, even with no object. Neither reads nor fills the cache.
  bool contains(uint32_t key) const { return indexOf(key) >= 0; }

  // Grows to `newCapacity` rows; never shrinks.
  void reserve(uint32_t newCapacity);
  // The row index at which a run of `n` free names begins, the first such place whose next key is above `minKey`.
  int32_t findGap(uint32_t minKey, int32_t n) const;
  void insertRows(int32_t index, int32_t n, const NameRow* newRows);
  // Makes `n` consecutive new names, lowest free run first; false, and nothing made, if n is below 1 or `out` is null.
  bool generate(int32_t n, uint32_t* out);
  // Inserts or replaces; a replaced object is destroyed. Key 0 is ignored.
  void set(uint32_t key, void* object);
  // Destroys and removes `n` rows from `index` on; they must exist.
  void removeAt(int32_t index, int32_t n);
  // Removes all rows whose keys lie from `first` on, below `end`.
  void removeRange(uint32_t first, uint64_t end);
  // Removes the named rows; names that are absent are ignored.
  void removeNames(int32_t n, const uint32_t* names);
  // Destroys all objects and frees the array.
  void clear();

  NameRow* rows = nullptr;  // ascending by key, no key twice
  uint32_t capacity = 0;
  int32_t count = 0;
  // One-entry cache in front of the search; both zero when empty.
  void* cachedObject = nullptr;
  uint32_t cachedKey = 0;
  Destroy destroy;

 private:
  void* search(uint32_t key);
  int32_t indexOf(uint32_t key) const;  // -1 when absent
};

}  // namespace qv
