// ResourceCache: the active uniforms or attributes of a linked program, as the host has told them.
#pragma once

#include <cstdint>
#include <cstring>

#include "wire/gl_api.h"
#include "wire/records/programs.h"

namespace qv {

// A text in memory of its cache.
struct CachedString {
  const char* text = nullptr;
  uint32_t length = 0;  // without the terminating zero

  bool operator==(const CachedString& other) const {
    return length == other.length && std::memcmp(text, other.text, length) == 0;
  }
};

// Sum of the characters, as signed numbers, each times its place and 119.
constexpr uint32_t nameHash(const char* text, uint32_t length) {
  uint32_t hash = 0;
  for (uint32_t i = 0; i < length; ++i)
    hash += (i + 119) * static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(text[i])));
  return hash;
}

inline constexpr uint32_t kResourceBuckets = 64;
inline constexpr uint32_t kBucketShifts = 7;  // right shifts that make 64 zero

// The bucket of a value of `width` bits, folded onto its lowest ones.
constexpr uint32_t foldToBucket(uint64_t value, uint32_t width) {
  for (uint32_t shift = width; shift > kBucketShifts;) {
    shift /= 2;
    value ^= value >> shift;
  }
  return static_cast<uint32_t>(value) & (kResourceBuckets - 1);
}
inline uint32_t bucketOf(const CachedString& name) { return foldToBucket(nameHash(name.text, name.length), 32); }
inline uint32_t bucketOf(int32_t location) { return foldToBucket(static_cast<uint64_t>(int64_t{location}), 64); }

// New entries come first in their bucket; none is ever removed alone. The entries lie in memory of the cache.
template <typename Key, typename Value>
struct BucketTable {
  struct Entry {
    Key key;
    Value value;
    Entry* next;
  };
  Entry* heads[kResourceBuckets] = {};

  Entry* find(const Key& key) const {
    for (Entry* entry = heads[bucketOf(key)]; entry != nullptr; entry = entry->next) {
      if (entry->key == key) return entry;
    }
    return nullptr;
  }
};

struct ResourceRecord {
  int32_t location;  // the first; -1: none
  GLenum type;
  int32_t arraySize;
  int32_t elementSize;   // bytes, as uniformElementSize says
  int32_t locationStep;  // between array elements; 0 for an array of one
  int32_t components;    // values per element
  CachedString name;
  uint8_t isArray;
  uint8_t nameNeedsIndex;  // the application sees "[0]" behind the name
};

// What a location holds: bits 0 to 23 bytes from here to the end of the resource; 24 to 31 the low bits of elementSize; 32
// isArray; 40 to 55 the type, GL_INT for samplers and images; 56 to 63 the components. 0: no uniform.
struct LocationCell {
  uint64_t bits = 0;

  int32_t remaining() const { return static_cast<int32_t>(bits & 0xFFFFFF); }
  bool isArray() const { return (bits >> 32 & 1) != 0; }
  GLenum type() const { return static_cast<GLenum>(bits >> 40 & 0xFFFF); }
  uint32_t components() const { return static_cast<uint32_t>(bits >> 56); }
};

// The cache holds no lock. It is filled while its program is linked, under the lock of the share group, and read without one.
struct ResourceCache {
  static constexpr int32_t kMostBytes = 0xFFFFFF;  // of one resource: a cell has no room for more
  static constexpr int32_t kNoLocationYet = -2;

  ResourceCache() = default;
  ResourceCache(const ResourceCache&) = delete;
  ResourceCache& operator=(const ResourceCache&) = delete;
  ~ResourceCache() { clear(); }

  // Adds what the host has told under `name`. A name that is there already adds nothing, and neither does a resource with a
  // negative size or with more than kMostBytes.
  void addResource(const ActiveResource& entry, const char* name, uint32_t nameLength);
  void sortByLocation();
  void clear();

  // The location of a name, which may name an element of an array; -1 for none.
  int32_t resolveLocation(const char* name) const;
  // What glGetActiveUniform tells. False if there is no such index.
  bool describeResource(GLuint index, GLsizei bufSize, GLsizei* length, GLint* size, GLenum* type, char* name) const;
  const ResourceRecord* at(GLuint index) const { return index < static_cast<uint32_t>(count) ? resources[index] : nullptr; }
  LocationCell cellOf(int32_t location) const {
    const auto* const entry = cells.find(location);
    return entry == nullptr ? LocationCell{} : entry->value;
  }

  int32_t locationlessCount = 0;
  int32_t count = 0;
  int32_t capacity = 0;
  // Length of the longest name, so it would seem: in truth that of the name added last (required oddity 111).
  int32_t maxNameLength = 0;
  ResourceRecord** resources = nullptr;  // in the order of arrival, until sorted
  BucketTable<CachedString, int32_t> byName;
  BucketTable<int32_t, ResourceRecord*> byLocation;
  BucketTable<CachedString, ResourceRecord*> locationless;
  BucketTable<int32_t, LocationCell> cells;

 private:
  struct Block {
    Block* next;
    size_t used, bytes;  // of the memory behind this head
  };
  void* take(size_t bytes);
  CachedString keep(const char* text, uint32_t length);
  template <typename Key, typename Value>
  void insert(BucketTable<Key, Value>& table, const Key& key, Value value);

  Block* blocks_ = nullptr;
};

}  // namespace qv
