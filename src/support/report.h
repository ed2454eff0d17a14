// The one way a finding leaves the checks. A check states the rule, where
// the finding stands and its text; it goes to the sink of the run in
// progress, and the chosen format decides how it is shown.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kit_config.h"
#include "platform/run_scope.h"
#include "support/name_set.h"
#include "support/rules.h"
#include "support/suggest.h"

namespace engine {
struct Sink;
}

namespace support {

using kit::config::Location;

enum class Format : uint8_t { Text, Gnu, Json, Sarif, Github, Junit, Gitlab };

struct Related {
  std::string file;
  Location at;
  std::string message;
};

// What the finding's token (a string, quotes and all) may be replaced with:
// `text` is the name, written as a JSON string in its place.
struct Suggestion {
  std::string text;
  Location at;
};

struct Finding {
  std::string_view rule;  // the ID of a rule of rules.h
  Severity severity = Severity::Error;
  std::string file;
  Location at;
  // What the text form writes before the message ("  ?  ", "?", "[checkFWConfig]: "); read
  // only while the finding is reported.
  std::string_view mark;
  std::string message;
  // Lines of their own in the text form, before and after the finding; the
  // other forms append them to the message.
  std::string aside;
  std::string trailer;
  bool onStderr = false;  // the text form writes it to standard error (transport report)
  std::vector<Related> related;
  std::vector<Suggestion> suggestions;
};

// Text marks shared by many checks.
inline constexpr std::string_view kAsk = "  ?  ";
inline constexpr std::string_view kInfo = "!  ";

// False for a name that is no format.
bool parseFormat(std::string_view name, Format& out);

// The reporter's part of a run: where its findings go.
struct ReportState {
  Format format = Format::Text;
  std::string file;
  const engine::Sink* sink = nullptr;  // null: findings go nowhere
  std::size_t suggestionCandidates = 0;
};
using ReportScope = platform::RunScope<ReportState>;

// Set once per run before any file is read.
void setFormat(Format format);
Format format();

// The file whose content the findings are about.
void setFile(std::string_view path);
const std::string& currentFile();

void report(Finding&& finding);

inline void append(std::string& out, std::string_view text) { out.append(text); }
inline void append(std::string& out, const char* text) { out.append(text); }
inline void append(std::string& out, const std::string& text) { out.append(text); }
inline void append(std::string& out, char c) { out.push_back(c); }
inline void append(std::string& out, int32_t value) { out.append(std::to_string(value)); }
inline void append(std::string& out, uint32_t value) { out.append(std::to_string(value)); }

// A place given by its line and column alone (the start of a file) is the
// one character there.
inline Location spanned(Location at) {
  if (at.line == 0 || at.endColumn != 0) return at;
  if (at.display == 0) at.display = at.column;
  if (at.utf16 == 0) at.utf16 = at.column;
  at.endColumn = at.column + 1;
  at.endDisplay = at.display + 1;
  at.endUtf16 = at.utf16 + 1;
  return at;
}

template <typename... Parts>
Finding finding(const Rule& rule, Location at, std::string_view mark, const Parts&... parts) {
  Finding f;
  f.rule = rule.id;
  f.severity = rule.severity;
  f.file = currentFile();
  f.at = spanned(at);
  f.mark = mark;
  (append(f.message, parts), ...);
  return f;
}

template <typename... Parts>
void error(const Rule& rule, Location at, std::string_view mark, const Parts&... parts) {
  report(finding(rule, at, mark, parts...));
}

// Information: what --verbose shows as sound.
template <typename... Parts>
void info(const Rule& rule, Location at, std::string_view mark, const Parts&... parts) {
  report(finding(rule, at, mark, parts...));
}

// Whether the format shows suggestions (the others spend no time on them)
// and the run has not spent its budget: a system with thousands of names and
// thousands of findings about them would take minutes to suggest for all.
bool wantsSuggestions();
// The candidates offered so far in the run.
std::size_t& suggestionCandidates();

// A finding about the misspelt `word`, the token at `at`: the candidate that
// `each(offer)` offers and that it most likely meant, if any, is suggested.
template <class Each, typename... Parts>
void misspelt(const Rule& rule, Location at, std::string_view word, const Each& each, std::string_view mark,
              const Parts&... parts) {
  Finding f = finding(rule, at, mark, parts...);
  if (wantsSuggestions())
    if (std::string best = nearest(word, each, suggestionCandidates()); !best.empty()) f.suggestions.push_back(Suggestion{std::move(best), f.at});
  report(std::move(f));
}

// Offers each of a fixed list of names.
inline auto among(std::initializer_list<std::string_view> names) {
  return [names](const auto& offer) {
    for (std::string_view name : names) offer(name);
  };
}

// A name or value defined again at `at`; `first` is where it was defined first.
template <typename... Parts>
void duplicate(const Rule& rule, Location at, Location first, std::string_view mark, const Parts&... parts) {
  Finding f = finding(rule, at, mark, parts...);
  if (first.line != 0) f.related.push_back(Related{f.file, spanned(first), "first defined here"});
  report(std::move(f));
}

// Where `value` stands, or `owner` when there is no such value.
inline Location locateOr(const kit::config::Value& value, const kit::config::Value& owner) {
  return kit::config::locate(value.isPresent() ? value : owner);
}

// A line only the text form shows (the section headings of --verbose).
void textLine(std::string_view line);

// --- The engine's part -------------------------------------------------

// One listed file's parse: `fileStart` before it, `fileDone` after, with the
// place of the fault when it failed.
void fileStart(std::string_view path);
void fileDone(bool ok, int64_t ms, const char* reason, const kit::config::ParseFault& fault);
// The content check of a known file begins.
void contentStart(std::string_view path);
// A line of the transport report (standard error in the text form).
void transportLine(std::string_view line);

// The transport report as data, for the json document: the connections a
// process is spawned with, or the connection from one process to another.
struct Connection {
  enum Type : uint8_t { Undefined, TcpIp, Resman };
  Type type = Undefined;
  std::string address;  // the path of a resource-manager connection
  uint32_t port = 0;
};
struct TransportEntry {
  bool spawn = false;
  std::string node, from, to;  // spawn: the process's node and name (`from`)
  bool failed = false;
  std::string reason;
  std::vector<Connection> connections;
};
// Whether transport entries are wanted (only the json document shows them).
bool wantsTransportEntries();
void transportEntry(TransportEntry&& entry);

// Test hook: `observer` sees every finding as it is reported (null: none).
void observeFindings(void (*observer)(const Finding&));

}  // namespace support
