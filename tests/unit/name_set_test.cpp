#include <gtest/gtest.h>

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
  set.destroy();
  EXPECT_EQ(set.size(), 0u);
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
  EXPECT_TRUE(set.insert("a much longer key than fits any small buffer"));
  EXPECT_TRUE(set.insert("b"));
  std::string err = testing::internal::GetCapturedStderr();
  const std::string line =
      "out of memory: framework/include/common/types/red_black_tree:330: create_node: need another tree node\n";
  EXPECT_EQ(err, line + line);
  EXPECT_TRUE(set.contains("a much longer key than fits any small buffer"));
  EXPECT_EQ(set.size(), 2u);
}
