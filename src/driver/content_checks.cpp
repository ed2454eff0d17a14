#include "driver/content_checks.h"

#include "driver/transport_report.h"
#include "framework/check_fw_config.h"
#include "servicemgr/check_sm_config.h"
#include "servicemgr/check_sm_restart_config.h"
#include "support/repeated_keys.h"
#include "support/report.h"
#include "uvk/check_uvk_startup.h"

namespace driver {

namespace {

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
bool checked(const KnownFile& file, const Options& options, Check check, bool* checkErrors = nullptr) {
  support::contentStart(file.path);
  const bool errors = check() != 0;
  if (checkErrors != nullptr) *checkErrors = errors;
  const bool repeated = repeatedKeys(file, options);
  file.parser->giveBackText();  // the next checks need their own files
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

}  // namespace

bool runContentChecks(const KnownFiles& files, const Options& options) {
  // The framework file goes first: it declares the names the others refer to.
  const KnownFile& fw = files.framework;
  const KnownFile& sm = files.servicemgr;
  const KnownFile& restart = files.restart;
  const KnownFile& uvk = files.uvk;
  const bool hasFw = !fw.path.empty(), hasSm = !sm.path.empty();
  bool errors = false;
  if (hasFw)
    errors |= checked(fw, options, [&] { return framework::checkFWConfig(fw.path.c_str(), fw.root(), options.verbose); });
  if (hasSm) {
    if (hasFw) errors |= checked(sm, options, [&] { return servicemgr::checkSMconfig(sm.path.c_str(), sm.root()); });
    else errors |= unchecked(sm, options, "framework.json");
  }
  if (!restart.path.empty()) {
    if (hasFw) {
      errors |= checked(restart, options,
                        [&] { return servicemgr::checkSMRestartconfig(restart.path.c_str(), restart.root()); });
    } else {
      errors |= unchecked(restart, options, "framework.json");
    }
  }
  bool uvkFindings = false;
  if (!uvk.path.empty()) {
    if (hasFw && hasSm) {
      errors |= checked(uvk, options, [&] { return uvk::checkUVKStartup(uvk.path.c_str(), uvk.root()); }, &uvkFindings);
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

void noteUnchecked(const std::string& path, std::string_view why) {
  if (support::format() == support::Format::Text) return;
  support::setFile(path);
  support::info(support::rules::P2, kit::config::Location{1, 1}, "[cfgcheck]: ", "content not checked: ", why);
}

void noteNoneChecked(const KnownFiles& files, std::string_view why) {
  for (const KnownFile* file : {&files.framework, &files.servicemgr, &files.restart, &files.uvk})
    if (file->parsed) noteUnchecked(file->path, why);
}

bool reportNothingChecked() {
  support::setFile("");
  support::error(support::rules::K2, kit::config::Location{}, "[cfgcheck]: ", "no file was checked");
  return true;
}

}  // namespace driver
