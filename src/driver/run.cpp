#include "driver/run.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "driver/content_checks.h"
#include "driver/directory_scan.h"
#include "platform/kit_config.h"
#include "platform/plat.h"
#include "platform/tbx.h"
#include "support/report.h"

namespace driver {

bool Verbose = false;

namespace {

void printUsage() {
  tbx::cout << "[cfgcheck]: missing command and input string:" << tbx::endl;
  tbx::cout << "    --dir <directory>: checks *.json in the given directory" << tbx::endl;
  tbx::cout << "    --file <name>: checks file <name>" << tbx::endl;
}

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

// The four known files, in the order their names are tested.
struct KnownName {
  const char* name;
  KnownFile KnownFiles::*slot;
};
const KnownName kKnownNames[] = {
    {"framework.json", &KnownFiles::framework},
    {"servicemgr.json", &KnownFiles::servicemgr},
    {"uvkstartup.json", &KnownFiles::uvk},
    {"servicemgr_restart.json", &KnownFiles::restart},
};

// The format is known before the first file or directory is read, wherever
// it stands on the line; a wrong value is reported where it stands.
// `arguments` counts the others: a line too short stays one whatever the format.
support::Format formatOf(int argc, const char* const* argv, int& arguments) {
  support::Format format = support::Format::Text;
  arguments = argc - 1;
  for (int i = 1; i + 1 < argc; ++i) {
    std::string_view arg = argv[i];
    if (arg == "--format" && support::parseFormat(argv[i + 1], format)) arguments -= 2;
    if (arg == "--format" || arg == "--file" || arg == "--dir" || arg == "--maxlinelength") ++i;
  }
  return format;
}

KnownFile* knownFileFor(const std::string& path, KnownFiles& known) {
  if (path.empty()) return nullptr;
  for (const KnownName& known_name : kKnownNames)
    if (path.find(known_name.name) != std::string::npos) return &(known.*known_name.slot);
  return nullptr;
}

}  // namespace

int run(int argc, const char* const* argv) {
  tbx::ErrorStorage errors(tbx::ErrorStorage::action_dump_to_stdout);
  Verbose = false;
  support::resetReport();
  kit::config::setPositionsWanted(false);
  int arguments = 0;
  const support::Format format = formatOf(argc, argv, arguments);
  if (arguments < 2) {
    printUsage();
    return -1;
  }
  plat::Plat platform(true, false);
  std::vector<std::string> files;
  int32_t maxLineLength = 5000;
  bool transport = false;
  bool errorFlag = false;
  bool checkResult = false;
  KnownFiles known;
  support::setFormat(format);
  // Only the formats that show positions pay for them.
  kit::config::setPositionsWanted(format != support::Format::Text);

  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (std::strcmp(arg, "--file") == 0) {
      if (i + 1 >= argc) {
        tbx::cout << "[cfgcheck]: missing filename for command --file" << tbx::endl;
        return -1;
      }
      files.emplace_back(argv[++i]);
    } else if (std::strcmp(arg, "--dir") == 0) {
      if (i + 1 >= argc) {
        tbx::cout << "[cfgcheck]: missing path for command --dir" << tbx::endl;
        return -1;
      }
      if (scanDirectory(argv[++i], files) != 0) errorFlag = true;
    } else if (std::strcmp(arg, "--maxlinelength") == 0) {
      if (i + 1 >= argc) {
        tbx::cout << "[cfgcheck]: missing value for command --maxlinelength" << tbx::endl;
        return -1;
      }
      maxLineLength = toInt(argv[++i]);
    } else if (std::strcmp(arg, "--format") == 0) {
      if (i + 1 >= argc) {
        tbx::cout << "[cfgcheck]: missing value for command --format" << tbx::endl;
        return -1;
      }
      support::Format named;
      if (!support::parseFormat(argv[++i], named)) {
        tbx::cout << "[cfgcheck]: unknown format " << argv[i] << tbx::endl;
        return -1;
      }
    } else if (std::strcmp(arg, "--transport") == 0) {
      transport = true;
    } else if (std::strcmp(arg, "--verbose") == 0) {
      Verbose = true;
    } else {
      tbx::cout << "undefined command " << arg << tbx::endl;
      printUsage();
      return -1;
    }
  }

  for (const std::string& path : files) {
    support::fileStart(path);
    KnownFile* knownFile = knownFileFor(path, known);
    int rc = 0;
    plat::RealtimeStopWatch watch(false);
    if (knownFile != nullptr) {
      // Parsed once: the document serves the verdict, the content check and
      // the transport report, which keeps values of every process and so
      // needs the framework file whole.
      knownFile->path = path;
      knownFile->parser.reset();  // a later file of a kind replaces an earlier one
      knownFile->top = nullptr;
      using kit::config::JSONParser;
      JSONParser::Lists lists = JSONParser::Batched;
      if (knownFile == &known.framework && transport) lists = JSONParser::Whole;
      // These two checks only walk the members of the top-level object.
      if (knownFile == &known.restart || knownFile == &known.uvk) lists = JSONParser::BatchedMembers;
      auto parser = std::make_unique<JSONParser>(lists);
      kit::config::Dictionary* dict = nullptr;
      kit::config::Array* array = nullptr;
      watch.start();
      rc = parser->parseFile(path.c_str(), dict, array, 255);
      watch.stop();
      knownFile->parser = std::move(parser);
      knownFile->top = dict;
    } else {
      // Nothing looks into other files: their syntax alone counts.
      kit::config::JSONParser parser;
      watch.start();
      rc = parser.checkSyntax(path.c_str(), static_cast<uint32_t>(maxLineLength));
      watch.stop();
    }
    support::fileDone(rc == 0, watch.getElapsedTime(), tbx::ErrorStorage::reason());
    if (rc != 0) {
      errorFlag = true;
      tbx::ErrorStorage::ack();
    }
  }

  kit::config::releaseSyntaxRoom();
  if (!errorFlag) runContentChecks(known, Verbose, transport, checkResult, errorFlag);

  const int status = errorFlag || checkResult ? 1 : 0;
  support::finish(status);
  return status;
}

}  // namespace driver
