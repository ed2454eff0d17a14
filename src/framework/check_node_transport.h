#pragma once

#include "platform/kit_config.h"

namespace framework {

// One "comm" or "tracing" section of a node entry: a serializer per target,
// an address per tcp/ip target, one address for the whole section (loopback
// aside) and a root path per resource-manager target. `label` names the
// section in the findings. Returns 0 when nothing was found, 1 otherwise.
int checkNodeTransportSection(const kit::config::Dictionary& section, const char* label);

}  // namespace framework
