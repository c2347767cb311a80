// The one place where this library reads the environment.
#include "loader/glx/environment.h"

#include <cstdlib>

namespace qv::loader {
namespace {

std::string text(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

Environment read() {
  Environment found;
  found.frames = std::strtoull(text("QV_FRAMES").c_str(), nullptr, 10);
  found.png = text("QV_PNG");
  found.report = text("QV_REPORT");
  found.record = text("QV_RECORD");
  found.stats = text("QV_STATS") == "1";
  found.useShm = text("QV_X_SHM") != "0";
  found.patch = text("QV_PATCH") != "0";
  found.composed = text("QV_COMPOSED") == "1";
  return found;
}

}  // namespace

const Environment& environment() {
  static const auto* const values = new Environment(read());
  return *values;
}

}  // namespace qv::loader
