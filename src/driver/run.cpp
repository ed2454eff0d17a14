#include "driver/run.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "driver/content_checks.h"
#include "driver/directory_scan.h"
#include "platform/kit_config.h"
#include "platform/plat.h"
#include "platform/tbx.h"

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
  if (argc < 3) {
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
    tbx::cout << "[cfgcheck]: checking file " << path << ' ';
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
    if (rc == 0) {
      tbx::cout << " OK, time=" << watch.getElapsedTime() << "[ms]" << tbx::endl;
    } else {
      tbx::cout << " FAILED" << tbx::endl;
      tbx::cout << "\t\t\t reason = " << tbx::ErrorStorage::reason() << tbx::endl;
      errorFlag = true;
      tbx::ErrorStorage::ack();
    }
  }

  kit::config::releaseSyntaxRoom();
  if (!errorFlag) runContentChecks(known, Verbose, transport, checkResult, errorFlag);

  if (errorFlag || checkResult) {
    tbx::cout << "[cfgcheck] with ERRORS" << tbx::endl;
    return 1;
  }
  tbx::cout << "[cfgcheck] OK" << tbx::endl;
  return 0;
}

}  // namespace driver
