#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

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
}

// Lookups that follow the set's order, skip through it, step back or come
// after the set was emptied must answer as fresh lookups do.
TEST(NameSet, LookupsInAnyOrderAndAfterDestroy) {
  NameSet set;
  std::vector<std::string> names;
  for (int i = 0; i < 500; ++i) names.push_back("process" + std::to_string(1000 + i * 2));
  for (const std::string& n : names) ASSERT_TRUE(set.insert(n));
  for (size_t i = 0; i < names.size(); ++i) {
    ASSERT_TRUE(set.contains(names[i]));
    ASSERT_TRUE(set.contains(names[i]));
    ASSERT_FALSE(set.contains("process" + std::to_string(1001 + i * 2)));  // between two names
  }
  for (size_t i = names.size(); i-- > 0;) ASSERT_TRUE(set.contains(names[i]));
  ASSERT_TRUE(set.contains(names.back()));
  EXPECT_FALSE(set.contains("process9999"));  // past the last name
  set.destroy();
  EXPECT_FALSE(set.contains(names.back()));
  EXPECT_TRUE(set.insert(names.front()));
  EXPECT_TRUE(set.contains(names.front()));
  EXPECT_FALSE(set.contains(names[1]));
}
