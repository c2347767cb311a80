// The table against itself: counts, numbers, aliases, and the two static tables made from it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "driver/tables/proc_tables.h"
#include "wire/columns.h"
#include "wire/row_facts.h"

namespace qv {
namespace {

// The routines, without the private commands.
std::vector<RowFacts> rows() {
  std::vector<RowFacts> out;
  for (const RowFacts& row : allRows()) {
    if (!row.isPrivate) out.push_back(row);
  }
  return out;
}

size_t countWith(uint32_t property) {
  const auto all = rows();
  return static_cast<size_t>(
      std::count_if(all.begin(), all.end(), [&](const RowFacts& r) { return (r.properties & property) != 0; }));
}

PROC find(const char* name) {
  for (const ProcNameRow& row : ProcNameTable)
    if (std::strcmp(row.name, name) == 0) return row.proc;
  return nullptr;
}

// There are 1096 routines, 1073 of them with an opcode of their own.
TEST(Table, HoldsEveryRoutine) {
  const auto all = rows();
  EXPECT_EQ(all.size(), 1096u);
  EXPECT_EQ(std::count_if(all.begin(), all.end(), [](const RowFacts& r) { return r.opcode == kNoOpcode; }), 23);
}

// No two rows share an opcode, and all of them lie in the two blocks of the number space.
TEST(Table, OpcodesAreUniqueAndInTheirBlocks) {
  std::set<int> seen;
  for (const RowFacts& row : rows()) {
    if (row.opcode == kNoOpcode) continue;
    EXPECT_TRUE(seen.insert(row.opcode).second) << row.name;
    EXPECT_TRUE((row.opcode >= 0 && row.opcode <= 1574) || (row.opcode >= 2048 && row.opcode <= 2386)) << row.name;
  }
  EXPECT_EQ(*seen.begin(), 0);
  EXPECT_EQ(*seen.rbegin(), 2386);
}

// FNV-1a, 64 bits.
uint64_t digest(const std::string& text) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3;
  return hash;
}

// The names of a routine besides its own, sorted.
std::set<std::string> aliasesOf(const std::string& routine) {
  static const std::map<std::string, std::set<std::string>> aliases = [] {
    std::map<std::string, std::set<std::string>> all;
#define QV_ALIAS(name, row) all[#row].insert(#name);
#include "wire/entry_points.def"
    return all;
  }();
  const auto found = aliases.find(routine);
  return found == aliases.end() ? std::set<std::string>{} : found->second;
}

// A row as it stands in expected_rows.txt.
std::string lineOf(const RowFacts& row) {
  std::string line = std::string(row.name) + " " + (row.opcode == kNoOpcode ? "none" : std::to_string(row.opcode)) + "/";
  line += row.size == kVariable ? "v" : row.size == kNoCommand ? "-" : std::to_string(row.size);
  if (row.core != kNotCore) line += " core=" + std::to_string(row.core);
  const std::pair<uint32_t, const char*> flags[] = {
      {kRecords, " records"}, {kBeginCheck, " begin"}, {kListTest, " list"}, {kShadow, " shadow"}};
  for (const auto& [flag, word] : flags) line += (row.properties & flag) != 0 ? word : "";
  const char* before = " also ";
  for (const std::string& name : aliasesOf(row.name)) {
    line += before + name;
    before = " ";
  }
  return line;
}

// Every row with its opcode, its size, its place in the library's table, what it records, checks and keeps in the shadow, and its
// further names: none of it may ever change, since hosts in the field know these numbers. The text was made from the wire contract
// and not from the table; only its word "shadow" follows routines that are built. A row that differs is named.
TEST(Table, RowsAreThoseOfTheContract) {
  std::ifstream file(QV_ROOT "/tests/stream/expected_rows.txt");
  std::map<std::string, std::string> expected;
  std::string line, fixed;
  while (std::getline(file, line)) {
    const std::string name = line.substr(0, line.find(' '));
    EXPECT_TRUE(expected.emplace(name, line).second) << name;
    const size_t shadow = line.find(" shadow");
    if (shadow != std::string::npos) line.erase(shadow, 7);
    fixed += line + "\n";
  }
  EXPECT_EQ(expected.size(), 1096u);
  for (const RowFacts& row : rows()) EXPECT_EQ(lineOf(row), expected[row.name]);
  EXPECT_EQ(digest(fixed), 0xE37187EB34A70D3Bu) << "expected_rows.txt itself has changed";
}

// Where the window system has an ARB and an EXT name, the two are one function.
TEST(Table, WindowSystemNamesAreTwins) {
  size_t twins = 0;
  for (const ProcNameRow& row : ProcNameTable) {
    std::string name = row.name;
    if (!name.starts_with("wgl") || !name.ends_with("ARB")) continue;
    name.replace(name.size() - 3, 3, "EXT");
    const PROC twin = find(name.c_str());
    if (twin == nullptr) continue;
    EXPECT_EQ(twin, row.proc) << row.name;
    ++twins;
  }
  EXPECT_EQ(twins, 14u);
}

// As many routines as the contract says record, are refused inside glBegin, or read the list mode.
TEST(Table, PropertiesHaveTheirNumbers) {
  EXPECT_EQ(countWith(kRecords), 131u);
  EXPECT_EQ(countWith(kBeginCheck), 182u);
  EXPECT_EQ(countWith(kListTest), 47u);
}

// ProcNameTable holds 1366 names in byte order, so that a halving search finds each, with their first and last names.
TEST(Table, NamesAreSorted) {
  EXPECT_STREQ(ProcNameTable[0].name, "glAccum");
  EXPECT_STREQ(ProcNameTable[1365].name, "wglSwapIntervalEXT");
  for (uint32_t i = 1; i < kProcNames; ++i) EXPECT_LT(std::strcmp(ProcNameTable[i - 1].name, ProcNameTable[i].name), 0);
}

// The 1366 names stand for 1113 routines: 1096 of GL and 17 of the window system.
TEST(Table, AliasesShareTheirRoutine) {
  std::map<std::string, std::string> routineOf;
#define QV_ROW(name, ...) routineOf[#name] = #name;
#define QV_WGL(name, ...) routineOf[#name] = #name;
#define QV_ALIAS(name, row) routineOf[#name] = #row;
#include "wire/entry_points.def"
  EXPECT_EQ(routineOf.size(), 1366u);
  std::set<std::string> routines;
  for (const auto& [name, routine] : routineOf) {
    EXPECT_EQ(routineOf.at(routine), routine) << name;
    EXPECT_EQ(find(name.c_str()), find(routine.c_str())) << name;
    routines.insert(routine);
  }
  EXPECT_EQ(routines.size(), 1113u);
  EXPECT_EQ(find("glActiveTextureARB"), find("glActiveTexture"));
  EXPECT_EQ(find("glPointParameterfSGIS"), find("glPointParameterf"));
  EXPECT_EQ(find("wglChoosePixelFormatEXT"), find("wglChoosePixelFormatARB"));
  EXPECT_NE(find("glDrawArraysInstancedARB") == nullptr ? reinterpret_cast<PROC>(1) : find("glDrawArraysInstancedARB"),
            find("glDrawArrays"));
}

// GlProcTable holds 336 routines in the order that the system's library fixes, spot-checked where it leaves opcode order.
TEST(Table, CoreOrderIsTheLibrarys) {
  EXPECT_EQ(GlProcTable.count, 336u);
  const std::pair<uint32_t, const char*> known[] = {
      {0, "glNewList"},      {1, "glEndList"},      {7, "glBegin"},        {13, "glColor3f"},       {43, "glEnd"},
      {136, "glVertex3f"},   {200, "glPopName"},    {201, "glPushName"},   {202, "glDrawBuffer"},   {216, "glFinish"},
      {305, "glViewport"},   {306, "glArrayElement"}, {307, "glBindTexture"}, {310, "glDrawArrays"}, {315, "glIndexub"},
      {319, "glPolygonOffset"}, {322, "glAreTexturesResident"}, {334, "glPopClientAttrib"}, {335, "glPushClientAttrib"}};
  for (const auto& [index, name] : known) EXPECT_EQ(GlProcTable.procs[index], find(name)) << index << " " << name;
  std::map<std::string, int> coreOf;
  for (const RowFacts& row : rows()) coreOf[row.name] = row.core;
  for (const auto& [index, name] : known) EXPECT_EQ(coreOf.at(name), static_cast<int>(index)) << name;
}

// Every row has a routine.
TEST(Table, AbsentRoutinesAreNone) {
  size_t absent = 0;
  for (const RowFacts& row : rows()) {
    if (find(row.name) != nullptr) continue;
    ++absent;
    ADD_FAILURE() << row.name;
  }
  std::cout << "routines of the table without code: " << absent << " of " << rows().size() << "\n";
}

}  // namespace
}  // namespace qv
