// Replay of glGetString, whose answer is a text.
#include <cstring>
#include <string>

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

// A core context lists its extensions only one by one.
std::string extensionsOneByOne() {
  std::string out;
  GLint count = 0;
  gl.glGetIntegerv(GL_NUM_EXTENSIONS, &count);
  for (GLint i = 0; i < count; ++i) {
    const char* const name = reinterpret_cast<const char*>(gl.glGetStringi(GL_EXTENSIONS, static_cast<GLuint>(i)));
    if (name == nullptr) continue;
    if (!out.empty()) out += ' ';
    out += name;
  }
  return out;
}

// What stands behind a number of a version, without the word on the profile: the guest keeps one text for all contexts of a
// version.
std::string behindNumber(const std::string& text) {
  const size_t space = text.find(' ');
  if (space == std::string::npos) return "";
  const size_t profile = text.find(") ", space);
  return text.substr(text[space + 1] == '(' && profile != std::string::npos ? profile + 1 : space);
}

// The version as the context was granted it, which GL itself may exceed.
std::string versionText(uint16_t version, const std::string& real) {
  return std::to_string(version / 100) + "." + std::to_string(version % 100 / 10) + behindNumber(real);
}

std::string shadingVersionText(uint16_t version, const std::string& real) {
  const int number = version >= 330 ? version : version >= 320 ? 150 : version >= 310 ? 140 : version >= 300 ? 130 : 120;
  return std::to_string(number / 100) + "." + std::to_string(number % 100) + behindNumber(real);
}

}  // namespace

namespace replay {

void glGetString(Replayer& replayer, GLenum name) {
  const ReplayState& state = replayer.state();
  std::string text;
  if (name == GL_EXTENSIONS && state.core) {
    text = extensionsOneByOne();
  } else if (const GLubyte* const answer = gl.glGetString(name); answer != nullptr) {
    text = reinterpret_cast<const char*>(answer);
    if (name == GL_VERSION && state.version != 0) text = versionText(state.version, text);
    if (name == GL_SHADING_LANGUAGE_VERSION && state.version != 0) text = shadingVersionText(state.version, text);
  }
  replayer.answer(text.c_str(), static_cast<uint32_t>(text.size() + 1));
}

}  // namespace replay

}  // namespace qv::peer
