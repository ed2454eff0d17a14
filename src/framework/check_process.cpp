#include "framework/check_process.h"

#include <string>

#include "framework/check_process_comm.h"
#include "framework/check_service_manager_entry.h"
#include "framework/check_trace_server.h"
#include "framework/fw_state.h"
#include "platform/tbx.h"

namespace framework {

namespace {

using kit::config::Value;

// Returns true when it produced a finding.
bool checkSimpleKeys(const Value& entry) {
  bool error = false;
  for (auto it = entry.begin(), end = entry.end(); it != end; ++it) {
    if (!ProcessKeys.contains(it.key())) {
      tbx::cout << "?process key '" << it.key() << "' not defined for processes" << tbx::endl;
      error = true;
    }
  }
  int32_t priority = 0;
  Value priorityValue = entry.get("priority");
  if (priorityValue.isPresent() && priorityValue.getInt(priority) != 0) {
    tbx::cout << "?process: 'priority' value is not an integer" << tbx::endl;
    error = true;
  }
  Value environment = entry.get("environment");
  if (environment.isPresent() && !environment.isDictionary()) {
    tbx::cout << "?process: 'environment' is not a dictionary" << tbx::endl;
    error = true;
  }
  std::string_view text;
  for (auto it = environment.begin(), end = environment.end(); it != end; ++it) {
    if (it.value().getString(text) != 0) {
      tbx::cout << "?process: 'environment' value '" << it.key() << " is not a string" << tbx::endl;
      error = true;
    }
  }
  return error;
}

}  // namespace

int checkProcess(const kit::config::Dictionary& nodes, const NodeIndex& nodeIndex, const Value& entry, uint32_t index) {
  bool error = checkSimpleKeys(entry);
  std::string_view name;  // an entry without one is declared under the empty name
  if (entry.get("name").getString(name) != 0) {
    tbx::cout << "?process " << index << " has no 'name' definition" << tbx::endl;
    error = true;
  }
  if (!ProcessNames.insert(name)) {
    tbx::cout << "?process name '" << name << "' is defined more than once at " << tbx::endl;
    error = true;
  }
  std::string_view node;
  if (entry.get("node").getString(node) != 0) {
    tbx::cout << "?process '" << name << "' has no 'node' definition" << tbx::endl;
    error = true;
  }
  if (!nodes.get(node).isDictionary()) {
    tbx::cout << "?node '" << node << "' for process '" << name << "' is not defined in the 'nodes' dictionary"
              << tbx::endl;
    error = true;
  }
  if (name == "traceserver") {
    if (checkTraceServer(nodes, entry) != 0) error = true;
    return error ? 1 : 0;
  }
  // Without a readable id there is nothing to compare or declare.
  int32_t id = 0;
  bool hasId = entry.get("id").getInt(id) == 0;
  if (!hasId) {
    tbx::cout << "?process '" << name << "' has no 'id' definition" << tbx::endl;
    error = true;
  } else if (!ProcessIds.insert(id)) {
    tbx::cout << "?process '" << name << "': id " << id << " is defined more than once" << tbx::endl;
    error = true;
  }
  if (Verbose) {
    tbx::cout << name << "(id=";
    if (hasId) tbx::cout << id;
    else tbx::cout << '?';
    tbx::cout << ")" << tbx::endl;
  }
  if (checkProcessComm(nodes, nodeIndex, entry) != 0) error = true;
  if (checkServiceManagerEntry(entry) != 0) error = true;
  return error ? 1 : 0;
}

}  // namespace framework
