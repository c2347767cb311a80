// A guest that wants all there is, for host_bench: `flood_guest SOCKET THREADS`. Each thread draws large pictures in a context of
// its own without end, with long streams and without waiting between frames. Writes one byte when all of them draw.
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "peer/link/host_client.h"
#include "tests/peer/test_guest.h"

int main(int argc, char** argv) {
  using namespace qv::peer::test;
  if (argc != 3) return 2;
  const auto client = qv::peer::connectToHost(argv[1]);
  if (client == nullptr) return 2;
  const int threads = std::atoi(argv[2]);
  std::atomic<int> drawing{0};
  std::vector<std::thread> all;
  for (int i = 0; i < threads; ++i) {
    all.emplace_back([&] {
      TestGuest guest(*client, static_cast<uint32_t>(getpid()));
      if (!guest.start(1500, 1500)) std::_Exit(2);
      Stream heavy;
      heavy.add(kEnable, GL_BLEND);
      for (int k = 0; k < 20000; ++k) heavy.add(kClearColor, 0.0f, 0.0f, 1.0f, 1.0f);
      for (int k = 0; k < 20; ++k) heavy.add(kRectf, -1.0f, -1.0f, 1.0f, 1.0f);
      guest.flush(heavy, GL_BACK);
      if (++drawing == threads && write(1, "d", 1) != 1) std::_Exit(2);
      for (;;) guest.flush(heavy, GL_BACK);
    });
  }
  for (std::thread& one : all) one.join();
}
