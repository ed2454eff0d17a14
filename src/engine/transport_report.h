#pragma once

#include "platform/kit_config.h"

namespace engine {

// Reports, as transport lines and entries, the connections computed for every process of the
// framework file, given its top-level object (null when it has none). The
// document must have been parsed whole. Returns 1 when a spawn query failed,
// else 0.
int transportReport(const kit::config::Dictionary* top);

}  // namespace engine
