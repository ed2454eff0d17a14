#include "support/report.h"

#include "engine/check.h"

namespace support {

namespace {

void (*s_observer)(const Finding&) = nullptr;

ReportState& state() { return ReportScope::current(); }

template <class Event, class... Args>
void emit(Event engine::Sink::*event, Args&&... args) {
  const engine::Sink* sink = state().sink;
  if (sink != nullptr && sink->*event) (sink->*event)(std::forward<Args>(args)...);
}

}  // namespace

bool parseFormat(std::string_view name, Format& out) {
  static constexpr std::pair<std::string_view, Format> kNames[] = {
      {"text", Format::Text}, {"gnu", Format::Gnu},       {"json", Format::Json},
      {"sarif", Format::Sarif}, {"github", Format::Github}, {"junit", Format::Junit},
      {"gitlab", Format::Gitlab},
  };
  for (const auto& [known, f] : kNames) {
    if (known == name) {
      out = f;
      return true;
    }
  }
  return false;
}

void setFormat(Format format) { state().format = format; }
Format format() { return state().format; }

void setFile(std::string_view path) { state().file.assign(path); }
const std::string& currentFile() { return state().file; }

void observeFindings(void (*observer)(const Finding&)) { s_observer = observer; }

void report(Finding&& f) {
  if (s_observer != nullptr) s_observer(f);
  emit(&engine::Sink::finding, std::move(f));
}

void textLine(std::string_view line) { emit(&engine::Sink::textLine, line); }

void fileStart(std::string_view path) {
  state().file.assign(path);
  emit(&engine::Sink::fileStart, path);
}

void fileDone(bool ok, int64_t ms, const char* reason, const kit::config::ParseFault& fault) {
  ReportState& s = state();
  const std::string_view why = ok || reason == nullptr ? std::string_view() : std::string_view(reason);
  emit(&engine::Sink::fileDone, engine::FileVerdict{s.file, ok, ms, why, fault});
  // The text form says it in the verdict's own line.
  if (ok || s.format == Format::Text) return;
  Finding f = finding(support::rules::P1, fault.at, "", why);
  if (fault.bracket != 0) f.related.push_back(Related{f.file, fault.open, std::string("the '") + fault.bracket + "' left open"});
  report(std::move(f));
}

void contentStart(std::string_view path) {
  state().file.assign(path);
  emit(&engine::Sink::contentStart, path);
}

void transportLine(std::string_view line) { emit(&engine::Sink::transportLine, line); }

bool wantsSuggestions() {
  constexpr std::size_t kBudget = 10'000'000;  // candidates: about a second
  const ReportState& s = state();
  return s.format != Format::Text && s.format != Format::Junit && s.suggestionCandidates < kBudget;
}

std::size_t& suggestionCandidates() { return state().suggestionCandidates; }

bool wantsTransportEntries() { return state().format == Format::Json; }

void transportEntry(TransportEntry&& entry) { emit(&engine::Sink::transportEntry, std::move(entry)); }

}  // namespace support
