// A content check's report of a file whose top level is no object.
#pragma once

#include <string_view>

#include "platform/kit_config.h"

namespace support {

// Prints "[<checker>]: no dictionary found in file <path>", placed at the
// top-level value; returns 1, the check's result.
int noDictionary(const char* path, std::string_view checker, kit::config::Location at);

}  // namespace support
