#include "framework/check_process.h"

#include <string>

#include "framework/check_process_comm.h"
#include "framework/check_service_manager_entry.h"
#include "framework/check_trace_server.h"
#include "framework/fw_state.h"
#include "support/report.h"
#include "support/symbols.h"

namespace framework {

namespace {

using kit::config::locate;
using kit::config::Value;
using support::locateOr;

// Reads the entry's members in one walk; returns true when it produced a finding.
bool checkSimpleKeys(ProcessMembers& p) {
  bool error = false;
  for (auto it = p.entry.begin(), end = p.entry.end(); it != end; ++it) {
    const std::string_view key = it.key();
    if (Value* slot = p.slot(key)) {
      if (!slot->isPresent()) *slot = it.value();
    } else if (!ProcessKeys.contains(key)) {
      support::misspelt(support::rules::F10, kit::config::locateKey(it), key, [](const auto& offer) { ProcessKeys.forEach(offer); }, "?",
                        "process key '", key, "' not defined for processes");
      error = true;
    }
  }
  int32_t priority = 0;
  const Value& priorityValue = p.priority;
  if (priorityValue.isPresent() && priorityValue.getInt(priority) != 0) {
    support::error(support::rules::F11, locate(priorityValue), "?", "process: 'priority' value is not an integer");
    error = true;
  }
  const Value& environment = p.environment;
  if (environment.isPresent() && !environment.isDictionary()) {
    support::error(support::rules::F12, locate(environment), "?", "process: 'environment' is not a dictionary");
    error = true;
  }
  std::string_view text;
  for (auto it = environment.begin(), end = environment.end(); it != end; ++it) {
    if (it.value().getString(text) != 0) {
      support::error(support::rules::F13, locate(it.value()), "?", "process: 'environment' value '", it.key(), " is not a string");
      error = true;
    }
  }
  return error;
}

}  // namespace

int checkProcess(const kit::config::Dictionary& nodes, const NodeIndex& nodeIndex, const Value& entry, uint32_t index) {
  ProcessMembers p;
  p.entry = entry;
  bool error = checkSimpleKeys(p);
  std::string_view name;  // an entry without one is declared under the empty name
  const Value& nameValue = p.name;
  if (nameValue.getString(name) != 0) {
    support::error(support::rules::F14, locateOr(nameValue, entry), "?", "process ", index, " has no 'name' definition");
    error = true;
  }
  if (support::SymbolIndex* index = support::symbols()) index->declare(support::SymbolKind::Process, nameValue);
  if (!ProcessNames.insert(name, [&] { return kit::config::anchor(nameValue.isPresent() ? nameValue : entry); })) {
    support::duplicate(support::rules::F15, locateOr(nameValue, entry), ProcessNames.firstPlace(name), "?", "process name '", name,
                       "' is defined more than once at ");
    error = true;
  }
  std::string_view node;
  const Value& nodeValue = p.node;
  if (nodeValue.getString(node) != 0) {
    support::error(support::rules::F16, locateOr(nodeValue, entry), "?", "process '", name, "' has no 'node' definition");
    error = true;
  }
  if (support::SymbolIndex* index = support::symbols()) {
    index->use(support::UseKind::Node, nodeValue);
    index->fact("node", nodeValue);
    index->fact("id", p.id);
    index->fact("exec", p.exec);
  }
  if (!nodes.get(node).isDictionary()) {
    support::misspelt(support::rules::F17, locateOr(nodeValue, entry), node, declaredNodes(nodes), "?", "node '", node, "' for process '",
                      name, "' is not defined in the 'nodes' dictionary");
    error = true;
  }
  if (name == "traceserver") {
    if (checkTraceServer(nodes, p) != 0) error = true;
    return error ? 1 : 0;
  }
  // Without a readable id there is nothing to compare or declare.
  int32_t id = 0;
  const Value& idValue = p.id;
  bool hasId = idValue.getInt(id) == 0;
  if (!hasId) {
    support::error(support::rules::F18, locateOr(idValue, entry), "?", "process '", name, "' has no 'id' definition");
    error = true;
  } else if (!ProcessIds.insert(id, [&] { return kit::config::anchor(idValue); })) {
    support::duplicate(support::rules::F19, locate(idValue), ProcessIds.firstPlace(id), "?", "process '", name,
                       "': id ", id, " is defined more than once");
    error = true;
  }
  if (Verbose) support::info(support::rules::F50, locate(entry), "", name, "(id=", hasId ? std::to_string(id) : "?", ")");
  if (checkProcessComm(nodes, nodeIndex, p) != 0) error = true;
  if (checkServiceManagerEntry(p) != 0) error = true;
  return error ? 1 : 0;
}

}  // namespace framework
