// Bring-up in the order that the driver expects: the link to the GPU first, then process attach, then everything else.
#include "loader/glx/driver_session.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "loader/glx/environment.h"
#include "loader/glx/presenter.h"
#include "loader/glx/run_control.h"
#include "loader/opengl32/contexts.h"
#include "loader/opengl32/opengl32.h"
#include "peer/link/host_client.h"
#include "peer/link/stream_record.h"
#include "platform/simulated/control.h"

namespace qv::loader {
namespace {

std::mutex mutex;
bool tried = false;
peer::HostClientGpu* link = nullptr;
peer::RecordingLink* recording = nullptr;  // in front of the link, when the run is recorded

void closeLink() {
  sim::setGpuLink(nullptr);
  delete recording;
  recording = nullptr;
  delete link;
  link = nullptr;
}

// Registered when the driver has come up, and so run before the static state of this library and of its parts goes.
void atProcessEnd() {
  finishRun();
  // Threads that still draw would meet locks that are gone: the process then ends as one that is killed does, and the host
  // cleans up behind it.
  if (currentElsewhere(GetCurrentThreadId())) return;
  unloadDriver();
  sim::setPresentSink(nullptr);
  closeLink();
}

void describeMonitor(Display* display) {
  sim::MonitorOptions monitor;
  monitor.rect = {0, 0, DisplayWidth(display, DefaultScreen(display)), DisplayHeight(display, DefaultScreen(display))};
  sim::setMonitors({monitor});
}

bool start(Display* display) {
  std::string reason;
  link = peer::startHost(&reason).release();
  if (!link) {
    reportFailure("no host: " + reason);
    return false;
  }
  sim::setGpuLink(link);
  if (!environment().record.empty()) {
    recording = new peer::RecordingLink(*link, environment().record, reason);
    sim::setGpuLink(recording);
    if (!reason.empty()) {
      reportFailure("no recording: " + reason);
      closeLink();
      return false;
    }
  }
  sim::setPresentSink(presenter());
  describeMonitor(display);
  sim::setComposition(environment().composed);
  if (!loadDriver()) {
    reportFailure("the driver refuses to load: the host did not answer the version query");
    closeLink();
    return false;
  }
  reportLoaded();
  std::atexit(atProcessEnd);
  return true;
}

}  // namespace

bool startDriver(Display* display) {
  const std::lock_guard hold(mutex);
  if (tried) return isDriverLoaded();
  tried = true;
  return start(display);
}

peer::HostClientGpu* host() { return link; }

HDC deviceContextOfFormat(int format) {
  static std::mutex formatsMutex;
  static auto* const contexts = new std::map<int, HDC>;
  const std::lock_guard hold(formatsMutex);
  HDC& hdc = (*contexts)[format];
  if (hdc) return hdc;
  sim::WindowOptions options;
  options.client = {0, 0, 1, 1};
  options.visible = false;
  options.anyThread = true;
  HDC const fresh = GetDC(sim::createWindow(options));
  if (format && !wglSetPixelFormat(fresh, format, nullptr)) return nullptr;
  return hdc = fresh;
}

HDC anyDeviceContext() { return deviceContextOfFormat(0); }

}  // namespace qv::loader
