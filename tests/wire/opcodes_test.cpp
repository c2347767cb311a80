// The opcodes that tests name, against the table.
#include "tests/support/opcodes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "wire/row_facts.h"

namespace qv::test {
namespace {

// Each name stands for the number that the table gives to the routine or private command of that name. The header is read as a
// text, so that none of its names can be left out here.
TEST(Opcodes, NamesStandForTheirNumbers) {
  std::map<std::string, int> table;
  for (const RowFacts& row : allRows()) table[std::string(row.name).substr(2)] = row.opcode;
  std::ifstream header(QV_ROOT "/tests/support/opcodes.h");
  const std::regex definition("inline constexpr uint32_t k(\\w+) = (\\d+);");
  int names = 0;
  for (std::string line; std::getline(header, line);) {
    std::smatch parts;
    if (!std::regex_match(line, parts, definition)) continue;
    ++names;
    const auto row = table.find(parts[1]);
    ASSERT_NE(row, table.end()) << line;
    EXPECT_EQ(std::stoi(parts[2]), row->second) << line;
  }
  EXPECT_GT(names, 100);
}

// The numbers that no command has have none.
TEST(Opcodes, NobodysNumbersAreFree) {
  for (const uint32_t opcode : {kNobodysOpcode, kNobodysPrivateOpcode, kHighestOpcode})
    EXPECT_EQ(findRow(opcode), nullptr) << opcode;
}

}  // namespace
}  // namespace qv::test
