// ProgramRecord: what the guest knows of a program that has been linked.
#pragma once

#include <cstdlib>

#include "driver/objects/resource_cache.h"
#include "driver/objects/tracked_object.h"

namespace qv {

// A program has one from its first link on; before, its row has no object.
struct ProgramRecord final : TrackedObject {
  ~ProgramRecord() override { std::free(label); }

  char* label = nullptr;  // from malloc; null until one is set
  ResourceCache uniforms;
  ResourceCache attributes;
  int32_t useCount = 0;  // contexts that have the program current, less one once it is deleted
  uint8_t deleted = 0;   // glDeleteProgram has been called
};

}  // namespace qv
