#include "framework/check_trace_server.h"

#include "support/report.h"
#include "support/symbols.h"

namespace framework {

int checkTraceServer(const kit::config::Dictionary& nodes, const ProcessMembers& process) {
  kit::config::Value tracing = process.transport.get("tracing");
  if (!tracing.isDictionary()) {
    support::error(support::rules::F47, support::locateOr(tracing, process.entry), "", "Missing Transport settings for traceserver");
    return 1;
  }
  if (support::SymbolIndex* index = support::symbols()) index->useNodeKeys(tracing);
  for (auto it = tracing.begin(), end = tracing.end(); it != end; ++it) {
    std::string_view node = it.key();
    if (!nodes.get(node).isDictionary() && node != "*") {
      support::misspelt(support::rules::F48, kit::config::locateKey(it), node, declaredNodes(nodes), "",
                        "Traceserver transport for unknown node '", node, "' found'");
      return 1;
    }
    if (!it.value().isDictionary()) {
      support::error(support::rules::F49, kit::config::locate(it.value()), "", "Traceserver transport for node '", node, "' is bad'");
      return 1;
    }
  }
  return 0;
}

}  // namespace framework
