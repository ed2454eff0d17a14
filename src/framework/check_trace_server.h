#pragma once

#include "framework/process_members.h"
#include "platform/kit_config.h"

namespace framework {

// The process entry named "traceserver": its "transport"/"tracing" may only
// name declared nodes or "*". Stops at the first finding. Returns 0 or 1.
int checkTraceServer(const kit::config::Dictionary& nodes, const ProcessMembers& process);

}  // namespace framework
