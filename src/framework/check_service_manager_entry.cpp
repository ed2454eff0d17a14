#include "framework/check_service_manager_entry.h"

#include <string>

#include "framework/fw_state.h"
#include "platform/plat.h"
#include "platform/tbx.h"

namespace framework {

namespace {

using kit::config::Value;

// Checks one bundle; returns true when it produced a finding.
bool checkBundle(const Value& bundle, int32_t index) {
  if (!bundle.isDictionary()) {
    tbx::cout << "  ?  SMGT: bundle[" << index << "] is no dictionary" << tbx::endl;
    return true;
  }
  std::string_view name;
  if (bundle.get("name").getString(name) != 0) {
    tbx::cout << "  ?  SMGT: bundle[" << index << "] has no 'name'" << tbx::endl;
    return true;
  }
  if (!ApplicationNames.insert(name)) {
    tbx::cout << "  ?  SMGT: bundle[" << name << "] name '" << name << "' is defined more than once" << tbx::endl;
    return true;
  }
  std::string_view lib;
  if (bundle.get("lib").getString(lib) != 0) {
    tbx::cout << "  ?  SMGT: bundle[" << name << "] has no 'lib'" << tbx::endl;
    return true;
  }
  Value apps = bundle.get("apps");
  if (!apps.isArray()) {
    tbx::cout << "  ?  SMGT: bundle[" << name << "] has no 'apps' array" << tbx::endl;
    return true;
  }
  if (apps.size() == 0) {
    tbx::cout << "  ?  SMGT: bundle[" << name << "] has empty 'apps' array" << tbx::endl;
    return true;
  }
  bool error = false;
  std::string_view app;
  for (uint32_t j = 0; j < apps.size(); ++j) {
    if (apps.at(j).getString(app) != 0) {
      tbx::cout << "  ?  SMGT: bundle[" << name << "]:apps[" << static_cast<int32_t>(j) << "] is no string" << tbx::endl;
      error = true;
    } else if (!ApplicationNames.insert(app)) {
      tbx::cout << "  ?  SMGT: bundle[" << name << "]:apps[" << static_cast<int32_t>(j) << "] is defined more than once"
                << tbx::endl;
      error = true;
    }
  }
  return error;
}

// The single-application form; returns true when it produced a finding.
bool checkSingleApp(const Value& sm) {
  std::string_view name;
  if (sm.get("name").getString(name) != 0) {
    tbx::cout << "  ?  SMGT: singleapp has no name" << tbx::endl;
    return true;
  }
  if (!ApplicationNames.insert(name)) {
    tbx::cout << "  ?  SMGT: singleapp name '" << name << "' defined more than once" << tbx::endl;
    return true;
  }
  if (Verbose) tbx::cout << "!  SMGT: singleapp '" << name << "'" << tbx::endl;
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

int checkServiceManagerEntry(const Value& entry) {
  std::string_view process;
  entry.get("name").getString(process);
  Value sm = entry.get("servicemgr");
  if (!sm.isPresent()) {
    if (Verbose) tbx::cout << "!  SMGT: not configured" << tbx::endl;
    return 0;
  }
  if (!sm.isDictionary()) {
    tbx::cout << "  ?  SMGT: 'servicemgr' is no dictionary" << tbx::endl;
    return 1;
  }
  bool error = false;
  std::string_view exec;
  if (entry.get("exec").getString(exec) != 0) {
    tbx::cout << "  ?  SMGT: 'exec' not defined in process " << process << tbx::endl;
    error = true;
  }
  if (Verbose) tbx::cout << "!  SMGT: executable '" << exec << plat::ProcessTNG::ExecutableSuffix << "'" << tbx::endl;
  Value bundles = sm.get("bundles");
  if (sm.get("singleapp").isPresent()) {
    if (checkSingleApp(sm)) error = true;
  } else if (sm.get("external").isPresent()) {
    if (Verbose) tbx::cout << "!  SMGT: external" << tbx::endl;
  } else if (bundles.isArray() && bundles.size() == 0) {
    tbx::cout << "  ?  SMGT: bundles with size=0" << tbx::endl;
    error = true;
  } else if (bundles.isArray()) {
    if (checkBundles(bundles) != 0) error = true;
  } else {
    tbx::cout << "  ?  SMGT: missing or erroneous settings 'singleapp|external|bundles'" << tbx::endl;
    error = true;
  }
  return error ? 1 : 0;
}

}  // namespace framework
