#include <gtest/gtest.h>

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
  EXPECT_TRUE(set.insert(""));
  EXPECT_TRUE(set.insert("\xc3\xa4"));
  EXPECT_EQ(set.size(), 5u);
  EXPECT_TRUE(set.contains(""));
  EXPECT_FALSE(set.contains("alph"));
  EXPECT_FALSE(set.insert(std::string_view("alpha\0tail", 10)));  // a key ends at its NUL
  EXPECT_TRUE(set.contains("alpha"));
  set.destroy();
  EXPECT_EQ(set.size(), 0u);
  EXPECT_FALSE(set.contains("alpha"));
  EXPECT_TRUE(set.insert("alpha"));
}

TEST(IntSet, NumericOrderWithNegatives) {
  IntSet ids;
  EXPECT_TRUE(ids.insert(-5));
  EXPECT_TRUE(ids.insert(5));
  EXPECT_FALSE(ids.insert(-5));
  EXPECT_TRUE(ids.contains(5));
}

TEST(NameSet, AllocationFailureIsReportedAndRetried) {
  testing::internal::CaptureStderr();
  NameSet set;
  support::injectAllocationFailures(2);
  const std::string huge(100000, 'h');  // its copy needs a block of its own
  EXPECT_TRUE(set.insert("a much longer key than fits any small buffer"));
  EXPECT_TRUE(set.insert(huge));
  EXPECT_TRUE(set.insert("b"));
  std::string err = testing::internal::GetCapturedStderr();
  const std::string line =
      "out of memory: framework/include/common/types/red_black_tree:330: create_node: need another tree node\n";
  EXPECT_EQ(err, line + line);
  EXPECT_TRUE(set.contains("a much longer key than fits any small buffer"));
  EXPECT_TRUE(set.contains(huge));
  EXPECT_FALSE(set.contains(huge.substr(1)));
  EXPECT_EQ(set.size(), 3u);
}

// Keys around the eight-byte head: shared prefixes, prefixes of each other,
// bytes above 0x7f. Every answer must match a plain ordered set of strings.
TEST(NameSet, AgreesWithAnOrderedSetOfStrings) {
  NameSet set;
  std::set<std::string> expected;
  uint32_t seed = 12345;
  auto next = [&seed] { return seed = seed * 1103515245u + 12345u, seed >> 16; };
  const char alphabet[] = {'a', 'b', '\x7f', '\x80', '\xff', '0'};
  for (int round = 0; round < 20000; ++round) {
    std::string key(next() % 20, 'a');
    for (char& c : key) c = alphabet[next() % 3 == 0 ? next() % sizeof alphabet : 0];
    bool added = expected.insert(key).second;
    ASSERT_EQ(set.insert(key), added) << key;
    ASSERT_TRUE(set.contains(key));
  }
  EXPECT_EQ(set.size(), expected.size());
  EXPECT_FALSE(set.contains("aaaaaaaaaaaaaaaaaaaaa"));
  // lookups in the set's order, each followed by one just past it, then backwards
  for (const std::string& key : expected) {
    ASSERT_TRUE(set.contains(key));
    ASSERT_EQ(set.contains(key + 'b'), expected.count(key + 'b') == 1) << key;
  }
  for (auto it = expected.rbegin(); it != expected.rend(); ++it) ASSERT_TRUE(set.contains(*it));
  set.destroy();
  EXPECT_FALSE(set.contains(*expected.rbegin()));
  EXPECT_TRUE(set.insert(*expected.begin()));
  EXPECT_TRUE(set.contains(*expected.begin()));
}
