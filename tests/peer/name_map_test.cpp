// Names of guests and of GL: found both ways, made once, forgotten whole, bounded; and the indices of resources.
#include "peer/replay/name_map.h"
#include "peer/replay/resource_orders.h"

#include <gtest/gtest.h>

namespace qv::peer::test {
namespace {

// Small names and large ones are found both ways, until they are removed.
TEST(NameMap, NamesAreFoundBothWays) {
  NameMap map;
  for (const GLuint guest : {1u, 63u, 64u, 65535u, 65536u, 0xFFFFFFFFu}) {
    EXPECT_EQ(map.find(guest), 0u);
    map.insert(guest, guest ^ 0x5000);
    EXPECT_EQ(map.find(guest), guest ^ 0x5000);
    EXPECT_EQ(map.guestOf(guest ^ 0x5000), guest);
  }
  EXPECT_EQ(map.size(), 6u);
  EXPECT_EQ(map.find(2), 0u);
  EXPECT_EQ(map.find(70000), 0u);
  EXPECT_EQ(map.guestOf(1), 0u);
  for (const GLuint guest : {1u, 65536u}) {
    EXPECT_EQ(map.remove(guest), guest ^ 0x5000);
    EXPECT_EQ(map.remove(guest), 0u);
    EXPECT_EQ(map.find(guest), 0u);
    EXPECT_EQ(map.guestOf(guest ^ 0x5000), 0u);
  }
  EXPECT_EQ(map.size(), 4u);
}

// A name is made at its first use only; name 0 never is, and a maker without names leaves nothing.
TEST(NameMap, NamesAreMadeOnce) {
  NameMap map;
  int made = 0;
  const auto make = [&] { return static_cast<GLuint>(100 + ++made); };
  EXPECT_EQ(map.findOrMake(7, make), 101u);
  EXPECT_EQ(map.findOrMake(7, make), 101u);
  EXPECT_EQ(map.findOrMake(0, make), 0u);
  EXPECT_EQ(made, 1);
  EXPECT_EQ(map.findOrMake(8, [] { return 0u; }), 0u);
  EXPECT_EQ(map.size(), 1u);
}

// A name that is given another object forgets the first.
TEST(NameMap, ReplacedNamesForgetTheirObject) {
  NameMap map;
  map.insert(3, 30);
  map.insert(3, 31);
  EXPECT_EQ(map.guestOf(30), 0u);
  EXPECT_EQ(map.guestOf(31), 3u);
  EXPECT_EQ(map.size(), 1u);
}

// A guest has a million names at most.
TEST(NameMap, NamesAreBounded) {
  NameMap map;
  for (GLuint guest = 1; guest <= NameMap::kMost; ++guest) map.insert(guest, guest);
  EXPECT_EQ(map.findOrMake(NameMap::kMost + 1, [] { return 77777777u; }), 0u);
  EXPECT_EQ(map.findOrMake(5, [] { return 77777777u; }), 5u);
  map.remove(5);
  EXPECT_EQ(map.findOrMake(NameMap::kMost + 1, [] { return 77777777u; }), 77777777u);
}

// --- indices ---

// Indices go both ways by the program's own order, until it is forgotten or replaced by one that changes nothing.
TEST(ResourceOrders, IndicesGoBothWays) {
  ResourceOrders orders;
  orders.set(5, {2, 0, 1});
  orders.set(6, {1, 0});
  const auto toGl = [&](GLuint program, std::vector<GLuint> indices) {
    orders.toGl(program, indices.data(), indices.size());
    return indices;
  };
  const auto toGuest = [&](GLuint program, std::vector<GLuint> indices) {
    orders.toGuest(program, indices.data(), indices.size());
    return indices;
  };
  using Indices = std::vector<GLuint>;
  EXPECT_EQ(toGl(5, {0, 1, 2, 3, GL_INVALID_INDEX}), (Indices{2, 0, 1, 3, GL_INVALID_INDEX}));
  EXPECT_EQ(toGuest(5, {0, 1, 2, 3, GL_INVALID_INDEX}), (Indices{1, 2, 0, 3, GL_INVALID_INDEX}));
  EXPECT_EQ(toGl(6, {0, 1, 2}), (Indices{1, 0, 2}));
  EXPECT_EQ(toGl(7, {0, 1, 2}), (Indices{0, 1, 2}));
  orders.set(5, {0, 1, 2});
  EXPECT_EQ(toGl(5, {0, 1, 2}), (Indices{0, 1, 2}));
  EXPECT_EQ(toGuest(5, {0, 1, 2}), (Indices{0, 1, 2}));
  orders.set(6, {2, 1, 0});
  EXPECT_EQ(toGuest(6, {0, 1, 2}), (Indices{2, 1, 0}));
  orders.forget(6);
  EXPECT_EQ(toGl(6, {0, 1}), (Indices{0, 1}));
  EXPECT_EQ(toGuest(6, {0, 1}), (Indices{0, 1}));
}

}  // namespace
}  // namespace qv::peer::test
