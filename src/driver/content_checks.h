#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "driver/options.h"
#include "platform/kit_config.h"

namespace driver {

// A known file of the run, parsed once by the file loop. An empty path means
// no file of that kind was given.
struct KnownFile {
  std::string path;
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

// Checks the content of the known files in their fixed order and prints the
// transport report when asked. True when anything was reported as an error.
bool runContentChecks(const KnownFiles& files, const Options& options);

// With --strict: the run checked no file at all. Returns true, an error.
bool reportNothingChecked();

// Every format but text says of a known file whose content goes unchecked
// why (P2), at its start: the text form has always kept quiet about it.
void noteUnchecked(const std::string& path, std::string_view why);
// No content is checked, as a file did not parse or a directory could not be
// read: each known file that parsed is noted with `why`.
void noteNoneChecked(const KnownFiles& files, std::string_view why);

}  // namespace driver
