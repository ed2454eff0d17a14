#include "framework/check_fw_config.h"

#include <algorithm>

#include "framework/check_node_transport.h"
#include "framework/check_process.h"
#include "framework/fw_state.h"
#include "framework/node_index.h"
#include "support/no_dictionary.h"
#include "support/report.h"
#include "support/symbols.h"

namespace framework {

namespace {
constexpr std::string_view kTag = "[checkFWConfig]: ";
}

int checkNode(std::string_view name, const kit::config::Value& node) {
  if (Verbose) support::info(support::rules::F50, kit::config::locate(node), "", "node: ", name);
  if (!node.isDictionary()) {
    support::error(support::rules::F5, kit::config::locate(node), support::kAsk, "node COMM configuration missing or is no dictionary");
    return 1;
  }
  kit::config::Value transport = node.get("transport");
  kit::config::Value comm = transport.get("comm");
  kit::config::Value tracing = transport.get("tracing");
  int result = 0;
  if (comm.isDictionary() && checkNodeTransportSection(comm, "COMM") != 0) result = 1;
  if (tracing.isDictionary() && checkNodeTransportSection(tracing, "tracing") != 0) result = 1;
  return result;
}

int checkFWConfig(const char* path, const kit::config::Value& root, bool verbose) {
  Verbose = verbose;
  if (!root.isDictionary()) return support::noDictionary(support::rules::F1, path, "checkFWConfig", kit::config::locate(root));
  const kit::config::Dictionary* top = &root;
  for (const char* key : kProcessKeys) ProcessKeys.insert(key);
  kit::config::Dictionary nodes = top->get("nodes");
  kit::config::Array procs = top->get("procs");
  if (!nodes.isDictionary()) {
    support::error(support::rules::F2, support::locateOr(nodes, *top), kTag, "no 'nodes' dictionary found");
    return 1;
  }
  int result = 0;
  NodeIndex nodeIndex;
  if (Verbose) support::textLine("--------------------- Nodes -------------------------");
  for (auto it = nodes.begin(), end = nodes.end(); it != end; ++it) {
    std::string_view name = it.key();
    if (support::SymbolIndex* index = support::symbols()) {
      index->declare(support::SymbolKind::Node, name, kit::config::locateKey(it));
      const kit::config::Value transport = it.value().get("transport");
      index->factKeys("comm", transport.get("comm"));
      index->factKeys("tracing", transport.get("tracing"));
    }
    if (!NodeNames.insert(name, [&] { return kit::config::anchorKey(it); })) {
      support::duplicate(support::rules::F4, kit::config::locateKey(it), NodeNames.firstPlace(name), kTag, "node name ", name,
                         " is defined more than once");
      result = 1;
    }
    addNode(nodeIndex, name);
    if (checkNode(name, it.value()) != 0) result = 1;
  }
  if (Verbose) support::textLine("--------------------- Processes ---------------------");
  if (!procs.isArray()) {
    support::error(support::rules::F3, support::locateOr(procs, *top), kTag, "no 'procs' array found");
    return 1;
  }
  // A process declares a name, an id, about one application and two
  // connections; the cap keeps a list of junk from claiming much memory.
  const std::size_t expected = std::min<std::size_t>(procs.size(), std::size_t(1) << 17);
  ProcessNames.reserve(expected);
  ProcessIds.reserve(expected);
  ApplicationNames.reserve(expected);
  IpConnections.reserve(expected);
  ResmanPaths.reserve(expected);
  for (uint32_t i = 0; i < procs.size(); ++i) {
    if (checkProcess(nodes, nodeIndex, procs.at(i), i) != 0) result = 1;
  }
  return result;
}

}  // namespace framework
