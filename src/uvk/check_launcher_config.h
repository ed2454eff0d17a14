// The "launcher" entry of "uvkstartup.json": its domains and their settings.
#pragma once

#include <string_view>

#include "platform/kit_config.h"

namespace uvk {

// Every domain of the launcher object; a repeated domain name is reported
// and not looked into. Returns 0 when nothing was found, 1 otherwise.
int checkLauncherConfig(const kit::config::Value& launcher);

// The entries of one domain; `domain` names it in messages. Returns 0 or 1.
int checkLauncherDomain(const kit::config::Value& settings, std::string_view domain);

}  // namespace uvk
