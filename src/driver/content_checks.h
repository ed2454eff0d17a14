#pragma once

#include <memory>
#include <string>

#include "driver/options.h"
#include "platform/kit_config.h"

namespace driver {

// A known file of the run, parsed once by the file loop. An empty path means
// no file of that kind was given.
struct KnownFile {
  std::string path;
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

// Checks the content of the known files in their fixed order and prints the
// transport report when asked. True when anything was reported as an error.
bool runContentChecks(const KnownFiles& files, const Options& options);

// With --strict: the run checked no file at all. Returns true, an error.
bool reportNothingChecked();

}  // namespace driver
