// The memory of the display list that is open.
#pragma once

#include <cstdint>

namespace qv::peer {

class Replayer;

// Counts a command of a stream while a list is open. When the guest has no more room for lists, GL_OUT_OF_MEMORY is raised, and
// the commands that follow are left out up to the end of the list.
void noteRecorded(Replayer& replayer, uint32_t bytes);

}  // namespace qv::peer
