// Growth and end of a list's recording.
#include "driver/objects/display_list_stream.h"

#include <cstdlib>

namespace qv {

DisplayListStream::DisplayListStream(uint32_t name, uint64_t bytes) : listId(name) {
  if (bytes == 0) return;
  capacity = remaining = bytes;
  reallocate();
}

DisplayListStream::~DisplayListStream() { std::free(label); }

void DisplayListStream::reserve(uint64_t n) {
  constexpr uint64_t kStep = 512;
  if (capacity == 0) capacity = remaining = kStep;
  while (n > remaining) {
    capacity += kStep;
    remaining += kStep;
  }
  reallocate();
}

}  // namespace qv
