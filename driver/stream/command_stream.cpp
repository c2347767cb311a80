// Buffer handling that both kinds of command stream share.
#include "driver/stream/command_stream.h"

#include <cstdlib>
#include <cstring>

namespace qv {

CommandStream::~CommandStream() { std::free(base); }

void CommandStream::reallocate() {
  const size_t used = static_cast<size_t>(cursor - base);
  uint8_t* const fresh = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(capacity)));
  // In bounds: `used` bytes were written below the old capacity, and a growth never shrinks.
  if (used != 0) std::memcpy(fresh, base, used);
  std::free(base);
  base = fresh;
  cursor = fresh + used;
}

}  // namespace qv
