// The sorted name table: search, generation of names, insertion and bulk removal.
#include "driver/objects/name_table.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace qv {

namespace {

NameRow* allocateRows(uint32_t n) { return static_cast<NameRow*>(std::malloc(sizeof(NameRow) * n)); }

}  // namespace

NameTable::NameTable(Destroy destroyObject)
    : rows(allocateRows(kInitialCapacity)), capacity(kInitialCapacity), destroy(destroyObject) {}

int32_t NameTable::indexOf(uint32_t key) const {
  int32_t low = 0;
  int32_t high = count - 1;
  while (low <= high) {
    const int32_t middle = (low + high) >> 1;
    if (rows[middle].key == key) return middle;
    if (key < rows[middle].key) {
      high = middle - 1;
    } else {
      low = middle + 1;
    }
  }
  return -1;
}

void* NameTable::search(uint32_t key) {
  const int32_t index = indexOf(key);
  if (index < 0) {
    cachedObject = nullptr;
    cachedKey = 0;
    return nullptr;
  }
  cachedKey = key;
  cachedObject = rows[index].object;
  return cachedObject;
}

void NameTable::reserve(uint32_t newCapacity) {
  if (newCapacity <= capacity) return;
  NameRow* const fresh = allocateRows(newCapacity);
  // In bounds: `count` never exceeds the old capacity, which is below the new one.
  if (count > 0) std::memcpy(fresh, rows, sizeof(NameRow) * static_cast<uint32_t>(count));
  std::free(rows);
  rows = fresh;
  capacity = newCapacity;
}

int32_t NameTable::findGap(uint32_t minKey, int32_t n) const {
  // Keys are positive and sorted, so the names are dense from 1 up to the first row whose key exceeds its index plus 1.
  int32_t low = 0;
  int32_t high = count - 1;
  while (low <= high) {
    const int32_t middle = (low + high) >> 1;
    if (rows[middle].key > static_cast<uint32_t>(middle) + 1) {
      high = middle - 1;
    } else {
      low = middle + 1;
    }
  }
  uint32_t previous = low > 0 ? rows[low - 1].key : 0;
  for (; low < count; ++low) {
    const uint32_t key = rows[low].key;
    if (key - previous > static_cast<uint32_t>(n) && (minKey == 0 || key > minKey)) return low;
    previous = key;
  }
  return count;
}

void NameTable::insertRows(int32_t index, int32_t n, const NameRow* newRows) {
  const uint32_t added = static_cast<uint32_t>(n);
  if (static_cast<uint32_t>(count) + added > capacity) reserve(capacity + std::max(capacity, added));
  // In bounds: count + n rows fit, and the tail begins at most at `count`.
  std::memmove(rows + index + n, rows + index, sizeof(NameRow) * static_cast<uint32_t>(count - index));
  std::memcpy(rows + index, newRows, sizeof(NameRow) * added);
  count += n;
}

bool NameTable::generate(int32_t n, uint32_t* out) {
  if (out == nullptr || n < 1) return false;
  const uint32_t wanted = static_cast<uint32_t>(n);
  if (capacity - static_cast<uint32_t>(count) < wanted) reserve(capacity + std::max(wanted, capacity));
  const int32_t index = findGap(0, n);
  const uint32_t first = index > 0 ? rows[index - 1].key + 1 : 1;
  NameRow* const block = allocateRows(wanted);
  for (uint32_t i = 0; i < wanted; ++i) {
    out[i] = first + i;
    block[i] = {nullptr, first + i};
  }
  insertRows(index, n, block);
  std::free(block);
  return true;
}

void NameTable::set(uint32_t key, void* object) {
  if (key == 0) return;
  const int32_t found = indexOf(key);
  if (found < 0) {
    const NameRow row = {object, key};
    insertRows(findGap(key, 1), 1, &row);
    return;
  }
  NameRow& row = rows[found];
  if (row.object == object) return;
  // Both may be null: a cached name without an object must be looked up again as well.
  if (row.object == cachedObject) {
    cachedObject = nullptr;
    cachedKey = 0;
  }
  if (row.object != nullptr) destroy(row.object);
  row.object = object;
}

void NameTable::removeAt(int32_t index, int32_t n) {
  count -= n;
  for (int32_t i = index; i < index + n; ++i) {
    if (rows[i].object == cachedObject) {
      cachedObject = nullptr;
      cachedKey = 0;
    }
    if (rows[i].object != nullptr) destroy(rows[i].object);
    rows[i].object = nullptr;
  }
  // In bounds: `count` is already the number of rows that stay, so count - index of them stand behind the removed ones.
  std::memmove(rows + index, rows + index + n, sizeof(NameRow) * static_cast<uint32_t>(count - index));
}

void NameTable::removeRange(uint32_t first, uint64_t end) {
  const NameRow* const from =
      std::lower_bound(rows, rows + count, first, [](const NameRow& row, uint32_t key) { return row.key < key; });
  const NameRow* to = from;
  while (to != rows + count && to->key < end) ++to;
  if (to != from) removeAt(static_cast<int32_t>(from - rows), static_cast<int32_t>(to - from));
}

void NameTable::removeNames(int32_t n, const uint32_t* names) {
  if (n < 1 || names == nullptr) return;
  int32_t found = indexOf(names[0]);
  if (found >= 0 && n <= count - found) {
    int32_t matching = 0;
    while (matching < n && rows[found + matching].key == names[matching]) ++matching;
    if (matching == n) {
      removeAt(found, n);
      return;
    }
  }
  for (int32_t i = 0; i < n; ++i) {
    if (i > 0) found = indexOf(names[i]);
    if (found >= 0) removeAt(found, 1);
  }
}

void NameTable::clear() {
  for (int32_t i = 0; i < count; ++i) {
    if (rows[i].object != nullptr) destroy(rows[i].object);
  }
  std::free(rows);
  rows = nullptr;
  capacity = 0;
  count = 0;
  cachedObject = nullptr;
  cachedKey = 0;
}

}  // namespace qv
