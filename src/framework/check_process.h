#pragma once

#include <cstdint>

#include "framework/node_index.h"
#include "platform/kit_config.h"

namespace framework {

// One element of "procs" (`index` counts from 0): allowed keys, simple types,
// unique name and id, a declared node; then the trace server, or the comm and
// service manager settings. Declares the name and id. Returns 0 or 1.
int checkProcess(const kit::config::Dictionary& nodes, const NodeIndex& nodeIndex, const kit::config::Value& entry,
                 uint32_t index);

}  // namespace framework
