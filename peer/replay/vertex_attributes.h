// Which commands set vertex attributes, and what holds for them while a list is being compiled.
#pragma once

#include <cstdint>
#include <string_view>

namespace qv::peer {

class Replayer;

// Whether the routine of this name sets an attribute of the vertices that follow, the position excepted.
constexpr bool setsAttribute(std::string_view name) {
  for (const std::string_view begin :
       {"glColor3", "glColor4", "glColorP", "glEdgeFlag", "glFogCoord", "glIndex", "glMaterial", "glMultiTexCoord", "glNormal3", "glNormalP",
        "glSecondaryColor", "glTexCoord", "glVertexAttrib"}) {
    if (name.starts_with(begin)) return true;
  }
  return name.starts_with("glArrayElement");
}

// For such a command inside a primitive of a list: whether it may be recorded. If not, it has been passed over.
bool mayDefineInList(Replayer& replayer, uint32_t opcode, const char* name);

}  // namespace qv::peer
