#pragma once

#include "platform/kit_config.h"

namespace servicemgr {

// Content check of "servicemgr.json". Returns 0 when nothing was found, 1 otherwise.
int checkSMconfig(const char* path, const kit::config::Value& root);

}  // namespace servicemgr
