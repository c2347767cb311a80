// One or two round trips for a list, and the walk over it.
#include "driver/queries/active_resources.h"

#include <cstdlib>
#include <cstring>

#include "driver/objects/resource_cache.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/flush.h"

namespace qv {

namespace {

constexpr int32_t kFirstCapacity = 4096;
constexpr int32_t kMostBytes = 64 << 20;  // of a list: no program has as many, and the length is the host's word

struct ListReplyTotals {
  int32_t bytes = 0;
  int32_t entries = 0;
};

template <typename Private>
ListReplyTotals askForList(GlContext* context, uint32_t program, uint8_t* list, int32_t capacity) {
  ListReplyTotals totals;
  sendRecord<Private>(context, ActiveResourcesRecord{program, static_cast<uint32_t>(capacity)});
  flushStream(context, 0, list, static_cast<uint32_t>(capacity), &totals, sizeof totals);
  return totals;
}

// The number of entries walked over.
int32_t addList(ResourceCache& cache, uint8_t* list, uint32_t bytes) {
  int32_t walked = 0;
  for (uint32_t at = 0; bytes - at > sizeof(ActiveResource); ++walked) {
    const ActiveResource entry = get<ActiveResource>(list + at);
    const char* const name = reinterpret_cast<const char*>(list + at + sizeof entry);
    const uint32_t room = bytes - at - static_cast<uint32_t>(sizeof entry);
    if (std::memchr(name, 0, room) == nullptr) list[bytes - 1] = 0;
    const uint32_t length = static_cast<uint32_t>(std::strlen(name));
    const uint32_t step = activeResourceBytes(length);
    if (step > bytes - at) break;
    cache.addResource(entry, name, length);
    at += step;
  }
  return walked;
}

template <typename Private>
bool fetchResources(GlContext* context, uint32_t program, ResourceCache& cache) {
  uint8_t onStack[kFirstCapacity] = {};
  ListReplyTotals totals = askForList<Private>(context, program, onStack, kFirstCapacity);
  if (totals.bytes < 0 || totals.bytes > kMostBytes) return false;
  uint8_t* list = onStack;
  bool whole = true;
  if (totals.bytes > kFirstCapacity) {
    const int32_t wanted = totals.bytes;
    list = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(wanted), 1));
    if (list == nullptr) return false;
    totals = askForList<Private>(context, program, list, wanted);
    whole = totals.bytes == wanted;
  }
  if (whole && totals.bytes != 0) whole = addList(cache, list, static_cast<uint32_t>(totals.bytes)) == totals.entries;
  if (list != onStack) std::free(list);
  return whole;
}

}  // namespace

bool fetchUniforms(GlContext* context, uint32_t program, ResourceCache& cache) {
  return fetchResources<op::qvActiveUniforms>(context, program, cache);
}
bool fetchAttributes(GlContext* context, uint32_t program, ResourceCache& cache) {
  return fetchResources<op::qvActiveAttributes>(context, program, cache);
}

}  // namespace qv
