#include "framework/check_fw_config.h"

#include "framework/check_node_transport.h"
#include "framework/check_process.h"
#include "framework/fw_state.h"
#include "framework/node_index.h"
#include "platform/tbx.h"
#include "support/no_dictionary.h"

namespace framework {

namespace {
const char* const kProcessKeys[] = {"name", "exec", "priority", "id", "node", "environment", "transport", "servicemgr"};
}

int checkNode(std::string_view name, const kit::config::Value& node) {
  if (Verbose) tbx::cout << "node: " << name << tbx::endl;
  if (!node.isDictionary()) {
    tbx::cout << "  ?  node COMM configuration missing or is no dictionary" << tbx::endl;
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

int checkFWConfig(const char* path, const kit::config::Dictionary* top, bool verbose) {
  Verbose = verbose;
  if (top == nullptr) return support::noDictionary(path, "checkFWConfig");
  for (const char* key : kProcessKeys) ProcessKeys.insert(key);
  kit::config::Dictionary nodes = top->get("nodes");
  kit::config::Array procs = top->get("procs");
  if (!nodes.isDictionary()) {
    tbx::cout << "[checkFWConfig]: no 'nodes' dictionary found" << tbx::endl;
    return 1;
  }
  int result = 0;
  NodeIndex nodeIndex;
  if (Verbose) tbx::cout << "--------------------- Nodes -------------------------" << tbx::endl;
  for (auto it = nodes.begin(), end = nodes.end(); it != end; ++it) {
    std::string_view name = it.key();
    if (!NodeNames.insert(name)) {
      tbx::cout << "[checkFWConfig]: node name " << name << " is defined more than once" << tbx::endl;
      result = 1;
    }
    addNode(nodeIndex, name);
    if (checkNode(name, it.value()) != 0) result = 1;
  }
  if (Verbose) tbx::cout << "--------------------- Processes ---------------------" << tbx::endl;
  if (!procs.isArray()) {
    tbx::cout << "[checkFWConfig]: no 'procs' array found" << tbx::endl;
    return 1;
  }
  for (uint32_t i = 0; i < procs.size(); ++i) {
    if (checkProcess(nodes, nodeIndex, procs.at(i), i) != 0) result = 1;
  }
  return result;
}

}  // namespace framework
