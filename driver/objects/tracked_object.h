// The objects of name tables that are hardly more than a label, and the ways in which a table destroys its objects.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace qv {

// Base of the records that their table destroys through their virtual destructor. It must be the first base, since a row
// holds the address as a plain pointer.
struct TrackedObject {
  TrackedObject() = default;
  TrackedObject(const TrackedObject&) = delete;
  TrackedObject& operator=(const TrackedObject&) = delete;
  virtual ~TrackedObject() = default;
};

// All that the guest keeps of a texture, sampler, framebuffer, renderbuffer, transform feedback object, sync object or shader.
struct LabelRecord {
  char* label = nullptr;  // from malloc; null until one is set
};

struct PipelineRecord {
  uint32_t activeProgram = 0;
  char* label = nullptr;  // from malloc; null until one is set
};

struct QueryRecord {
  static constexpr int32_t kEnded = -1, kRunning = -2;

  int32_t result = 0;     // 0 and above: final
  char* label = nullptr;  // from malloc; null until one is set
};

// For tables whose objects derive from `Base`, which has a virtual destructor.
template <typename Base>
void destroyVirtual(void* object) {
  delete static_cast<Base*>(object);
}

// For tables of records whose label is all that they own.
template <typename Record>
void destroyLabelled(void* object) {
  Record* const record = static_cast<Record*>(object);
  std::free(record->label);
  delete record;
}

}  // namespace qv
