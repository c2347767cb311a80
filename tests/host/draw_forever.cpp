// A guest process that draws frames, long streams and queries until it is killed. Its argument is the host's socket.
#include <unistd.h>

#include "peer/link/host_client.h"
#include "test_guest.h"

int main(int argc, char** argv) {
  using namespace qv::peer::test;
  const auto client = qv::peer::connectToHost(argc > 1 ? argv[1] : "");
  if (client == nullptr) return 2;
  TestGuest guest(*client, static_cast<uint32_t>(getpid()));
  if (!guest.start(300, 300)) return 2;
  Stream heavy;
  for (int i = 0; i < 100000; ++i) heavy.add(206, 0.0f, 0.0f, 1.0f, 1.0f);
  heavy.add(203, 0x4000u);
  guest.flush(heavy, 1029);
  if (write(1, "d", 1) != 1) return 2;
  for (;;) {
    guest.flush(heavy, 1029);
    guest.glError();
    guest.flush(Stream().add(7, 4u).add(136, 0.0f, 0.0f, 0.0f));
    guest.flush(Stream().add(43), 1029);
  }
}
