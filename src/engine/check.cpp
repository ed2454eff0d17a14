#include "engine/check.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "engine/transport_report.h"
#include "framework/check_fw_config.h"
#include "framework/fw_state.h"
#include "platform/kit_transport.h"
#include "platform/plat.h"
#include "platform/tbx.h"
#include "servicemgr/check_sm_config.h"
#include "servicemgr/check_sm_restart_config.h"
#include "support/repeated_keys.h"
#include "support/report.h"
#include "uvk/check_uvk_startup.h"

namespace engine {

namespace {

// Everything one call keeps, installed for its duration.
struct RunState {
  support::ReportState report;
  framework::FwState framework;
  kit::config::ValueSettings values;
  kit::transport::TransportState transport;
};

struct Installed {
  support::ReportScope report;
  framework::FwScope framework;
  kit::config::ValueScope values;
  kit::transport::TransportScope transport;
  explicit Installed(RunState& s) : report(s.report), framework(s.framework), values(s.values), transport(s.transport) {}
};

// A known file of the run, parsed once by the file loop. An empty path means
// no file of that kind was given.
struct KnownFile {
  std::string path;
  std::size_t source = 0;
  bool parsed = false;
  // Files of this kind listed before it: only the last one of a kind is checked.
  struct Earlier {
    std::string path;
    bool parsed;
  };
  std::vector<Earlier> earlier;
  std::unique_ptr<kit::config::JSONParser> parser;  // owns the document
  const kit::config::Dictionary* top = nullptr;     // null: no top-level object
  const kit::config::Value& root() const { return parser->root(); }
};

struct KnownFiles {
  KnownFile framework;
  KnownFile servicemgr;
  KnownFile restart;
  KnownFile uvk;
};

struct Run {
  const Sources& sources;
  const Options& options;
  KnownFiles known;

