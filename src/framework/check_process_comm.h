#pragma once

#include "framework/node_index.h"
#include "framework/process_members.h"
#include "platform/kit_config.h"

namespace framework {

// The "transport"/"comm" settings of one process: per target node tcp/ip with
// one port or resource manager with one path, resolved against the process's
// own node into connection strings that no two processes may share.
// `nodeIndex` indexes `nodes`. Returns 0 when nothing was found, 1 otherwise.
int checkProcessComm(const kit::config::Dictionary& nodes, const NodeIndex& nodeIndex, const ProcessMembers& process);

}  // namespace framework
