// JUnit XML, as Jenkins' schema has it: a test suite per listed file, with a
// test case for its parse and, for a known file, one for its content, which
// fails with a <failure> per finding or is skipped with why it was not
// checked. Findings about no file (the run) or about a directory make the
// program's own suite. Information is no test result.
#include <map>

#include "driver/formats.h"
#include "driver/run.h"
#include "platform/tbx.h"

namespace driver {

namespace {

using support::Finding;

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

std::string place(const std::string& file, support::Location at) {
  if (at.line == 0) return file;
  return file + ':' + std::to_string(at.line) + ':' + std::to_string(at.column);
}

struct Suite {
  std::string name;
  int64_t ms = 0;
  std::string cases;
  uint32_t tests = 0;
  uint32_t failures = 0;
  uint32_t skipped = 0;
};

// A test case that passed, failed with one <failure> per finding, or was
// skipped for `skip`.
void addCase(Suite& s, std::string_view name, const std::vector<const Finding*>& failures, std::string_view skip = {}) {
  ++s.tests;
  s.cases += "    <testcase classname=\"" + xml(s.name) + "\" name=\"" + xml(name) + "\"";
  if (failures.empty() && skip.empty()) {
    s.cases += "/>\n";
    return;
  }
  s.cases += ">\n";
  if (failures.empty()) {
    ++s.skipped;
    s.cases += "      <skipped message=\"" + xml(skip) + "\"/>\n";
  } else {
    ++s.failures;
  }
  for (const Finding* f : failures) {
    // The text reads as the gnu lines do: the finding, then its related places.
    const std::string message = fullMessage(*f);
    std::string text = xml(place(f->file, f->at) + ": " + message + " [" + std::string(f->rule) + "]");
    for (const support::Related& r : f->related) text += '\n' + xml(place(r.file, r.at) + ": " + r.message);
    s.cases += "      <failure message=\"" + xml(message) + "\" type=\"" + xml(f->rule) + "\">" + text + "</failure>\n";
  }
  s.cases += "    </testcase>\n";
}

// What the findings say of one listed path.
struct Verdicts {
  std::vector<const Finding*> parse;    // P1, one per failed listing
  std::vector<const Finding*> content;  // every other error
  std::string unchecked;                // the note of why its content was not checked
  bool parsed = false;
  bool checked = false;
};

}  // namespace

void writeJunit(const Document& doc) {
  std::vector<Suite> suites;
  std::vector<Verdicts> verdicts;
  std::map<std::string, std::size_t, std::less<>> byPath;
  for (const FileRecord& f : doc.files) {
    auto [it, added] = byPath.try_emplace(f.path, suites.size());
    if (added) {
      suites.push_back(Suite{f.path, 0, {}, 0, 0, 0});
      verdicts.emplace_back();
    }
    suites[it->second].ms = f.ms;
    verdicts[it->second].parsed |= f.parsed;
    verdicts[it->second].checked |= f.content;
  }
  Suite program{"cfgcheck", 0, {}, 0, 0, 0};
  for (const Finding& f : doc.findings) {
    const bool error = f.severity == support::Severity::Error;
    // A directory may share its path with a listed file (--dir x.json --file x.json).
    auto it = f.rule == support::rules::D1.id ? byPath.end() : byPath.find(f.file);
    if (it == byPath.end()) {
      if (error) addCase(program, f.file.empty() ? std::string("run") : "directory " + f.file, {&f});
      continue;
    }
    Verdicts& v = verdicts[it->second];
    if (f.rule == support::rules::P1.id) v.parse.push_back(&f);
    else if (error) v.content.push_back(&f);
    else if (f.rule == support::rules::P2.id && v.unchecked.empty()) v.unchecked = fullMessage(f);
  }
  std::vector<std::size_t> parseFailures(suites.size());
  for (const FileRecord& f : doc.files) {
    const std::size_t i = byPath.find(f.path)->second;
    const Verdicts& v = verdicts[i];
    std::vector<const Finding*> failure;
    if (!f.parsed && parseFailures[i] < v.parse.size()) failure.push_back(v.parse[parseFailures[i]++]);
    addCase(suites[i], "parse", failure);
  }
  for (std::size_t i = 0; i < suites.size(); ++i) {
    const Verdicts& v = verdicts[i];
    if (knownName(suites[i].name) == nullptr && v.content.empty()) continue;
    std::string skip;
    if (v.content.empty() && !v.checked) {
      skip = !v.unchecked.empty() ? v.unchecked : !v.parsed ? "content not checked: it does not parse" : "content not checked";
    }
    addCase(suites[i], "content", v.content, skip);
  }
  if (program.tests != 0) suites.push_back(std::move(program));

  uint32_t tests = 0, failures = 0;
  for (const Suite& s : suites) {
    tests += s.tests;
    failures += s.failures;
  }
  // Jenkins' schema has no count of skipped cases for the whole, only per suite.
  tbx::cout << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  tbx::cout << "<testsuites name=\"cfgcheck\" tests=\"" << tests << "\" failures=\"" << failures << "\" errors=\"0\">\n";
  for (const Suite& s : suites) {
    tbx::cout << "  <testsuite name=\"" << xml(s.name) << "\" tests=\"" << s.tests << "\" failures=\"" << s.failures
              << "\" errors=\"0\" skipped=\"" << s.skipped << "\" time=\"" << seconds(s.ms) << "\">\n"
              << s.cases << "  </testsuite>\n";
  }
  tbx::cout << "</testsuites>" << tbx::endl;
}

}  // namespace driver
