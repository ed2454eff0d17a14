// A content check's report of a file whose top level is no object.
#pragma once

#include <string_view>

namespace support {

// Prints "[<checker>]: no dictionary found in file <path>"; returns 1, the
// check's result.
int noDictionary(const char* path, std::string_view checker);

}  // namespace support
