// docs/rules.md as built into the program: --explain prints its entries and
// SARIF gives each rule its own as help, so neither can drift from the document.
#include <algorithm>
#include <cctype>

#include "driver/formats.h"
#include "platform/tbx.h"

namespace driver {

namespace {

bool isFence(std::string_view line) { return line.starts_with("```"); }

// The next line of `text` from `pos` (without its line feed); `pos` moves past it.
std::string_view nextLine(std::string_view text, std::size_t& pos) {
  std::size_t end = text.find('\n', pos);
  if (end == std::string_view::npos) end = text.size();
  std::string_view line = text.substr(pos, end - pos);
  pos = end < text.size() ? end + 1 : end;
  return line;
}

bool blank(std::string_view line) { return line.find_first_not_of(" \t\r") == std::string_view::npos; }

}  // namespace

std::string_view ruleEntry(const support::Rule& rule) {
  const std::string heading = "#### " + std::string(rule.id) + ' ';
  std::size_t start = kRulesText.starts_with(heading) ? 0 : kRulesText.find('\n' + heading);
  if (start == std::string_view::npos) return {};
  if (start != 0) ++start;
  std::size_t pos = start, end = start;
  nextLine(kRulesText, pos);
  // A '#' inside a code block (a shell comment, the transport report) is no heading.
  bool fenced = false;
  while (pos < kRulesText.size()) {
    std::string_view line = nextLine(kRulesText, pos);
    if (isFence(line)) fenced = !fenced;
    else if (!fenced && line.starts_with('#')) break;
    if (!blank(line)) end = pos;
  }
  if (end == start) end = kRulesText.find('\n', start) + 1;
  return kRulesText.substr(start, end - start);
}

std::string ruleHelpUri(const support::Rule& rule) {
  std::string_view heading = ruleEntry(rule);
  heading = heading.substr(0, heading.find('\n'));
  heading.remove_prefix(std::min(heading.size(), std::string_view("#### ").size()));
  std::string anchor;
  for (char c : heading) {
    if (c == ' ') anchor += '-';
    else if (c == '-' || c == '_' || (static_cast<unsigned char>(c) >= 0x80)) anchor += c;
    else if (std::isalnum(static_cast<unsigned char>(c))) anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return std::string(CFGCHECK_RULES_URI) + '#' + anchor;
}

std::string ruleSummary(const support::Rule& rule) {
  std::string_view entry = ruleEntry(rule);
  std::size_t pos = 0;
  nextLine(entry, pos);
  std::string out;
  while (pos < entry.size()) {
    std::string_view line = nextLine(entry, pos);
    if (blank(line) && out.empty()) continue;
    // The entry's labelled parts ("**Prints**") and code are no explanation.
    if (blank(line) || (out.empty() && (line.starts_with("**") || isFence(line)))) break;
    if (!out.empty()) out += ' ';
    out += line;
  }
  return out.empty() ? std::string(rule.title) : out;
}

std::string plainEntry(std::string_view entry) {
  std::string out;
  bool fenced = false;
  for (std::size_t pos = 0; pos < entry.size();) {
    std::string_view line = nextLine(entry, pos);
    if (isFence(line)) {
      fenced = !fenced;
      continue;
    }
    if (fenced) out += "    ";
    else if (line.starts_with("#### ")) line.remove_prefix(5);
    else if (line.size() > 4 && line.starts_with("**") && line.ends_with("**")) line = line.substr(2, line.size() - 4);
    out.append(line);
    out += '\n';
  }
  return out;
}

int explainRule(const char* id) {
  if (id == nullptr) {
    for (const support::Rule* rule : support::allRules()) {
      std::string name(rule->id);
      name.resize(4, ' ');
      tbx::cout << name << rule->title << '\n';
    }
    tbx::cout.flush();
    return 0;
  }
  const support::Rule* rule = support::findRule(id);
  if (rule == nullptr) {
    tbx::cout << "[cfgcheck]: unknown rule " << visible(id) << "; cfgcheck --explain lists the rules" << tbx::endl;
    return -1;
  }
  tbx::cout << ruleEntry(*rule);
  tbx::cout.flush();
  return 0;
}

}  // namespace driver
