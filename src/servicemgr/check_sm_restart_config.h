#pragma once

#include <string_view>

#include "platform/kit_config.h"

namespace servicemgr {

// Content check of "servicemgr_restart.json". Returns 0 when nothing was found, 1 otherwise.
int checkSMRestartconfig(const char* path, const kit::config::Value& root);

// One restart policy; `name` only names it in messages. Returns 0 or 1.
int checkRestartPolicy(const kit::config::Value& policy, std::string_view name);

}  // namespace servicemgr
