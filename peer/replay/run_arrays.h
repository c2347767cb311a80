// RunArrays: draws the vertices of a run from where they stand in the stream.
#pragma once

#include <cstdint>
#include <vector>

namespace qv::peer {

struct RunDraw;
struct RunLayout;

// An attribute of a run's vertex: 1 to 4 floats.
struct RunAttribute {
  uint32_t number = 0;  // of the tag: 0 position, 2 normal, 3 color, 8 + n texture coordinate set n
  int32_t components = 0;
  uint32_t offset = 0;  // bytes from the vertex's start
};

// One per context, used with that context current. The conventional arrays of GL's default vertex array object belong to this
// class. They stay enabled, with pointers that are valid for one draw only, so nothing else may draw from them: the guest's own arrays
// are in other objects (ArrayState). (GL refuses pointers to memory in any other vertex array object.)
class RunArrays {
 public:
  // The current values of the attributes are undefined afterwards.
  void draw(const RunLayout& layout, const RunDraw& draw);

  // Memory for the vertices of several runs that are drawn as one.
  std::vector<uint8_t>& joined() { return joined_; }

 private:
  std::vector<uint8_t> joined_;
  uint64_t enabled_ = 0;  // bits of attribute numbers
};

}  // namespace qv::peer
