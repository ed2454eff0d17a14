// The checks as a function: given the texts of a run, it parses each one,
// checks the content of the known files and hands every verdict, finding and
// line to a sink, in order. It reads no file, writes to no stream and keeps
// nothing from one call to the next, so that one process may call it again
// and again (the command line once, an editor's server on every edit).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kit_config.h"
#include "support/report.h"
#include "support/symbols.h"

namespace engine {

// The four known files, in the order a path is tested for their names: a path
// that holds two of them is the first one only.
inline constexpr const char* kKnownFileNames[] = {"framework.json", "servicemgr.json", "uvkstartup.json",
                                                  "servicemgr_restart.json"};

// The known name `path` contains (the first of kKnownFileNames that it
// does), or null for a file that is no known file.
const char* knownName(std::string_view path);

// One file of the run: its path and its bytes, owned by the caller.
struct Source {
  std::string_view path;
  std::string_view text;
  // The caller's buffer has simdjson::SIMDJSON_PADDING zeros after the text and
  // may be written to while the call lasts (it is left as it was): the text
  // is parsed where it stands. Otherwise the engine works on a copy.
  bool padded = false;
  // Not empty: the text could not be had, and this is why (the file fails).
  std::string unreadable;
};

// The sources handed out one at a time, so that the caller need hold only
// the texts still in use.
struct Sources {
  std::size_t count = 0;
  std::function<Source(std::size_t)> open;  // asked once per source, in order
  // The text of source i will not be read again (`done`), or not before the
  // content checks (its pages may go for now). May be empty.
  std::function<void(std::size_t i, bool done)> release;
};

struct Options {
  support::Format format = support::Format::Text;
  uint32_t maxLineLength = 5000;
  bool transport = false;
  bool verbose = false;
  bool strict = false;
  // Directories of the run that could not be read: no content is checked.
  std::vector<std::string> unreadableDirectories;
  // Check what can be checked (an editor's server): a known file that does
  // not parse leaves the others checked, and only the files that need it go
  // unchecked, each with a note naming it. The command line checks no
  // content once a file fails.
  bool partial = false;
  // Not null: where every process, application and node is declared and
  // used, filled and resolved by the run (positions are then computed).
  support::SymbolIndex* symbols = nullptr;
};

// A source's parse.
struct FileVerdict {
  std::string_view path;
  bool ok = false;
  int64_t ms = 0;
  std::string_view reason;  // empty when it parsed
  kit::config::ParseFault fault;
};

// What the run hands out, in the order it happens. Empty callbacks are skipped.
struct Sink {
  std::function<void(std::string_view path)> fileStart;
  std::function<void(const FileVerdict&)> fileDone;
  std::function<void(std::string_view path)> contentStart;  // the content check of a known file
  std::function<void(support::Finding&&)> finding;
  std::function<void(std::string_view line)> textLine;       // a line only the text form shows
  std::function<void(std::string_view line)> transportLine;  // the transport report's table
  std::function<void(support::TransportEntry&&)> transportEntry;
};

// Runs the checks; returns the exit status (0 or 1).
int check(const Sources& sources, const Options& options, const Sink& sink);
// The same over texts the caller holds for the whole call.
int check(std::span<const Source> sources, const Options& options, const Sink& sink);

}  // namespace engine