  // Its text is not read before the content checks: its pages may go.
  void giveBack(const KnownFile& file) const {
    file.parser->giveBackText();
    if (sources.release) sources.release(file.source, false);
  }
  void done(std::size_t i) const {
    if (sources.release) sources.release(i, true);
  }
};

// Where each of kKnownFileNames is remembered.
KnownFile KnownFiles::* const kKnownSlots[] = {&KnownFiles::framework, &KnownFiles::servicemgr, &KnownFiles::uvk,
                                                &KnownFiles::restart};
static_assert(std::size(kKnownSlots) == std::size(kKnownFileNames));

KnownFile* knownFileFor(std::string_view path, KnownFiles& known) {
  for (std::size_t i = 0; i < std::size(kKnownFileNames); ++i)
    if (path.find(kKnownFileNames[i]) != std::string_view::npos) return &(known.*kKnownSlots[i]);
  return nullptr;
}

// Parses one source and reports its verdict; a failed one joins `unparsed`.
void parseListed(Run& run, std::size_t i, std::vector<std::string>& unparsed) {
  const Source source = run.sources.open(i);
  const std::string path(source.path);
  support::fileStart(path);
  KnownFile* knownFile = knownFileFor(path, run.known);
  int rc = 0;
  kit::config::ParseFault fault;
  plat::RealtimeStopWatch watch(false);
  if (knownFile != nullptr) {
    if (!knownFile->path.empty()) {
      knownFile->earlier.push_back({knownFile->path, knownFile->parsed});
      knownFile->parser.reset();  // a later file of a kind replaces an earlier one
      run.done(knownFile->source);
    }
    knownFile->path = path;
    knownFile->source = i;
    knownFile->top = nullptr;
  }
  if (!source.unreadable.empty()) {
    tbx::ErrorStorage::record(source.unreadable);
    rc = 1;
  } else if (knownFile != nullptr) {
    // Parsed once: the document serves the verdict, the content check and the
    // transport report, which keeps values of every process and so needs the
    // framework file whole.
    using kit::config::JSONParser;
    JSONParser::Lists lists = JSONParser::Batched;
    if (knownFile == &run.known.framework && run.options.transport) lists = JSONParser::Whole;
    // These two checks only walk the members of the top-level object.
    if (knownFile == &run.known.restart || knownFile == &run.known.uvk) lists = JSONParser::BatchedMembers;
    auto parser = std::make_unique<JSONParser>(lists);
    kit::config::Dictionary* dict = nullptr;
    kit::config::Array* array = nullptr;
    watch.start();
    rc = parser->parseText(source.text, source.padded, dict, array, 255);
    watch.stop();
    fault = parser->fault();
    knownFile->parser = std::move(parser);
    knownFile->top = dict;
    // Its check comes after every file is read: until then the text need not
    // stay in memory beside the others.
    run.giveBack(*knownFile);
  } else {
    // Nothing looks into other files: their syntax alone counts.
    kit::config::JSONParser parser;
    watch.start();
    rc = parser.checkTextSyntax(source.text, source.padded, run.options.maxLineLength);
    watch.stop();
    fault = parser.fault();
    run.done(i);
  }
  if (knownFile != nullptr) knownFile->parsed = rc == 0;
  support::fileDone(rc == 0, watch.getElapsedTime(), tbx::ErrorStorage::reason(), fault);
  if (rc == 0) return;
  tbx::ErrorStorage::ack();
  unparsed.push_back(path);
}

// Every format but text says of a known file whose content goes unchecked
// why (P2), at its start: the text form has always kept quiet about it.
void noteUnchecked(const std::string& path, std::string_view why) {
  if (support::format() == support::Format::Text) return;
  support::setFile(path);
  support::info(support::rules::P2, kit::config::Location{1, 1}, "[cfgcheck]: ", "content not checked: ", why);
}

// No content is checked, as a file did not parse or a directory could not be
// read: each known file that parsed is noted with `why`.
void noteNoneChecked(const KnownFiles& files, std::string_view why) {
  for (const KnownFile* file : {&files.framework, &files.servicemgr, &files.restart, &files.uvk})
    if (file->parsed) noteUnchecked(file->path, why);
}

// With --strict: the run checked no file at all. Returns true, an error.
bool reportNothingChecked() {
  support::setFile("");
  support::error(support::rules::K2, kit::config::Location{}, "[cfgcheck]: ", "no file was checked");
  return true;
}

// A known file listed again replaces the earlier one, whose content goes
// unchecked; with --strict that is an error, at the start of the file checked.
bool reportEarlierOfAKind(const KnownFiles& known, const Options& options) {
  bool found = false;
  for (size_t i = 0; i < std::size(kKnownSlots); ++i) {
    const KnownFile& file = known.*kKnownSlots[i];
    for (const KnownFile::Earlier& earlier : file.earlier) {
      if (earlier.path == file.path) continue;  // one file given twice is checked all the same
      if (options.strict) {
        support::setFile(file.path);
        support::error(support::rules::K4, kit::config::Location{1, 1}, "[cfgcheck]: ", "two ", kKnownFileNames[i],
                       " files: ", earlier.path, " and ", file.path, "; only ", file.path, " is checked");
        found = true;
      }
      if (earlier.parsed) noteUnchecked(earlier.path, file.path + " takes its place");
    }
  }
  return found;
}

// The first directory that could not be read, else the first file that did
// not parse, and how many more there are.
std::string whyNoneChecked(const std::vector<std::string>& unreadable, const std::vector<std::string>& unparsed) {
  const bool directories = !unreadable.empty();
  const std::vector<std::string>& names = directories ? unreadable : unparsed;
  std::string why = (directories ? "directory " : "") + names.front();
  const std::size_t others = names.size() - 1;
  if (others == 0) return why + (directories ? " cannot be read" : " does not parse");
  why += " and " + std::to_string(others) + " other ";
  if (directories) return why + (others == 1 ? "directory" : "directories") + " cannot be read";
  return why + (others == 1 ? "file" : "files") + " do not parse";
}

// With --strict, keys written twice in the file's objects are errors.
bool repeatedKeys(const KnownFile& file, const Options& options) {
  if (!options.strict || file.top == nullptr) return false;
  bool found = false;
  support::findRepeatedKeys(*file.top, [&](const support::RepeatedKey& r) {
    support::duplicate(support::rules::K1, r.again, r.first, support::kAsk, "KEYS: '", r.key, "' is written twice in ",
                       r.object.empty() ? std::string("the top level") : r.object, ", only the first is read");
    found = true;
  });
  return found;
}

// Checks one known file's content: `check` gives its result, kept in
// `checkErrors` when asked for.
template <class Check>
bool checked(const Run& run, const KnownFile& file, Check check, bool* checkErrors = nullptr) {
  support::contentStart(file.path);
  const bool errors = check() != 0;
  if (checkErrors != nullptr) *checkErrors = errors;
  const bool repeated = repeatedKeys(file, run.options);
  run.giveBack(file);  // the next checks need their own files
  return repeated || errors;
}

// With --strict, a known file whose content the run cannot check is an error.
bool unchecked(const KnownFile& file, const Options& options, const char* needs) {
  if (!options.strict) {
    noteUnchecked(file.path, std::string("it needs ") + needs);
    return false;
  }
  support::setFile(file.path);
  support::error(support::rules::K3, kit::config::kTextStart, "[cfgcheck]: ", "content of file ", file.path,
                 " not checked: it needs ", needs);
  return true;
}

// In a partial run, why a file that needs `needed` (each with its name)
// goes unchecked: "a does not parse", "a and b do not parse"; empty when
// all that were given parsed.
std::string unparsedNeeds(const Run& run, std::initializer_list<std::pair<const KnownFile*, const char*>> needed) {
  std::string names;
  int count = 0;
  if (run.options.partial)
    for (const auto& [file, name] : needed)
      if (!file->path.empty() && !file->parsed) names += (count++ == 0 ? "" : " and ") + std::string(name);
  if (count == 0) return names;
  return names + (count == 1 ? " does not parse" : " do not parse");
}

// Checks the content of the known files in their fixed order and prints the
// transport report when asked. True when anything was reported as an error.
bool runContentChecks(const Run& run) {
  const Options& options = run.options;
  // The framework file goes first: it declares the names the others refer to.
  const KnownFile& fw = run.known.framework;
  const KnownFile& sm = run.known.servicemgr;
  const KnownFile& restart = run.known.restart;
  const KnownFile& uvk = run.known.uvk;
  // Only a partial run comes here with files that do not parse: those are
  // not checked, and neither are the files that need them.
  const bool hasFw = !fw.path.empty() && fw.parsed, hasSm = !sm.path.empty() && sm.parsed;
  auto given = [](const KnownFile& file) { return !file.path.empty() && file.parsed; };
  bool errors = false;
  if (hasFw)
    errors |= checked(run, fw, [&] { return framework::checkFWConfig(fw.path.c_str(), fw.root(), options.verbose); });
  const std::string fwFails = unparsedNeeds(run, {{&fw, "framework.json"}});
  if (given(sm)) {
    if (hasFw) errors |= checked(run, sm, [&] { return servicemgr::checkSMconfig(sm.path.c_str(), sm.root()); });
    else if (!fwFails.empty()) noteUnchecked(sm.path, fwFails);
    else errors |= unchecked(sm, options, "framework.json");
  }
  if (given(restart)) {
    if (hasFw) {
      errors |= checked(run, restart,
                        [&] { return servicemgr::checkSMRestartconfig(restart.path.c_str(), restart.root()); });
    } else if (!fwFails.empty()) {
      noteUnchecked(restart.path, fwFails);
    } else {
      errors |= unchecked(restart, options, "framework.json");
    }
  }
  bool uvkFindings = false;
  if (given(uvk)) {
    const std::string fails = unparsedNeeds(run, {{&fw, "framework.json"}, {&sm, "servicemgr.json"}});
    if (hasFw && hasSm) {
      errors |= checked(run, uvk, [&] { return uvk::checkUVKStartup(uvk.path.c_str(), uvk.root()); }, &uvkFindings);
    } else if (!fails.empty()) {
      noteUnchecked(uvk.path, fails);
    } else {
      errors |= unchecked(uvk, options, hasFw ? "servicemgr.json" : hasSm ? "framework.json" : "framework.json and servicemgr.json");
    }
  }
  // The transport report does not follow findings of the UVK startup check.
  if (options.transport && hasFw && !uvkFindings) {
    support::setFile(fw.path);  // the report's failures stand at process entries
    errors |= transportReport(fw.top) != 0;
  }
  return errors;
}

}  // namespace

const char* knownName(std::string_view path) {
  for (const char* name : kKnownFileNames)
    if (path.find(name) != std::string_view::npos) return name;
  return nullptr;
}

int check(const Sources& sources, const Options& options, const Sink& sink) {
  RunState state;
  state.report.format = options.format;
  state.report.sink = &sink;
  // Only the formats that show positions pay for them.
  state.values.positionsWanted = options.format != support::Format::Text || options.symbols != nullptr;
  const Installed installed(state);
  const support::SymbolScope symbols(options.symbols);
  tbx::ErrorStorage::ack();  // nothing pending from the caller's own work

  Run run{sources, options, {}};
  std::vector<std::string> unparsed;
  for (std::size_t i = 0; i < sources.count; ++i) parseListed(run, i, unparsed);
  kit::config::releaseSyntaxRoom();
  const std::vector<std::string>& unreadable = options.unreadableDirectories;
  bool failed = !unreadable.empty() || !unparsed.empty();
  if (sources.count == 0 && options.strict) failed |= reportNothingChecked();
  const bool twice = reportEarlierOfAKind(run.known, options);
  if (!failed || options.partial) failed |= runContentChecks(run);
  else if (!unreadable.empty() || !unparsed.empty()) noteNoneChecked(run.known, whyNoneChecked(unreadable, unparsed));
  failed |= twice;
  if (options.symbols != nullptr) options.symbols->resolve();
  tbx::ErrorStorage::ack();
  return failed ? 1 : 0;
}

int check(std::span<const Source> sources, const Options& options, const Sink& sink) {
  Sources given;
  given.count = sources.size();
  given.open = [sources](std::size_t i) { return sources[i]; };
  return check(given, options, sink);
}

}  // namespace engine
