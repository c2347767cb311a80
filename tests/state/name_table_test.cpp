// Name tables: search, cache, generation of names, replacement and removal.
#include "driver/objects/name_table.h"

#include <gtest/gtest.h>

#include <vector>

#include "driver/objects/tracked_object.h"

namespace qv::test {
namespace {

int destroyed = 0;
void countDestroyed(void* object) {
  ++destroyed;
  delete static_cast<int*>(object);
}

class NameTableTest : public ::testing::Test {
 protected:
  NameTableTest() { destroyed = 0; }

  std::vector<uint32_t> keys() const {
    std::vector<uint32_t> all;
    for (int32_t i = 0; i < table.count; ++i) all.push_back(table.rows[i].key);
    return all;
  }
  std::vector<uint32_t> generate(int32_t n) {
    std::vector<uint32_t> out(static_cast<size_t>(n));
    EXPECT_TRUE(table.generate(n, out.data()));
    return out;
  }
  void setNull(std::initializer_list<uint32_t> names) {
    for (const uint32_t name : names) table.set(name, nullptr);
  }

  NameTable table{countDestroyed};
};
using Names = std::vector<uint32_t>;

// A new table has room for 256 rows, none in use, and an empty cache.
TEST_F(NameTableTest, StartsEmptyWithRoomFor256) {
  EXPECT_EQ(table.capacity, 256u);
  EXPECT_EQ(table.count, 0);
  EXPECT_EQ(table.cachedKey, 0u);
  EXPECT_EQ(table.cachedObject, nullptr);
  EXPECT_EQ(table.find(0), nullptr);
  EXPECT_FALSE(table.contains(0));
}

// Names of an empty table begin at 1.
TEST_F(NameTableTest, GeneratesFromOne) {
  EXPECT_EQ(generate(3), (Names{1, 2, 3}));
  EXPECT_TRUE(table.contains(2));
  EXPECT_EQ(table.find(2), nullptr);
}

// A run of names takes the first gap that holds it, and otherwise the end.
TEST_F(NameTableTest, GeneratesIntoTheFirstGapThatIsWideEnough) {
  setNull({1, 2, 5});
  EXPECT_EQ(table.findGap(0, 2), 2);
  EXPECT_EQ(generate(2), (Names{3, 4}));
  EXPECT_EQ(keys(), (Names{1, 2, 3, 4, 5}));
  EXPECT_EQ(generate(3), (Names{6, 7, 8}));
}

// With keys 1, 2, 5 a run of three does not fit between them.
TEST_F(NameTableTest, SkipsAGapThatIsTooNarrow) {
  setNull({1, 2, 5});
  EXPECT_EQ(generate(3), (Names{6, 7, 8}));
  EXPECT_EQ(keys(), (Names{1, 2, 5, 6, 7, 8}));
}

// A deleted name is used again for a single name and skipped for a run.
TEST_F(NameTableTest, ReusesDeletedNames) {
  generate(3);
  const uint32_t two = 2;
  table.removeNames(1, &two);
  NameTable other{countDestroyed};
  for (const uint32_t key : {1u, 3u}) other.set(key, nullptr);
  EXPECT_EQ(generate(1), (Names{2}));
  uint32_t run[2] = {};
  ASSERT_TRUE(other.generate(2, run));
  EXPECT_EQ(run[0], 4u);
  EXPECT_EQ(run[1], 5u);
}

// A gap below the first row is found too.
TEST_F(NameTableTest, GeneratesBelowTheFirstRow) {
  setNull({4, 9});
  EXPECT_EQ(generate(3), (Names{1, 2, 3}));
  EXPECT_EQ(generate(4), (Names{5, 6, 7, 8}));
}

// A count below 1 and a missing array are refused and leave the table as it is.
TEST_F(NameTableTest, RefusesBadCounts) {
  uint32_t out[1] = {77};
  EXPECT_FALSE(table.generate(0, out));
  EXPECT_FALSE(table.generate(-3, out));
  EXPECT_FALSE(table.generate(1, nullptr));
  EXPECT_EQ(out[0], 77u);
  EXPECT_EQ(table.count, 0);
}

// One by one the storage doubles at the 257th name.
TEST_F(NameTableTest, GrowsFrom256To512NameByName) {
  for (int i = 0; i < 256; ++i) generate(1);
  EXPECT_EQ(table.capacity, 256u);
  generate(1);
  EXPECT_EQ(table.capacity, 512u);
  EXPECT_EQ(table.count, 257);
  EXPECT_EQ(keys().back(), 257u);
}

// More than 256 names at once grow the storage by their number.
TEST_F(NameTableTest, LargeRequestGrowsByItsNumber) {
  EXPECT_EQ(generate(300).back(), 300u);
  EXPECT_EQ(table.capacity, 556u);
}

// reserve grows and never shrinks.
TEST_F(NameTableTest, ReserveNeverShrinks) {
  generate(2);
  table.reserve(100);
  EXPECT_EQ(table.capacity, 256u);
  table.reserve(1000);
  EXPECT_EQ(table.capacity, 1000u);
  EXPECT_EQ(keys(), (Names{1, 2}));
}

// set keeps the order whatever the order of insertion.
TEST_F(NameTableTest, SetInsertsInOrder) {
  setNull({1, 2, 5, 6, 8});
  setNull({3, 10, 7, 4});
  EXPECT_EQ(keys(), (Names{1, 2, 3, 4, 5, 6, 7, 8, 10}));
  setNull({0});
  EXPECT_EQ(table.count, 9);
}

// Replacing destroys the old object once, and setting the same object again does nothing.
TEST_F(NameTableTest, SetReplacesAndDestroys) {
  int* const first = new int(1);
  int* const second = new int(2);
  table.set(5, first);
  EXPECT_EQ(table.find(5), first);
  table.set(5, first);
  EXPECT_EQ(destroyed, 0);
  table.set(5, second);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(table.find(5), second);
  EXPECT_EQ(table.count, 1);
}

// A row with no object reads as null, and the second look is answered by the cache.
TEST_F(NameTableTest, CachesANullObject) {
  setNull({3});
  EXPECT_EQ(table.find(3), nullptr);
  EXPECT_EQ(table.cachedKey, 3u);
  table.rows[0].key = 4;  // a search would now miss and clear the cache
  EXPECT_EQ(table.find(3), nullptr);
  EXPECT_EQ(table.cachedKey, 3u);
}

// A miss clears the cache; contains leaves it alone.
TEST_F(NameTableTest, MissClearsTheCache) {
  int* const object = new int(1);
  table.set(3, object);
  table.find(3);
  EXPECT_EQ(table.cachedObject, object);
  EXPECT_FALSE(table.contains(9));
  EXPECT_EQ(table.cachedKey, 3u);
  table.find(9);
  EXPECT_EQ(table.cachedKey, 0u);
  EXPECT_EQ(table.cachedObject, nullptr);
}

// The first bind gives a cached empty name its object: the cache does not hide it.
TEST_F(NameTableTest, SetClearsACachedNull) {
  setNull({3});
  table.find(3);
  int* const object = new int(1);
  table.set(3, object);
  EXPECT_EQ(table.find(3), object);
}

// A removed object is not found through the cache.
TEST_F(NameTableTest, RemovalClearsTheCache) {
  table.set(3, new int(1));
  table.find(3);
  table.removeAt(0, 1);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(table.find(3), nullptr);
  EXPECT_EQ(table.count, 0);
}

// A run given in order goes in one step, the same names backwards go one by one, and both leave the same table.
TEST_F(NameTableTest, RunsAndSinglesLeaveTheSameTable) {
  const uint32_t up[] = {7, 8, 9}, down[] = {9, 8, 7};
  for (const uint32_t* const names : {up, down}) {
    table.clear();
    destroyed = 0;
    for (uint32_t key = 5; key <= 11; ++key) table.set(key, new int(0));
    table.removeNames(3, names);
    EXPECT_EQ(keys(), (Names{5, 6, 10, 11}));
    EXPECT_EQ(destroyed, 3);
  }
}

NameTable* watchedTable = nullptr;
std::vector<int32_t> countsSeen;

// A run given in order leaves the count in one step, before its objects go; the same names backwards leave it one by one.
TEST(NameTableRemoval, RunLeavesInOneStep) {
  const uint32_t up[] = {7, 8, 9}, down[] = {9, 8, 7};
  for (const uint32_t* const names : {up, down}) {
    NameTable table([](void* object) {
      countsSeen.push_back(watchedTable->count);
      delete static_cast<int*>(object);
    });
    watchedTable = &table;
    countsSeen.clear();
    for (uint32_t key = 5; key <= 11; ++key) table.set(key, new int(0));
    table.removeNames(3, names);
    EXPECT_EQ(countsSeen, names == up ? (std::vector<int32_t>{4, 4, 4}) : (std::vector<int32_t>{6, 5, 4}));
  }
}

// Names that are absent, zero or repeated are passed over.
TEST_F(NameTableTest, RemovalIgnoresUnknownNames) {
  setNull({1, 2, 3});
  const uint32_t names[] = {3, 0, 99, 3, 1};
  table.removeNames(5, names);
  EXPECT_EQ(keys(), (Names{2}));
  table.removeNames(0, names);
  table.removeNames(-1, names);
  table.removeNames(1, nullptr);
  EXPECT_EQ(keys(), (Names{2}));
}

// A run that would reach beyond the last row takes the one-by-one path.
TEST_F(NameTableTest, RunBeyondTheEndIsRemovedOneByOne) {
  setNull({1, 2, 3});
  const uint32_t names[] = {2, 3, 4};
  table.removeNames(3, names);
  EXPECT_EQ(keys(), (Names{1}));
}

// clear destroys every object and leaves nothing, and the table can be used again.
TEST_F(NameTableTest, ClearDestroysAllAndTheTableStaysUsable) {
  for (uint32_t key = 1; key <= 4; ++key) table.set(key, key == 2 ? nullptr : new int(0));
  table.find(3);
  table.clear();
  EXPECT_EQ(destroyed, 3);
  EXPECT_EQ(table.rows, nullptr);
  EXPECT_EQ(table.capacity, 0u);
  EXPECT_EQ(table.count, 0);
  EXPECT_EQ(table.cachedKey, 0u);
  EXPECT_EQ(table.cachedObject, nullptr);
  EXPECT_EQ(generate(2), (Names{1, 2}));
}

// The search holds for every position of a large table with holes.
TEST_F(NameTableTest, FindsEveryRowOfALargeTable) {
  for (uint32_t key = 2; key <= 4000; key += 2) table.set(key, nullptr);
  for (uint32_t key = 1; key <= 4001; ++key) ASSERT_EQ(table.contains(key), key % 2 == 0 && key <= 4000) << key;
  EXPECT_EQ(generate(1), (Names{1}));
  EXPECT_EQ(generate(1), (Names{3}));
  EXPECT_EQ(generate(2), (Names{4001, 4002}));
}

struct Watched final : TrackedObject {
  explicit Watched(int* watched) : counter(watched) {}
  ~Watched() override { ++*counter; }
  int* counter;
};

// Each kind of teardown frees what it owns; leaks would be reported by the sanitizer.
TEST(NameTableTeardown, EachKindFreesItsObjects) {
  int gone = 0;
  NameTable objects{destroyVirtual<TrackedObject>};
  objects.set(1, static_cast<TrackedObject*>(new Watched(&gone)));
  objects.clear();
  EXPECT_EQ(gone, 1);

  const auto text = [] { return static_cast<char*>(std::calloc(8, 1)); };
  NameTable labels{destroyLabelled<LabelRecord>};
  labels.set(1, new LabelRecord{text()});
  labels.set(2, new LabelRecord);
  const uint32_t one = 1;
  labels.removeNames(1, &one);
  NameTable records{destroyLabelled<QueryRecord>};
  records.set(1, new QueryRecord{7, text()});
  records.set(1, new QueryRecord{8, text()});
}

}  // namespace
}  // namespace qv::test
