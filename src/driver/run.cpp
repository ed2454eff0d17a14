#include "driver/run.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "driver/content_checks.h"
#include "driver/directory_scan.h"
#include "driver/formats.h"
#include "driver/options.h"
#include "platform/kit_config.h"
#include "platform/plat.h"
#include "platform/tbx.h"
#include "support/report.h"
#include "support/symbols.h"

namespace driver {

namespace {

// Where each of kKnownFileNames is remembered.
KnownFile KnownFiles::* const kKnownSlots[] = {&KnownFiles::framework, &KnownFiles::servicemgr, &KnownFiles::uvk,
                                                &KnownFiles::restart};
static_assert(std::size(kKnownSlots) == std::size(kKnownFileNames));

KnownFile* knownFileFor(const std::string& path, KnownFiles& known) {
  const char* name = knownName(path);
  if (name == nullptr) return nullptr;
  const std::size_t i = std::find(std::begin(kKnownFileNames), std::end(kKnownFileNames), name) - kKnownFileNames;
  return &(known.*kKnownSlots[i]);
}

// Parses one listed file and reports its verdict; false when it failed.
bool parseListed(const std::string& path, const Options& options, KnownFiles& known) {
  support::fileStart(path);
  KnownFile* knownFile = knownFileFor(path, known);
  int rc = 0;
  kit::config::ParseFault fault;
  plat::RealtimeStopWatch watch(false);
  if (knownFile != nullptr) {
    if (!knownFile->path.empty()) knownFile->earlier.push_back({knownFile->path, knownFile->parsed});
    // Parsed once: the document serves the verdict, the content check and the
    // transport report, which keeps values of every process and so needs the
    // framework file whole.
    knownFile->path = path;
    knownFile->parser.reset();  // a later file of a kind replaces an earlier one
    knownFile->top = nullptr;
    using kit::config::JSONParser;
    JSONParser::Lists lists = JSONParser::Batched;
    if (knownFile == &known.framework && options.transport) lists = JSONParser::Whole;
    // These two checks only walk the members of the top-level object.
    if (knownFile == &known.restart || knownFile == &known.uvk) lists = JSONParser::BatchedMembers;
    auto parser = std::make_unique<JSONParser>(lists);
    kit::config::Dictionary* dict = nullptr;
    kit::config::Array* array = nullptr;
    watch.start();
    rc = parser->parseFile(path.c_str(), dict, array, 255);
    watch.stop();
    fault = parser->fault();
    // Its check comes after every file is read: until then the text need not
    // stay in memory beside the others.
    parser->giveBackText();
    knownFile->parser = std::move(parser);
    knownFile->top = dict;
  } else {
    // Nothing looks into other files: their syntax alone counts.
    kit::config::JSONParser parser;
    watch.start();
    rc = parser.checkSyntax(path.c_str(), options.maxLineLength);
    watch.stop();
    fault = parser.fault();
  }
  if (knownFile != nullptr) knownFile->parsed = rc == 0;
  support::fileDone(rc == 0, watch.getElapsedTime(), tbx::ErrorStorage::reason(), fault);
  if (rc == 0) return true;
  tbx::ErrorStorage::ack();
  return false;
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

}  // namespace

const char* knownName(std::string_view path) {
  for (const char* name : kKnownFileNames)
    if (path.find(name) != std::string_view::npos) return name;
  return nullptr;
}

int run(int argc, const char* const* argv) {
  tbx::ErrorStorage errors(tbx::ErrorStorage::action_dump_to_stdout);
  support::resetReport();
  kit::config::setPositionsWanted(false);
  const Options options = readOptions(argc, argv);
  switch (options.ask) {
    case Options::Ask::Help:
      printHelp();
      return 0;
    case Options::Ask::Version:
      tbx::cout << "cfgcheck " << kVersion << tbx::endl;
      return 0;
    case Options::Ask::Explain:
      return explainRule(options.explain);
    case Options::Ask::Usage:
      printUsage();
      return -1;
    case Options::Ask::Check:
      break;
  }
  plat::Plat platform(true, false);
  support::setFormat(options.format);
  // Only the formats that show positions pay for them.
  kit::config::setPositionsWanted(options.format != support::Format::Text);
  // Symbols stand at their names.
  if (support::symbols() != nullptr) kit::config::setPositionsWanted(true);

  std::vector<std::string> files, unreadable;
  const std::size_t inputs = options.fault.empty() ? options.inputs.size() : options.inputsBeforeFault;
  for (std::size_t i = 0; i < inputs; ++i) {
    const Input& input = options.inputs[i];
    if (!input.isDirectory) files.push_back(input.path);
    else if (scanDirectory(input.path.c_str(), files) != 0) unreadable.push_back(input.path);
  }
  if (!options.fault.empty()) {
    for (const std::string& line : options.fault) tbx::cout << line << tbx::endl;
    if (options.usage) printUsage();
    return -1;
  }

  KnownFiles known;
  std::vector<std::string> unparsed;
  for (const std::string& path : files)
    if (!parseListed(path, options, known)) unparsed.push_back(path);
  kit::config::releaseSyntaxRoom();
  bool failed = !unreadable.empty() || !unparsed.empty();
  if (files.empty() && options.strict) failed |= reportNothingChecked();
  const bool twice = reportEarlierOfAKind(known, options);
  if (!failed) failed = runContentChecks(known, options);
  else if (!unreadable.empty() || !unparsed.empty()) noteNoneChecked(known, whyNoneChecked(unreadable, unparsed));
  failed |= twice;
  if (support::SymbolIndex* index = support::symbols()) index->resolve();

  const int status = failed ? 1 : 0;
  support::finish(status);
  return status;
}

}  // namespace driver
