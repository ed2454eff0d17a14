#include <gtest/gtest.h>

#include "driver/formats.h"

using namespace driver;

namespace {

support::Finding at(std::string_view rule, std::string file, uint32_t line, std::string message) {
  support::Finding f;
  f.rule = rule;
  f.file = std::move(file);
  f.at = support::Location{line, 5};
  f.message = std::move(message);
  return f;
}

}  // namespace

// Code scanning matches a finding across commits by its fingerprint: lines
// that move keep it, another name, rule or file does not.
TEST(Fingerprint, FollowsTheNamesNotTheLine) {
  const support::Finding base = at("F15", "conf/framework.json", 12, "process name 'media' is defined more than once");
  struct Case {
    support::Finding other;
    bool same;
  };
  const Case cases[] = {
      {at("F15", "conf/framework.json", 80, "process name 'media' is defined more than once"), true},
      {at("F15", "./conf//framework.json", 12, "process name 'media' is defined more than once"), true},
      {at("F15", "conf/framework.json", 12, "process name 'radio' is defined more than once"), false},
      {at("F14", "conf/framework.json", 12, "process name 'media' is defined more than once"), false},
      {at("F15", "other/framework.json", 12, "process name 'media' is defined more than once"), false},
      {at("F15", "conf/framework.json", 12, "process name 'media' is declared more than once"), true},
  };
  for (const Case& c : cases) {
    FingerprintCounts a, b;
    EXPECT_EQ(fingerprint(base, a) == fingerprint(c.other, b), c.same) << c.other.file << ' ' << c.other.message;
  }
  // Without names the numbers of the message go, its words stay.
  FingerprintCounts a, b, c;
  EXPECT_EQ(fingerprint(at("F31", "f.json", 3, "ip-connection 10.0.0.1:5110 is used twice"), a),
            fingerprint(at("F31", "f.json", 9, "ip-connection 10.0.0.2:5111 is used twice"), b));
  EXPECT_NE(fingerprint(at("F31", "f.json", 3, "ip-connection 10.0.0.1:5110 is used twice"), a),
            fingerprint(at("F31", "f.json", 3, "ip-connection 10.0.0.1:5110 is used once"), c));
}

TEST(Fingerprint, CountsFindingsOfOneKey) {
  FingerprintCounts seen;
  const std::string first = fingerprint(at("S7", "sm.json", 3, "'player' is undefined"), seen);
  const std::string second = fingerprint(at("S7", "sm.json", 9, "'player' is undefined"), seen);
  const std::string other = fingerprint(at("S7", "sm.json", 9, "'radio' is undefined"), seen);
  EXPECT_TRUE(first.ends_with(":1")) << first;
  EXPECT_EQ(second, first.substr(0, first.size() - 1) + "2");
  EXPECT_TRUE(other.ends_with(":1")) << other;
}

TEST(RuleHelp, SummaryIsTheFirstParagraphOrTheTitle) {
  EXPECT_EQ(ruleSummary(*findRule("F2")), "Without it nothing else of the file is checked.");
  EXPECT_EQ(ruleSummary(*findRule("f1")), "The top level is an object");
  EXPECT_EQ(ruleSummary(*findRule("K2")), "A `--dir` that holds no JSON file, or only `--transport` and `--verbose`.");
  EXPECT_EQ(findRule("F"), nullptr);
  EXPECT_EQ(findRule("F1 "), nullptr);
}

TEST(RuleHelp, PlainTextDropsTheMarkdown) {
  EXPECT_EQ(plainEntry("#### F2 Title\n\nWhy.\n\n**Prints**\n\n```text finding\n  ?  line\n```\n"),
            "F2 Title\n\nWhy.\n\nPrints\n\n      ?  line\n");
}
