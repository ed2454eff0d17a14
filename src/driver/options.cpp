#include "driver/options.h"

#include <algorithm>
#include <string_view>

#include "driver/formats.h"
#include "platform/tbx.h"

namespace driver {

namespace {

// atoi: optional blanks, optional sign, leading digits; no digits gives 0.
// Values past the 32-bit range saturate.
int32_t toInt(const char* text) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  int64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + (*text - '0');
    if (value > int64_t(INT32_MAX) + 1) value = int64_t(INT32_MAX) + 1;
  }
  if (negative) return static_cast<int32_t>(-value);
  return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

// With --strict a limit is a plain decimal number that fits 32 bits unsigned.
bool plainLimit(std::string_view text, uint32_t& out) {
  if (text.empty() || text.size() > 10) return false;
  uint64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<uint64_t>(c - '0');
  }
  if (value > UINT32_MAX) return false;
  out = static_cast<uint32_t>(value);
  return true;
}

struct Token {
  std::string_view option;
  const char* value = nullptr;  // of an option that takes one; null when it is missing
};

bool takesValue(std::string_view arg) {
  return arg == "--file" || arg == "--dir" || arg == "--maxlinelength" || arg == "--format";
}

}  // namespace

void printUsage() {
  tbx::cout << "[cfgcheck]: missing command and input string:" << tbx::endl;
  tbx::cout << "    --dir <directory>: checks *.json in the given directory" << tbx::endl;
  tbx::cout << "    --file <name>: checks file <name>" << tbx::endl;
}

void printHelp() {
  tbx::cout << "cfgcheck " << kVersion << ": checks the JSON configuration files of the framework\n"
            << "\n"
            << "usage: cfgcheck [--file <name>]... [--dir <directory>]... [--maxlinelength <n>]\n"
            << "                [--transport] [--verbose] [--strict] [--format <format>]\n"
            << "       cfgcheck --explain [<rule>]\n"
            << "       cfgcheck --lsp [--strict]\n"
            << "\n"
            << "  --file <name>          check this file; may repeat\n"
            << "  --dir <directory>      check every entry of the directory whose name contains .json\n"
            << "  --maxlinelength <n>    longest line of files other than the four known ones\n"
            << "                         (default 5000, 0: no limit; the known files always get 255)\n"
            << "  --transport            print the transport connections of every process (standard error)\n"
            << "  --verbose              also print what the framework file check found sound\n"
            << "  --strict               also fail on keys written twice, on a run that checked no file,\n"
            << "                         on a known file whose content could not be checked, and on a\n"
            << "                         --maxlinelength that is not a plain number from 0 to 4294967295\n"
            << "  --format <format>      text (default), gnu (path:line:column: for editors), json,\n"
            << "                         sarif (code scanning), github (workflow commands), junit,\n"
            << "                         gitlab (Code Quality report)\n"
            << "  --explain [<rule>]     print what a rule means, an example and its fix; without a\n"
            << "                         rule, list every rule ID with its title\n"
            << "  --lsp                  serve the Language Server Protocol on standard input and output:\n"
            << "                         diagnostics for the known files and any JSON file an editor opens\n"
            << "  --help                 print this help\n"
            << "  --version              print the version\n"
            << "\n"
            << "Known files: framework.json, servicemgr.json, servicemgr_restart.json, uvkstartup.json\n"
            << "(a path that contains the name). Exit status: 0 when everything is sound, 1 when a file\n"
            << "does not parse or a check found errors, 255 for a wrong command line.\n"
            << "The manual: man cfgcheck. Every rule with its ID, an example and its fix: rules.md,\n"
            << "installed under share/doc/cfgcheck (docs/rules.md in the sources)." << tbx::endl;
}

Options readOptions(int argc, const char* const* argv) {
  Options o;
  // The values first: whatever follows --file is a file name, even "--help".
  std::vector<Token> tokens;
  for (int i = 1; i < argc; ++i) {
    Token t{argv[i]};
    if (takesValue(t.option) && i + 1 < argc) t.value = argv[++i];
    // --explain alone, or before another option, lists the rules.
    else if (t.option == "--explain" && i + 1 < argc && !std::string_view(argv[i + 1]).starts_with("--"))
      t.value = argv[++i];
    tokens.push_back(t);
  }
  // The language server takes --strict beside it, nothing else.
  for (const Token& t : tokens) {
    if (t.option != "--lsp") continue;
    o.ask = Options::Ask::Lsp;
    for (const Token& other : tokens)
      if (other.option != "--lsp" && other.option != "--strict" && o.fault.empty())
        o.fault.push_back("[cfgcheck]: --lsp takes no option but --strict: " + visible(other.option));
    o.strict = std::any_of(tokens.begin(), tokens.end(), [](const Token& other) { return other.option == "--strict"; });
    return o;
  }
  int others = 0;  // arguments apart from our own options: too few is the usage text
  for (const Token& t : tokens) {
    if (t.option == "--explain") o.explain = t.value;
    if (t.option == "--help") o.ask = Options::Ask::Help;
    else if (t.option == "--explain" && o.ask != Options::Ask::Help) o.ask = Options::Ask::Explain;
    else if (t.option == "--version" && o.ask == Options::Ask::Check) o.ask = Options::Ask::Version;
    else if (t.option == "--strict") o.strict = true;
    else if (t.option != "--format" || t.value == nullptr) others += t.value != nullptr ? 2 : 1;
  }
  if (o.ask != Options::Ask::Check) return o;
  if (others < 2) {
    o.ask = Options::Ask::Usage;
    return o;
  }
  auto fault = [&](std::string line, bool usage = false) {
    o.fault.push_back(std::move(line));
    o.usage = usage;
    o.inputsBeforeFault = o.inputs.size();
    return o;
  };
  for (const Token& t : tokens) {
    const bool missing = takesValue(t.option) && t.value == nullptr;
    if (t.option == "--file") {
      if (missing) return fault("[cfgcheck]: missing filename for command --file");
      o.inputs.push_back(Input{false, t.value});
    } else if (t.option == "--dir") {
      if (missing) return fault("[cfgcheck]: missing path for command --dir");
      o.inputs.push_back(Input{true, t.value});
    } else if (t.option == "--maxlinelength") {
      if (missing) return fault("[cfgcheck]: missing value for command --maxlinelength");
      if (!o.strict) {
        o.maxLineLength = static_cast<uint32_t>(toInt(t.value));
      } else if (!plainLimit(t.value, o.maxLineLength)) {
        return fault("[cfgcheck]: --maxlinelength takes a number from 0 to 4294967295, not '" + visible(t.value) + "'");
      }
    } else if (t.option == "--format") {
      if (missing) return fault("[cfgcheck]: missing value for command --format");
      if (!support::parseFormat(t.value, o.format)) return fault("[cfgcheck]: unknown format " + visible(t.value));
    } else if (t.option == "--transport") {
      o.transport = true;
    } else if (t.option == "--verbose") {
      o.verbose = true;
    } else if (t.option != "--strict") {
      return fault("undefined command " + std::string(t.option), true);
    }
  }
  return o;
}

}  // namespace driver
