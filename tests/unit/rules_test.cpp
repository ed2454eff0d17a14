// The rule registry and docs/rules.md name the same rules, in the same order,
// with the same titles and editor marks.
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/rules.h"

TEST(Rules, RegistryIsTheCatalogue) {
  std::ifstream in(CFGCHECK_SOURCE_DIR "/docs/rules.md");
  std::vector<std::string> documented;
  const std::regex heading("^#### ([A-Z][0-9]+) (.*)$");
  std::smatch m;
  for (std::string line; std::getline(in, line);)
    if (std::regex_match(line, m, heading)) documented.push_back(m[1].str() + ' ' + m[2].str());
  std::vector<std::string> registered;
  for (const support::Rule* rule : support::allRules())
    registered.push_back(std::string(rule->id) + ' ' + std::string(rule->title) + (rule->editor ? " *(editor)*" : ""));
  EXPECT_EQ(registered, documented);
  EXPECT_EQ(support::findRule("k4"), &support::rules::K4);
  EXPECT_EQ(support::findRule("K44"), nullptr);
}
