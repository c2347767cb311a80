// Runs the inputs of a corpus once each, without libFuzzer: a target as an ordinary test.
//
//   TARGET PATH...   files, and folders of files
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/core/counts.h"
#include "fuzz/core/target.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path& path) {
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> out;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) out.push_back(entry.path());
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  size_t inputs = 0;
  for (int i = 1; i < argc; ++i) {
    for (const fs::path& file : filesOf(argv[i])) {
      std::ifstream in(file, std::ios::binary);
      const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      if (!in.good() && !in.eof()) {
        std::fprintf(stderr, "%s cannot be read\n", file.c_str());
        return 2;
      }
      std::fprintf(stderr, "%s\n", file.filename().c_str());  // the last one is the one at fault
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++inputs;
    }
  }
  std::printf("%zu inputs, %llu units\n", inputs, static_cast<unsigned long long>(qv::fuzz::counts().units.load()));
  return inputs == 0 ? 2 : 0;
}
