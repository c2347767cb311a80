// Listing and loading of libraries.
#include "peer/process/libraries.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "peer/host/egl_display.h"

extern char** environ;

namespace qv::peer {
namespace {

constexpr int kPatience = 5000;  // milliseconds

// What the program writes to its standard output.
std::string outputOf(const std::string& program, const char* option) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return "";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
  char* const arguments[] = {const_cast<char*>(program.c_str()), const_cast<char*>(option), nullptr};
  pid_t child = -1;
  const int failure = posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::string text;
  pollfd look{ends[0], POLLIN, 0};
  char piece[4096];
  ssize_t got = 0;
  while (failure == 0 && poll(&look, 1, kPatience) == 1 && (got = read(ends[0], piece, sizeof piece)) > 0) {
    text.append(piece, static_cast<size_t>(got));
  }
  close(ends[0]);
  if (failure == 0) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  return text;
}

}  // namespace

int printLibraries() {
  if (EglDisplay::get() == nullptr) return 2;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void*) {
        // The program itself has no name, and the kernel's library no file.
        if (info->dlpi_name != nullptr && info->dlpi_name[0] == '/') std::printf("%s\n", info->dlpi_name);
        return 0;
      },
      nullptr);
  std::fflush(stdout);
  return 0;
}

void loadLibraries(const std::string& program) {
  std::string paths = outputOf(program, "--libraries");
  for (size_t end = 0; (end = paths.find('\n')) != std::string::npos; paths.erase(0, end + 1)) {
    dlopen(paths.substr(0, end).c_str(), RTLD_NOW | RTLD_NODELETE);
  }
}

}  // namespace qv::peer
