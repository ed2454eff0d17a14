// JUnit XML: a test suite per file, a test case for its parse, one for its
// content check and one failing test case per finding, so that the counts
// add up in every reader.
#include <map>

#include "driver/formats.h"
#include "platform/tbx.h"

namespace driver {

namespace {

std::string xml(std::string_view text) {
  std::string out;
  for (char c : visible(text)) {
    // "##[" would be a workflow command to a CI runner
    if (c == '[' && out.ends_with("##")) {
      out += "&#91;";
      continue;
    }
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string seconds(int64_t ms) {
  return std::to_string(ms / 1000) + '.' + std::string(ms % 1000 < 100 ? (ms % 1000 < 10 ? "00" : "0") : "") +
         std::to_string(ms % 1000);
}

struct Suite {
  std::string path;
  int64_t ms = 0;
  std::string cases;
  uint32_t tests = 0;
  uint32_t failures = 0;
};

void addCase(Suite& s, std::string_view name, const support::Finding* failure) {
  ++s.tests;
  s.cases += "    <testcase classname=\"" + xml(s.path) + "\" name=\"" + xml(name) + "\"";
  if (failure == nullptr) {
    s.cases += "/>\n";
    return;
  }
  ++s.failures;
  std::string message = fullMessage(*failure);
  std::string place = s.path;
  if (failure->at.line != 0) place += ':' + std::to_string(failure->at.line) + ':' + std::to_string(failure->at.column);
  s.cases += ">\n      <failure message=\"" + xml(message) + "\" type=\"" + xml(failure->rule) + "\">" +
             xml(place + ": " + message + " [" + std::string(failure->rule) + "]") + "</failure>\n    </testcase>\n";
}

std::string caseName(const support::Finding& f) {
  std::string name(f.rule);
  if (f.at.line != 0) name += " at line " + std::to_string(f.at.line) + ", column " + std::to_string(f.at.column);
  return name;
}

}  // namespace

void writeJunit(const Document& doc) {
  std::vector<Suite> suites;
  std::map<std::string, std::size_t, std::less<>> byPath;
  auto suiteOf = [&](const std::string& path) -> Suite& {
    auto [it, added] = byPath.try_emplace(path, suites.size());
    // A finding about the run as a whole gets the program's suite.
    if (added) suites.push_back(Suite{path.empty() ? std::string("cfgcheck") : path, 0, {}, 0, 0});
    return suites[it->second];
  };
  for (const FileRecord& f : doc.files) suiteOf(f.path).ms = f.ms;
  // Findings are errors only; information is no test result.
  for (const FileRecord& f : doc.files) {
    Suite& s = suiteOf(f.path);
    const support::Finding* parse = nullptr;
    for (const support::Finding& finding : doc.findings)
      if (finding.rule == "P1" && finding.file == f.path) parse = &finding;
    addCase(s, "parse", parse);
    if (!f.content) continue;
    bool clean = true;
    for (const support::Finding& finding : doc.findings)
      if (finding.file == f.path && finding.rule != "P1" && finding.severity == support::Severity::Error) clean = false;
    if (clean) addCase(s, "content", nullptr);
  }
  for (const support::Finding& finding : doc.findings) {
    if (finding.rule == "P1" || finding.severity != support::Severity::Error) continue;
    addCase(suiteOf(finding.file), caseName(finding), &finding);
  }
  uint32_t tests = 0, failures = 0;
  for (const Suite& s : suites) {
    tests += s.tests;
    failures += s.failures;
  }
  tbx::cout << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  tbx::cout << "<testsuites name=\"cfgcheck\" tests=\"" << tests << "\" failures=\"" << failures << "\" errors=\"0\">\n";
  for (const Suite& s : suites) {
    tbx::cout << "  <testsuite name=\"" << xml(s.path) << "\" tests=\"" << s.tests << "\" failures=\"" << s.failures
              << "\" errors=\"0\" skipped=\"0\" time=\"" << seconds(s.ms) << "\">\n"
              << s.cases << "  </testsuite>\n";
  }
  tbx::cout << "</testsuites>" << tbx::endl;
}

}  // namespace driver
