// Sources of shaders that may take a compiler endless time or endless memory. The first one does.
#pragma once

#include <string>
#include <vector>

namespace qv::peer::test {

// A sum of `terms` times the same term.
inline std::string sumOf(int terms, const std::string& term) {
  std::string out = term;
  for (int i = 1; i < terms; ++i) out += "+" + term;
  return out;
}

// Macros that double what they stand for, so many times.
inline std::string doublingMacros(int times) {
  std::string out = "#version 120\n#define m0 gl_Vertex.x\n";
  for (int i = 1; i <= times; ++i) {
    const std::string before = "m" + std::to_string(i - 1);
    out += "#define m" + std::to_string(i) + " " + before + "+" + before + "\n";
  }
  return out + "void main() { gl_Position = vec4(m" + std::to_string(times) + "); }";
}

inline std::vector<std::string> sourceBombs() {
  const std::string begin = "#version 430 compatibility\nvoid main() { float x = gl_Vertex.x; ",
                    end = "; gl_Position = vec4(x); }";
  const std::string nested = std::string(200000, '(') + "x" + std::string(200000, ')');
  std::string blocks;
  for (int i = 0; i < 100000; ++i) blocks += "{if(x>0.0)";
  return {doublingMacros(26),
          begin + "x = " + sumOf(500000, "x") + end,
          begin + "x = " + nested + end,
          begin + "x = " + std::string(500000, '-') + "x" + end,
          begin + blocks,
          begin + "float big[2147483647]; big[int(x)] = x; x = big[3]" + end,
          begin + "for (int i = 0; i < 2000000000; ++i) for (int k = 0; k < 2000000000; ++k) x += sin(x)" + end};
}

}  // namespace qv::peer::test
