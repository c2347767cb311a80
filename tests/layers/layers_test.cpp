// The includes of the whole tree against docs/layers.md.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace qv::test {
namespace {

namespace fs = std::filesystem;

const fs::path kRoot = QV_ROOT;
const std::vector<std::string> kTrees = {"wire", "driver", "platform", "peer", "loader", "tools", "tests", "bench", "fuzz"};

std::string readFile(const fs::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The words between backticks of a line.
std::vector<std::string> inBackticks(const std::string& line) {
  std::vector<std::string> out;
  for (size_t at = line.find('`'); at != std::string::npos; at = line.find('`', at + 1)) {
    const size_t end = line.find('`', at + 1);
    if (end == std::string::npos) break;
    out.push_back(line.substr(at + 1, end - at - 1));
    at = end;
  }
  return out;
}

struct Row {
  std::vector<std::string> mayInclude;
  bool everything = false;
};

std::map<std::string, Row> layers() {
  std::map<std::string, Row> out;
  std::istringstream text(readFile(kRoot / "docs/layers.md"));
  for (std::string line; std::getline(text, line);) {
    if (line.rfind("| `", 0) != 0) continue;
    std::vector<std::string> words = inBackticks(line);
    Row& row = out[words[0]];
    row.mayInclude.assign(words.begin() + 1, words.end());
    row.everything = line.find("| everything |") != std::string::npos;
  }
  return out;
}

bool isIn(const std::string& path, const std::string& folder) { return path == folder || path.rfind(folder + "/", 0) == 0; }

// The row that a file or folder belongs to: the longest that it lies in.
std::string rowOf(const std::map<std::string, Row>& rows, const std::string& path) {
  std::string best;
  for (const auto& [folder, row] : rows) {
    if (isIn(path, folder) && folder.size() > best.size()) best = folder;
  }
  return best;
}

// The project's file that a line includes, however it is spaced, in quotes or in angle brackets; empty when there is none.
std::string includedBy(const std::string& line) {
  static const std::regex kInclude("^\\s*#\\s*include\\s*([\"<])([^\">]+)[\">].*");
  std::smatch match;
  if (!std::regex_match(line, match, kInclude)) return "";
  const bool own = match[1] == "\"" || fs::exists(kRoot / match[2].str());
  return own ? match[2].str() : "";
}

// Every source file with the project's own files that it includes, both from the root.
std::map<std::string, std::vector<std::string>> includes() {
  std::map<std::string, std::vector<std::string>> out;
  for (const std::string& tree : kTrees) {
    if (!fs::exists(kRoot / tree)) continue;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(kRoot / tree)) {
      const std::string kind = entry.path().extension();
      if (kind != ".h" && kind != ".cpp" && kind != ".c" && kind != ".def") continue;
      const std::string file = fs::relative(entry.path(), kRoot);
      std::vector<std::string>& list = out[file];
      std::istringstream text(readFile(entry.path()));
      for (std::string line; std::getline(text, line);) {
        std::string name = includedBy(line);
        if (name.empty()) continue;
        // A name without a folder is one beside the file.
        if (!fs::exists(kRoot / name)) name = fs::relative(entry.path().parent_path() / name, kRoot);
        list.push_back(name);
      }
    }
  }
  return out;
}

// Finds a circle in a graph and returns it as a text; empty when there is none.
std::string circleIn(const std::map<std::string, std::set<std::string>>& graph) {
  std::map<std::string, int> colour;  // 1 on the road, 2 done
  std::vector<std::string> road;
  std::string found;
  const auto visit = [&](auto&& self, const std::string& node) -> void {
    if (!found.empty() || colour[node] == 2) return;
    if (colour[node] == 1) {
      for (auto at = std::find(road.begin(), road.end(), node); at != road.end(); ++at) found += *at + " -> ";
      found += node;
      return;
    }
    colour[node] = 1;
    road.push_back(node);
    if (const auto at = graph.find(node); at != graph.end()) {
      for (const std::string& next : at->second) self(self, next);
    }
    road.pop_back();
    colour[node] = 2;
  };
  for (const auto& [node, next] : graph) visit(visit, node);
  return found;
}

// An include counts however it is written; a header of the system does not.
TEST(Layers, IncludesAreSeenHoweverTheyAreWritten) {
  for (const char* line : {"#include \"wire/sizes.h\"", "  #include \"wire/sizes.h\"  // why", "#  include\t\"wire/sizes.h\"",
                           "#include <wire/sizes.h>"}) {
    EXPECT_EQ(includedBy(line), "wire/sizes.h") << line;
  }
  for (const char* line : {"#include <vector>", "// #include \"wire/sizes.h\"", "include \"wire/sizes.h\""})
    EXPECT_EQ(includedBy(line), "") << line;
}

// Every include goes to the file's own folder or to one that its row names.
TEST(Layers, IncludesGoDownward) {
  const auto rows = layers();
  const auto all = includes();
  ASSERT_GT(rows.size(), 15u);
  ASSERT_GT(all.size(), 300u);
  for (const auto& [file, list] : all) {
    const std::string from = rowOf(rows, file);
    EXPECT_FALSE(from.empty()) << file << " lies in no folder of docs/layers.md";
    if (from.empty() || rows.at(from).everything) continue;
    for (const std::string& name : list) {
      EXPECT_TRUE(fs::exists(kRoot / name)) << file << " includes " << name << ", which there is not";
      const std::string to = rowOf(rows, name);
      const std::vector<std::string>& may = rows.at(from).mayInclude;
      const bool allowed = to == from || std::any_of(may.begin(), may.end(), [&](const std::string& folder) {
                             return to == folder || (rows.count(folder) == 0 && isIn(name, folder));
                           });
      EXPECT_TRUE(allowed) << file << " includes " << name << ": `" << from << "` may not include `" << to << "`";
    }
  }
}

// The table itself has no circle, so that a folder can be built and understood on what lies below it.
TEST(Layers, TheTableHasNoCircle) {
  std::map<std::string, std::set<std::string>> graph;
  for (const auto& [folder, row] : layers()) graph[folder].insert(row.mayInclude.begin(), row.mayInclude.end());
  EXPECT_EQ(circleIn(graph), "");
}

// No file includes itself by way of others.
TEST(Layers, NoFileIncludesItself) {
  std::map<std::string, std::set<std::string>> graph;
  for (const auto& [file, list] : includes()) graph[file].insert(list.begin(), list.end());
  EXPECT_EQ(circleIn(graph), "");
}

// In the wire and the driver a header and its source file are one piece, and no two pieces need each other.
TEST(Layers, NoTwoPiecesNeedEachOther) {
  std::map<std::string, std::set<std::string>> graph;
  for (const auto& [file, list] : includes()) {
    if (!isIn(file, "wire") && !isIn(file, "driver")) continue;
    const std::string piece = fs::path(file).replace_extension();
    for (const std::string& name : list) {
      const std::string other = fs::path(name).replace_extension();
      if (other != piece) graph[piece].insert(other);
    }
  }
  EXPECT_EQ(circleIn(graph), "");
}

// Each folder of the table has a README that quotes its row.
TEST(Layers, ReadmesQuoteTheTable) {
  for (const auto& [folder, row] : layers()) {
    const std::string readme = readFile(kRoot / folder / "README.md");
    EXPECT_FALSE(readme.empty()) << folder << " has no README.md";
    std::string expected = "May include: ";
    if (row.everything) {
      expected += "everything";
    } else if (row.mayInclude.empty()) {
      expected += "nothing";
    } else {
      for (size_t i = 0; i < row.mayInclude.size(); ++i) expected += (i == 0 ? "`" : ", `") + row.mayInclude[i] + "`";
    }
    expected += ".\n";
    EXPECT_NE(readme.find(expected), std::string::npos) << folder << "/README.md lacks the line: " << expected;
  }
}

// A circle is found and told as a text, and a graph without one gives none.
TEST(Layers, CirclesAreFound) {
  EXPECT_EQ(circleIn({{"a", {"b"}}, {"b", {"c"}}, {"c", {"a"}}}), "a -> b -> c -> a");
  EXPECT_EQ(circleIn({{"a", {"a"}}}), "a -> a");
  EXPECT_EQ(circleIn({{"a", {"b", "c"}}, {"b", {"c"}}}), "");
}

}  // namespace
}  // namespace qv::test
