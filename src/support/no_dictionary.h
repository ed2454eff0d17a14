// A content check's report of a file whose top level is no object.
#pragma once

#include <string_view>

#include "platform/kit_config.h"
#include "support/rules.h"

namespace support {

// Prints "[<checker>]: no dictionary found in file <path>" as `rule`, placed
// at the top-level value; returns 1, the check's result.
int noDictionary(const Rule& rule, const char* path, std::string_view checker, kit::config::Location at);

}  // namespace support
