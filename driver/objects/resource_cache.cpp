// Filling, searching and clearing a ResourceCache.
#include "driver/objects/resource_cache.h"

#include <algorithm>
#include <cstdlib>

#include "driver/objects/uniform_types.h"

namespace qv {

namespace {

constexpr size_t kBlockBytes = 8192;
constexpr char kIndexZero[] = "[0]";
constexpr uint32_t kIndexZeroLength = 3;

constexpr LocationCell cellAt(const ResourceRecord& record, int32_t left) {
  const GLenum type = isOpaqueType(record.type) ? GL_INT : record.type;
  return {static_cast<uint64_t>(left) | static_cast<uint64_t>(record.elementSize & 0xFF) << 24 | uint64_t{record.isArray} << 32 |
          uint64_t{type & 0xFFFF} << 40 | static_cast<uint64_t>(record.components & 0xFF) << 56};
}

}  // namespace

void* ResourceCache::take(size_t bytes) {
  bytes = (bytes + 7) & ~size_t{7};
  if (blocks_ == nullptr || blocks_->bytes - blocks_->used < bytes) {
    const size_t room = std::max(bytes, kBlockBytes);
    Block* const block = static_cast<Block*>(std::malloc(sizeof(Block) + room));
    *block = {blocks_, 0, room};
    blocks_ = block;
  }
  uint8_t* const taken = reinterpret_cast<uint8_t*>(blocks_ + 1) + blocks_->used;
  blocks_->used += bytes;
  return taken;
}

CachedString ResourceCache::keep(const char* text, uint32_t length) {
  char* const kept = static_cast<char*>(take(size_t{length} + 1));
  // In bounds: the memory was taken for the text and its zero.
  std::memcpy(kept, text, length);
  kept[length] = 0;
  return {kept, length};
}

template <typename Key, typename Value>
void ResourceCache::insert(BucketTable<Key, Value>& table, const Key& key, Value value) {
  using Entry = typename BucketTable<Key, Value>::Entry;
  Entry*& head = table.heads[bucketOf(key)];
  Entry* const entry = static_cast<Entry*>(take(sizeof(Entry)));
  *entry = {key, value, head};
  head = entry;
}

void ResourceCache::addResource(const ActiveResource& entry, const char* name, uint32_t nameLength) {
  int32_t components = 0;
  const int32_t elementSize = uniformElementSize(entry.type, true, &components);
  if (entry.arraySize < 0 || elementSize < 0) return;
  const int64_t total = int64_t{elementSize} * entry.arraySize;
  if (total > kMostBytes) return;

  const CachedString wanted{name, nameLength};
  auto* nameEntry = byName.find(wanted);
  maxNameLength = 0;
  if (nameEntry == nullptr) {
    insert(byName, keep(name, nameLength), kNoLocationYet);
    nameEntry = byName.find(wanted);
  } else if (nameEntry->value != kNoLocationYet) {
    return;
  }
  nameEntry->value = entry.location;

  // Without its last "[0]" the name means the same, as often as it has one.
  CachedString shorter = nameEntry->key;
  while (shorter.length > kIndexZeroLength &&
         std::memcmp(shorter.text + shorter.length - kIndexZeroLength, kIndexZero, kIndexZeroLength) == 0) {
    shorter = keep(shorter.text, shorter.length - kIndexZeroLength);
    if (auto* const known = byName.find(shorter); known != nullptr) {
      known->value = entry.location;
    } else {
      insert(byName, shorter, entry.location);
    }
  }

  auto* const record = static_cast<ResourceRecord*>(take(sizeof(ResourceRecord)));
  *record = {.location = entry.location,
             .type = entry.type,
             .arraySize = entry.arraySize,
             .elementSize = elementSize,
             .locationStep = entry.step,
             .components = components,
             .name = nameEntry->key,
             .isArray = entry.arraySize > 1,
             .nameNeedsIndex = entry.arraySize > 1 && entry.step != 0};
  if (entry.arraySize == 1 && entry.step == 1) {
    record->isArray = record->nameNeedsIndex = 1;
    record->locationStep = 0;
  }
  maxNameLength = static_cast<int32_t>(nameLength + (record->nameNeedsIndex ? kIndexZeroLength : 0));

  if (entry.location != -1) {
    insert(byLocation, entry.location, record);
    int32_t location = entry.location;
    for (int32_t left = static_cast<int32_t>(total); left > 0; left -= elementSize) {
      insert(cells, location, cellAt(*record, left));
      location = static_cast<int32_t>(static_cast<uint32_t>(location) + static_cast<uint32_t>(record->locationStep));
    }
  } else {
    insert(locationless, nameEntry->key, record);
    ++locationlessCount;
  }

  if (count == capacity) {
    capacity = capacity == 0 ? 2 : capacity * 2;
    resources = static_cast<ResourceRecord**>(std::realloc(resources, static_cast<size_t>(capacity) * sizeof *resources));
  }
  resources[count++] = record;
}

void ResourceCache::sortByLocation() {
  std::stable_sort(resources, resources + count,
                   [](const ResourceRecord* a, const ResourceRecord* b) { return a->location < b->location; });
}

void ResourceCache::clear() {
  while (blocks_ != nullptr) {
    Block* const block = blocks_;
    blocks_ = block->next;
    std::free(block);
  }
  std::free(resources);
  resources = nullptr;
  locationlessCount = count = capacity = maxNameLength = 0;
  byName = {};
  byLocation = {};
  locationless = {};
  cells = {};
}

int32_t ResourceCache::resolveLocation(const char* name) const {
  if (name == nullptr) return -1;
  CachedString wanted{name, static_cast<uint32_t>(std::strlen(name))};
  const char* index = nullptr;
  const auto* entry = byName.find(wanted);
  if (entry == nullptr || entry->value == kNoLocationYet) {
    const char* const dot = std::strrchr(name, '.');
    const char* const open = std::strrchr(name, '[');
    const char* const close = std::strrchr(name, ']');
    if (open == nullptr || (dot != nullptr && open < dot) || close == nullptr || close < open) return -1;
    wanted.length = static_cast<uint32_t>(open - name);
    index = open + 1;
    entry = byName.find(wanted);
    if (entry == nullptr || entry->value == kNoLocationYet) return -1;
  }
  const int32_t location = entry->value;
  if (location == -1) return -1;
  const auto* const found = byLocation.find(location);
  if (found == nullptr) return location;
  const ResourceRecord& record = *found->value;
  if (index == nullptr) return record.arraySize <= 0 ? -1 : location;
  const long number = std::strtol(index, nullptr, 10);  // blanks, signs and what follows are taken: required oddity 186
  if (number < 0 || number >= record.arraySize) return -1;
  return location + static_cast<int32_t>(number) * record.locationStep;
}

bool ResourceCache::describeResource(GLuint index, GLsizei bufSize, GLsizei* length, GLint* size, GLenum* type,
                                     char* name) const {
  const ResourceRecord* const record = at(index);
  if (record == nullptr) return false;
  if (bufSize > 0 && name != nullptr) {
    const uint32_t room = static_cast<uint32_t>(bufSize) - 1;
    const uint32_t kept = std::min(record->name.length, room);
    uint32_t end = kept;
    uint32_t told = kept;
    // In bounds: name and index are cut to the room, which leaves a byte for the zero.
    std::memcpy(name, record->name.text, kept);
    if (record->nameNeedsIndex) {
      const uint32_t more = std::min(kIndexZeroLength, room - kept);
      std::memcpy(name + kept, kIndexZero, more);
      end += more;
      told += kIndexZeroLength;  // also when it was cut: required oddity 118
    }
    name[end] = 0;
    if (length != nullptr) *length = static_cast<GLsizei>(told);
  }
  if (size != nullptr) *size = record->arraySize;
  if (type != nullptr) *type = record->type;
  return true;
}

}  // namespace qv
