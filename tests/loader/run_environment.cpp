// Where the built library, the host and the X server are.
#include "tests/loader/run_environment.h"

#include <filesystem>
#include <thread>

namespace qv::test {

const std::string& xDisplay() {
  static VirtualXServer server;
  return server.display();
}

Variables throughDriver(const std::string& report) {
  return {{"DISPLAY", xDisplay()},
          {"__GLX_VENDOR_LIBRARY_NAME", "quillvane"},
          {"LD_LIBRARY_PATH", QV_GLX_FOLDER},
          {"QV_HOST_BINARY", QV_HOST},
          {"QV_HOST_SOCKET", ""},
          {"QV_FRAMES", ""},
          {"QV_PNG", ""},
          {"QV_STATS", report.empty() ? "" : "1"},
          {"QV_REPORT", report}};
}

Variables onMesa() {
  return {
      {"DISPLAY", xDisplay()}, {"__GLX_VENDOR_LIBRARY_NAME", "mesa"}, {"LIBGL_ALWAYS_SOFTWARE", "1"}, {"LD_LIBRARY_PATH", ""}};
}

Host::Host() : socket_(folder_ / "host") {
  process_ = std::make_unique<ChildProcess>(std::vector<std::string>{QV_HOST, "--socket", socket_});
  for (int tries = 0; tries < 500 && !std::filesystem::exists(socket_) && process_->running(); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace qv::test
