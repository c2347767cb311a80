// Replay of glGetString, whose answer is a text.
#include <cstring>
#include <string>

#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
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

bool isCoreContext() {
  // By the text: a context below 3.2 has no profile and would raise an error for GL_CONTEXT_PROFILE_MASK, which the guest must
  // not see.
  const char* const version = reinterpret_cast<const char*>(gl.glGetString(GL_VERSION));
  if (version == nullptr || std::strstr(version, "(Core Profile)") == nullptr) return false;
  return true;
}

}  // namespace

namespace replay {

void glGetString(Replayer& replayer, GLenum name) {
  std::string text;
  if (name == GL_EXTENSIONS && isCoreContext()) {
    text = extensionsOneByOne();
  } else if (const GLubyte* const answer = gl.glGetString(name); answer != nullptr) {
    text = reinterpret_cast<const char*>(answer);
  }
  replayer.answer(text.c_str(), static_cast<uint32_t>(text.size() + 1));
}

}  // namespace replay

}  // namespace qv::peer
