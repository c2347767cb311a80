// Makes descriptors.
#include "fuzz/protocol/descriptors.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace qv::fuzz {

int memoryFile(uint64_t bytes, int seals) {
  const int file = memfd_create("fuzz", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (file >= 0 && (ftruncate(file, static_cast<off_t>(bytes)) != 0 || fcntl(file, F_ADD_SEALS, seals) != 0)) {
    close(file);
    return -1;
  }
  return file;
}

int anyDescriptor(Random& random, uint64_t bytes) {
  switch (random.below(8)) {
    case 0:
      return -1;
    case 1:
      return memoryFile(bytes, 0);
    case 2:
      return memoryFile(bytes - 1, F_SEAL_SHRINK);
    case 3:
      return memoryFile(bytes, F_SEAL_SHRINK | F_SEAL_WRITE);
    case 4:
      return open("/dev/zero", O_RDWR | O_CLOEXEC);
    case 5:
      return socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    default:
      return memoryFile(bytes, F_SEAL_SHRINK);
  }
}

std::string openDescriptors() {
  std::string out;
  for (int number = 0; number < 64; ++number) {
    char target[128] = {};
    if (readlink(("/proc/self/fd/" + std::to_string(number)).c_str(), target, sizeof target - 1) > 0 &&
        std::strncmp(target, "pipe:", 5) != 0) {
      out += std::to_string(number) + " " + target + "\n";
    }
  }
  return out;
}

}  // namespace qv::fuzz
