// Buffer handling that both kinds of command stream share.
#include "driver/base/command_stream.h"

#include <cstdlib>

namespace qv {

CommandStream::~CommandStream() { std::free(base); }

// realloc lets a buffer of tens of megabytes grow in place where the system can. A copy would go to fresh pages, which cost more
// than the copying.
void CommandStream::reallocate() {
  const size_t used = static_cast<size_t>(cursor - base);
  base = static_cast<uint8_t*>(std::realloc(base, static_cast<size_t>(capacity)));
  cursor = base + used;
}

}  // namespace qv
