// The libraries of the OpenGL, loaded once for all guests' processes.
#pragma once

#include <string>

namespace qv::peer {

// Starts the OpenGL and writes the path of each library that the process has then, one per line. Exit status of the process.
int printLibraries();

// Loads what `program --libraries` prints, without a call into any of it: processes that are forked off share the pages in which
// addresses have been filled in, and start faster. Libraries that cannot be had are left to the processes.
void loadLibraries(const std::string& program);

}  // namespace qv::peer
