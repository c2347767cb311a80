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

// The common shape of the records of program pipelines and queries: one word of their own, then the label.
struct LabelledRecord {
  int32_t value = 0;
  char* label = nullptr;  // from malloc; null until one is set
};

// For tables whose objects derive from `Base`, which has a virtual destructor.
template <typename Base>
void destroyVirtual(void* object) {
  delete static_cast<Base*>(object);
}

// For tables of LabelRecord and LabelledRecord.
template <typename Record>
void destroyLabelled(void* object) {
  Record* const record = static_cast<Record*>(object);
  std::free(record->label);
  delete record;
}

}  // namespace qv
