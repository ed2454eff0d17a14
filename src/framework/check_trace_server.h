#pragma once

#include "framework/process_members.h"
#include "platform/kit_config.h"

namespace framework {

// Offers the nodes a process may name: the keys of "nodes" that hold objects.
inline auto declaredNodes(const kit::config::Dictionary& nodes) {
  return [&nodes](const auto& offer) {
    for (auto it = nodes.begin(), end = nodes.end(); it != end; ++it)
      if (it.value().isDictionary()) offer(it.key());
  };
}

// The process entry named "traceserver": its "transport"/"tracing" may only
// name declared nodes or "*". Stops at the first finding. Returns 0 or 1.
int checkTraceServer(const kit::config::Dictionary& nodes, const ProcessMembers& process);

}  // namespace framework
