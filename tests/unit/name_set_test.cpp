#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "support/name_set.h"

using support::IntSet;
using support::NameSet;

TEST(NameSet, KeysAreExactCStrings) {
  NameSet set;
  EXPECT_TRUE(set.insert("alpha"));
  EXPECT_FALSE(set.insert("alpha"));
  EXPECT_TRUE(set.insert("Alpha"));
  EXPECT_TRUE(set.insert("alpha "));
  EXPECT_TRUE(set.insert(std::string_view{}));  // the empty name of an entry without one
  EXPECT_FALSE(set.insert(""));
  EXPECT_TRUE(set.insert("\xc3\xa4"));
  EXPECT_EQ(set.size(), 5u);
  EXPECT_TRUE(set.contains(""));
  EXPECT_TRUE(set.contains(std::string_view{}));
  EXPECT_FALSE(set.contains("alph"));
  EXPECT_FALSE(set.insert(std::string_view("alpha\0tail", 10)));  // a key ends at its NUL
  EXPECT_TRUE(set.contains("alpha"));
  set.destroy();
  EXPECT_EQ(set.size(), 0u);
  EXPECT_FALSE(set.contains("alpha"));
  EXPECT_TRUE(set.insert("alpha"));
}

// Ids in any order, negatives among them, through several growths of the table.
TEST(IntSet, AgreesWithASetOfInts) {
  IntSet ids;
  std::set<int32_t> expected;
  uint32_t seed = 7;
  for (int round = 0; round < 5000; ++round) {
    seed = seed * 1103515245u + 12345u;
    const int32_t id = round % 3 == 0 ? -static_cast<int32_t>(seed % 4000) : static_cast<int32_t>(seed % 4000);
    ASSERT_EQ(ids.insert(id), expected.insert(id).second) << id;
  }
  EXPECT_EQ(ids.size(), expected.size());
  for (int32_t id = -4001; id <= 4001; ++id) ASSERT_EQ(ids.contains(id), expected.count(id) == 1) << id;
  EXPECT_TRUE(ids.insert(INT32_MIN));
  EXPECT_FALSE(ids.insert(INT32_MIN));
  ids.destroy();
  EXPECT_FALSE(ids.contains(expected.empty() ? 0 : *expected.begin()));
  EXPECT_TRUE(ids.insert(0));
}

TEST(NameSet, AllocationFailureIsReportedAndRetried) {
  testing::internal::CaptureStderr();
  NameSet set;
  // the third failure frees the reserve taken again after the second
  support::injectAllocationFailures(3);
  const std::string huge(100000, 'h');  // its copy needs a block of its own
  EXPECT_TRUE(set.insert("a much longer key than fits any small buffer"));
  EXPECT_TRUE(set.insert(huge));
  EXPECT_TRUE(set.insert("b"));
  EXPECT_TRUE(set.insert(std::string(100000, 'i')));
  std::string err = testing::internal::GetCapturedStderr();
  const std::string line =
      "out of memory: framework/include/common/types/red_black_tree:330: create_node: need another tree node\n";
  EXPECT_EQ(err, line + line + line);
  EXPECT_TRUE(set.contains("a much longer key than fits any small buffer"));
  EXPECT_TRUE(set.contains(huge));
  EXPECT_FALSE(set.contains(huge.substr(1)));
  EXPECT_EQ(set.size(), 4u);
}

// Keys in any order, of every length around the 24 bytes a slot holds itself,
// prefixes of each other, bytes above 0x7f, through several growths. Every
// answer must match a plain set of strings.
TEST(NameSet, AgreesWithASetOfStrings) {
  NameSet set;
  std::set<std::string> expected;
  uint32_t seed = 12345;
  auto next = [&seed] { return seed = seed * 1103515245u + 12345u, seed >> 16; };
  const char alphabet[] = {'a', 'b', '\x7f', '\x80', '\xff', '0'};
  for (int round = 0; round < 20000; ++round) {
    std::string key(next() % 32, 'a');
    for (char& c : key) c = alphabet[next() % 3 == 0 ? next() % sizeof alphabet : 0];
    ASSERT_EQ(set.insert(key), expected.insert(key).second) << key;
    ASSERT_TRUE(set.contains(key));
  }
  EXPECT_EQ(set.size(), expected.size());
  for (const std::string& key : expected) {
    ASSERT_TRUE(set.contains(key));
    ASSERT_EQ(set.contains(key + 'b'), expected.count(key + 'b') == 1) << key;
  }
  set.destroy();
  EXPECT_FALSE(set.contains(*expected.rbegin()));
  EXPECT_TRUE(set.insert(*expected.rbegin()));
  EXPECT_TRUE(set.contains(*expected.rbegin()));
}
