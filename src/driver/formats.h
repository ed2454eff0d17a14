// The writers of the formats other than plain text, and what the document
// formats gather before they are written at the end of the run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "support/report.h"

namespace engine {
struct FileVerdict;
}

namespace driver {

struct FileRecord {
  std::string path;
  bool parsed;
  int64_t ms;
  std::string reason;
  bool content;  // its content was checked
};

struct Document {
  std::vector<FileRecord> files;
  std::vector<support::Finding> findings;
  bool transport = false;  // the transport report ran
  std::vector<support::TransportEntry> spawn, single;
  int status = 0;
};

extern const std::string_view kRulesText;  // docs/rules.md
extern const char* const kVersion;

// The rule's entry of docs/rules.md, from its heading to the next heading.
std::string_view ruleEntry(const support::Rule& rule);
// The entry's first paragraph of explanation, or the title when it has none.
std::string ruleSummary(const support::Rule& rule);
// The entry without Markdown: code blocks indented, headings and bold marks dropped.
std::string plainEntry(std::string_view entry);
// Where the rule's entry can be read: the installed docs/rules.md and the
// anchor a Markdown viewer gives its heading.
std::string ruleHelpUri(const support::Rule& rule);
// --explain: the entry of `id`, or every ID and title when `id` is null.
int explainRule(const char* id);

// Stays the same when lines move: the rule, the file and the names the finding
// is about, then ":N" for the Nth finding with these three in the run.
using FingerprintCounts = std::unordered_map<std::string, unsigned>;
std::string fingerprint(const support::Finding& f, FingerprintCounts& seen);

// Text from the files in a form that cannot break a line or reach a terminal
// as a control character: C0, DEL and C1 controls become \xNN or \u00NN.
std::string visible(std::string_view text);
// A line of `visible` text that no CI runner takes for a workflow command:
// a leading "::" and any "##[" lose their meaning (\x3a, \x5b).
std::string inert(std::string line);
// The message with the text form's line of its own, when it has one.
std::string fullMessage(const support::Finding& f);

void writeTextFileStart(std::string_view path);
void writeTextVerdict(const engine::FileVerdict& v);
void writeTextContentStart(std::string_view path);
void writeText(const support::Finding& f);
void writeTextLine(std::string_view line);
void writeTextTransportLine(std::string_view line);
void writeGnu(const support::Finding& f);
void writeGithub(const support::Finding& f);
void writeJson(const Document& doc, const char* summary);
void writeSarif(const Document& doc);
void writeJunit(const Document& doc);
void writeGitlab(const Document& doc);

}  // namespace driver
