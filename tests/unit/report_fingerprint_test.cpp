#include <gtest/gtest.h>

#include "driver/formats.h"

using namespace driver;

namespace {

std::string print(std::string_view rule, std::string file, uint32_t line, std::string message,
                  FingerprintCounts* seen = nullptr) {
  support::Finding f;
  f.rule = rule;
  f.file = std::move(file);
  f.at = support::Location{line, 5};
  f.message = std::move(message);
  FingerprintCounts fresh;
  return fingerprint(f, seen != nullptr ? *seen : fresh);
}

}  // namespace

// Code scanning knows a finding again by its fingerprint: lines that move keep
// it; another name, rule or file does not; without names, only the numbers go.
TEST(Fingerprint, FollowsTheNamesNotTheLine) {
  const std::string base = print("F15", "conf/fw.json", 12, "name 'media' is defined twice");
  EXPECT_EQ(base, print("F15", "conf/fw.json", 80, "name 'media' is defined twice"));
  EXPECT_EQ(base, print("F15", "./conf//fw.json", 12, "name 'media' is defined twice"));
  EXPECT_EQ(base, print("F15", "conf/fw.json", 12, "name 'media' is declared twice"));
  EXPECT_NE(base, print("F15", "conf/fw.json", 12, "name 'radio' is defined twice"));
  EXPECT_NE(base, print("F14", "conf/fw.json", 12, "name 'media' is defined twice"));
  EXPECT_NE(base, print("F15", "other/fw.json", 12, "name 'media' is defined twice"));
  const std::string unnamed = print("F31", "f.json", 3, "connection 10.0.0.1:5110 is used twice");
  EXPECT_EQ(unnamed, print("F31", "f.json", 9, "connection 10.0.0.2:5111 is used twice"));
  EXPECT_NE(unnamed, print("F31", "f.json", 3, "connection 10.0.0.1:5110 is used once"));

  FingerprintCounts seen;
  const std::string first = print("S7", "sm.json", 3, "'player' is undefined", &seen);
  const std::string second = print("S7", "sm.json", 9, "'player' is undefined", &seen);
  EXPECT_TRUE(first.ends_with(":1")) << first;
  EXPECT_EQ(second, first.substr(0, first.size() - 1) + "2");
  EXPECT_TRUE(print("S7", "sm.json", 9, "'radio' is undefined", &seen).ends_with(":1"));
}
