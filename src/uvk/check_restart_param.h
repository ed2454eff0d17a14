#pragma once

#include <string_view>

#include "platform/kit_config.h"

namespace uvk {

// The "restart_param" object of launcher domain `domain`. Returns 0 when
// nothing was found, 1 otherwise.
int checkRestartParam(const kit::config::Value& params, std::string_view domain);

}  // namespace uvk
