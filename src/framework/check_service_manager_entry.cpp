#include "framework/check_service_manager_entry.h"

#include <string>

#include "framework/fw_state.h"
#include "platform/plat.h"
#include "support/report.h"
#include "support/symbols.h"

namespace framework {

namespace {

using kit::config::anchor;
using kit::config::locate;
using kit::config::Value;
using support::kAsk;
using support::locateOr;

// Checks one bundle; returns true when it produced a finding.
bool checkBundle(const Value& bundle, int32_t index) {
  if (!bundle.isDictionary()) {
    support::error(support::rules::F39, locate(bundle), kAsk, "SMGT: bundle[", index, "] is no dictionary");
    return true;
  }
  std::string_view name;
  Value nameValue = bundle.get("name");
  if (nameValue.getString(name) != 0) {
    support::error(support::rules::F40, locateOr(nameValue, bundle), kAsk, "SMGT: bundle[", index, "] has no 'name'");
    return true;
  }
  if (support::SymbolIndex* index = support::symbols()) index->declare(support::SymbolKind::Bundle, nameValue);
  if (!ApplicationNames.insert(name, [&] { return anchor(nameValue); })) {
    support::duplicate(support::rules::F41, locate(nameValue), ApplicationNames.firstPlace(name), kAsk, "SMGT: bundle[", name,
                       "] name '", name, "' is defined more than once");
    return true;
  }
  std::string_view lib;
  Value libValue = bundle.get("lib");
  if (libValue.getString(lib) != 0) {
    support::error(support::rules::F42, locateOr(libValue, bundle), kAsk, "SMGT: bundle[", name, "] has no 'lib'");
    return true;
  }
  Value apps = bundle.get("apps");
  if (!apps.isArray()) {
    support::error(support::rules::F43, locateOr(apps, bundle), kAsk, "SMGT: bundle[", name, "] has no 'apps' array");
    return true;
  }
  if (apps.size() == 0) {
    support::error(support::rules::F44, locate(apps), kAsk, "SMGT: bundle[", name, "] has empty 'apps' array");
    return true;
  }
  bool error = false;
  std::string_view app;
  for (uint32_t j = 0; j < apps.size(); ++j) {
    Value appValue = apps.at(j);
    if (support::SymbolIndex* index = support::symbols()) index->declare(support::SymbolKind::BundleApp, appValue);
    if (appValue.getString(app) != 0) {
      support::error(support::rules::F45, locate(appValue), kAsk, "SMGT: bundle[", name, "]:apps[", j, "] is no string");
      error = true;
    } else if (!ApplicationNames.insert(app, [&] { return anchor(appValue); })) {
      support::duplicate(support::rules::F46, locate(appValue), ApplicationNames.firstPlace(app), kAsk, "SMGT: bundle[", name,
                         "]:apps[", j, "] is defined more than once");
      error = true;
    }
  }
  return error;
}

// The single-application form; returns true when it produced a finding.
bool checkSingleApp(const Value& sm) {
  std::string_view name;
  Value nameValue = sm.get("name");
  if (nameValue.getString(name) != 0) {
    support::error(support::rules::F36, locateOr(nameValue, sm), kAsk, "SMGT: singleapp has no name");
    return true;
  }
  if (support::SymbolIndex* index = support::symbols()) index->declare(support::SymbolKind::SingleApp, nameValue);
  if (!ApplicationNames.insert(name, [&] { return anchor(nameValue); })) {
    support::duplicate(support::rules::F37, locate(nameValue), ApplicationNames.firstPlace(name), kAsk, "SMGT: singleapp name '",
                       name, "' defined more than once");
    return true;
  }
  if (Verbose) support::info(support::rules::F50, locate(nameValue), support::kInfo, "SMGT: singleapp '", name, "'");
  return false;
}

}  // namespace

int checkBundles(const kit::config::Array& bundles) {
  bool error = false;
  for (uint32_t i = 0; i < bundles.size(); ++i) {
    if (checkBundle(bundles.at(i), static_cast<int32_t>(i))) error = true;
  }
  return error ? 1 : 0;
}

int checkServiceManagerEntry(const ProcessMembers& members) {
  const Value& entry = members.entry;
  std::string_view process;
  members.name.getString(process);
  const Value& sm = members.servicemgr;
  if (!sm.isPresent()) {
    if (Verbose) support::info(support::rules::F50, locate(entry), support::kInfo, "SMGT: not configured");
    return 0;
  }
  if (!sm.isDictionary()) {
    support::error(support::rules::F33, locate(sm), kAsk, "SMGT: 'servicemgr' is no dictionary");
    return 1;
  }
  bool error = false;
  std::string_view exec;
  const Value& execValue = members.exec;
  if (execValue.getString(exec) != 0) {
    support::error(support::rules::F34, locateOr(execValue, entry), kAsk, "SMGT: 'exec' not defined in process ", process);
    error = true;
  }
  if (Verbose)
    support::info(support::rules::F50, locateOr(execValue, entry), support::kInfo, "SMGT: executable '", exec,
                  plat::ProcessTNG::ExecutableSuffix, "'");
  Value bundles = sm.get("bundles");
  if (sm.get("singleapp").isPresent()) {
    if (checkSingleApp(sm)) error = true;
  } else if (sm.get("external").isPresent()) {
    if (Verbose) support::info(support::rules::F50, locate(sm), support::kInfo, "SMGT: external");
  } else if (bundles.isArray() && bundles.size() == 0) {
    support::error(support::rules::F38, locate(bundles), kAsk, "SMGT: bundles with size=0");
    error = true;
  } else if (bundles.isArray()) {
    if (checkBundles(bundles) != 0) error = true;
  } else {
    support::error(support::rules::F35, locate(sm), kAsk, "SMGT: missing or erroneous settings 'singleapp|external|bundles'");
    error = true;
  }
  return error ? 1 : 0;
}

}  // namespace framework
