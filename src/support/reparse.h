// The second parse a content check makes of its file, with the check's own
// report of a file it cannot look into.
#pragma once

#include <string_view>

#include "platform/kit_config.h"

namespace support {

// Parses `path` without a line limit. Returns the top-level dictionary, or
// null after printing why there is none under "[<checker>]: ".
const kit::config::Dictionary* reparse(kit::config::JSONParser& parser, const char* path, std::string_view checker);

}  // namespace support
