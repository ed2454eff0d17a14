#include "support/report.h"

#include "platform/tbx.h"
#include "driver/formats.h"

namespace support {

namespace {

struct State {
  Format format = Format::Text;
  std::string file;
  driver::Document doc;
};

void (*s_observer)(const Finding&) = nullptr;

State& state() {
  static State s;
  return s;
}

bool gathers(Format f) {
  return f == Format::Json || f == Format::Sarif || f == Format::Junit || f == Format::Gitlab;
}

void writeText(const Finding& f) {
  tbx::ostream& out = f.onStderr ? tbx::cerr : tbx::cout;
  if (!f.aside.empty()) out << f.aside << tbx::endl;
  out << f.mark << f.message << tbx::endl;
  // not flushed: whatever comes next carries it out
  if (!f.trailer.empty()) out << f.trailer << '\n';
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
  State& s = state();
  if (s_observer != nullptr) s_observer(f);
  // The transport report shows its failures in its table in the line formats too.
  if (f.onStderr && s.format != Format::Text && s.format != Format::Json) transportLine(std::string(f.mark) + f.message);
  switch (s.format) {
    case Format::Text:
      writeText(f);
      return;
    case Format::Gnu:
      driver::writeGnu(f);
      return;
    case Format::Github:
      driver::writeGithub(f);
      return;
    default:
      s.doc.findings.push_back(std::move(f));
  }
}

void textLine(std::string_view line) {
  if (state().format == Format::Text) tbx::cout << line << tbx::endl;
}

void fileStart(std::string_view path) {
  State& s = state();
  if (s.format == Format::Text) tbx::cout << "[cfgcheck]: checking file " << path << ' ';
  s.file.assign(path);
}

void fileDone(bool ok, int64_t ms, const char* reason, const kit::config::ParseFault& fault) {
  State& s = state();
  if (s.format == Format::Text) {
    if (ok) {
      tbx::cout << " OK, time=" << ms << "[ms]" << tbx::endl;
    } else {
      tbx::cout << " FAILED" << tbx::endl;
      tbx::cout << "\t\t\t reason = " << reason << tbx::endl;
    }
    return;
  }
  if (gathers(s.format)) s.doc.files.push_back(driver::FileRecord{s.file, ok, ms, reason != nullptr ? reason : "", false});
  if (ok) return;
  Finding f = finding(support::rules::P1, fault.at, "", reason != nullptr ? reason : "");
  if (fault.bracket != 0) f.related.push_back(Related{f.file, fault.open, std::string("the '") + fault.bracket + "' left open"});
  report(std::move(f));
}

void contentStart(std::string_view path) {
  State& s = state();
  if (s.format == Format::Text) tbx::cout << "[cfgcheck]: checking content of file " << path << tbx::endl;
  s.file.assign(path);
  for (driver::FileRecord& r : s.doc.files)
    if (r.path == path) r.content = true;
}

void transportLine(std::string_view line) {
  State& s = state();
  if (s.format == Format::Json) s.doc.transport = true;
  else if (s.format == Format::Text) tbx::cerr << line << tbx::endl;
  else tbx::cerr << driver::inert(driver::visible(line)) << tbx::endl;
}

bool wantsTransportEntries() { return state().format == Format::Json; }

void transportEntry(TransportEntry&& entry) {
  driver::Document& doc = state().doc;
  (entry.spawn ? doc.spawn : doc.single).push_back(std::move(entry));
}

void finish(int status) {
  State& s = state();
  const char* summary = status == 0 ? "[cfgcheck] OK" : "[cfgcheck] with ERRORS";
  s.doc.status = status;
  switch (s.format) {
    case Format::Json:
      driver::writeJson(s.doc, summary);
      break;
    case Format::Sarif:
      driver::writeSarif(s.doc);
      break;
    case Format::Junit:
      driver::writeJunit(s.doc);
      break;
    case Format::Gitlab:
      driver::writeGitlab(s.doc);
      break;
    default:
      tbx::cout << summary << tbx::endl;
  }
}

void resetReport() { state() = State{}; }

}  // namespace support
