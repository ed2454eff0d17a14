#pragma once

#include "platform/kit_config.h"

namespace uvk {

// Content check of "uvkstartup.json". Returns 0 when nothing was found, 1 otherwise.
int checkUVKStartup(const char* path, const kit::config::Value& root);

}  // namespace uvk
