// The command line, read whole before anything runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/report.h"

namespace driver {

struct Input {
  bool isDirectory = false;
  std::string path;
};

struct Options {
  enum class Ask { Check, Help, Version, Usage, Explain, Lsp };
  Ask ask = Ask::Check;
  const char* explain = nullptr;  // the rule --explain names; null lists them all
  std::vector<Input> inputs;  // --file and --dir, in command-line order
  uint32_t maxLineLength = 5000;
  bool transport = false;
  bool verbose = false;
  bool strict = false;
  support::Format format = support::Format::Text;
  // A wrong command line: its lines, printed once the directories named
  // before the fault are scanned, as a program reading the line left to
  // right would have done; then the usage text when `usage` is set.
  std::vector<std::string> fault;
  std::size_t inputsBeforeFault = 0;
  bool usage = false;
};

Options readOptions(int argc, const char* const* argv);

void printUsage();
void printHelp();

}  // namespace driver
