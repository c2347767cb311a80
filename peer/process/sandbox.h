// The walls around a guest's process: what is left to whoever takes the process over.
//
// Three of them, each for what the others let through: limits on what the kernel hands out, Landlock for files by their place, and
// a seccomp filter for everything that a program asks of the kernel. Once up, none comes down.
#pragma once

#include <cstdint>
#include <string>

namespace qv::peer {

struct ProcessLimits {
  uint64_t memoryBytes = uint64_t{4} << 30;  // of the process's own memory; not enforced under the sanitizers, which map terabytes
  uint64_t files = 1024;
  uint64_t tasks = 8192;  // of the user, threads included; the filter forbids new processes anyway
};

// Sets the limits and gives up core dumps, capabilities and new privileges; the first to be ended when the machine runs out of
// memory. Before there are other threads. False with the reason.
[[nodiscard]] bool limitResources(const ProcessLimits& limits, std::string& error);

// From here on files outside the folders of libraries, settings and graphics devices cannot be opened, and nothing can be changed.
// Before there are other threads. False with the reason, which is often a kernel without Landlock: the filter below
// still forbids all writing.
[[nodiscard]] bool restrictFiles(std::string& error);

// From here on the kernel refuses every call that a started OpenGL and the peer do not need: no new program or process, no new
// socket, no tracing of others or signals to them, no file opened for writing. For all threads, those there are and those to come.
// False with the reason.
[[nodiscard]] bool restrictCalls(std::string& error);

}  // namespace qv::peer
