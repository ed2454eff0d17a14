#include "framework/check_trace_server.h"

#include "platform/tbx.h"

namespace framework {

int checkTraceServer(const kit::config::Dictionary& nodes, const kit::config::Value& entry) {
  kit::config::Value tracing = entry.get("transport").get("tracing");
  if (!tracing.isDictionary()) {
    tbx::cout << "Missing Transport settings for traceserver" << tbx::endl;
    return 1;
  }
  for (auto it = tracing.begin(), end = tracing.end(); it != end; ++it) {
    std::string_view node = it.key();
    if (!nodes.get(node).isDictionary() && node != "*") {
      tbx::cout << "Traceserver transport for unknown node '" << node << "' found'" << tbx::endl;
      return 1;
    }
    if (!it.value().isDictionary()) {
      tbx::cout << "Traceserver transport for node '" << node << "' is bad'" << tbx::endl;
      return 1;
    }
  }
  return 0;
}

}  // namespace framework
