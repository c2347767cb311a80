// Buffer handling that both kinds of command stream share.
#include "driver/base/command_stream.h"

#include <cstdlib>

namespace qv {

CommandStream::~CommandStream() { std::free(base); }

// A buffer of tens of megabytes grows where it stands as far as the system can: copying it costs less than the fresh pages that
// a copy goes to.
void CommandStream::reallocate() {
  const size_t used = static_cast<size_t>(cursor - base);
  base = static_cast<uint8_t*>(std::realloc(base, static_cast<size_t>(capacity)));
  cursor = base + used;
}

}  // namespace qv
