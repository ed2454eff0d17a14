#include "uvk/check_launcher_config.h"

#include <string>

#include "commands/check_command_list.h"
#include "framework/fw_state.h"
#include "platform/tbx.h"
#include "support/name_set.h"
#include "uvk/check_restart_param.h"

namespace uvk {

using kit::config::Value;

int checkLauncherConfig(const Value& launcher) {
  if (!launcher.isDictionary()) {
    tbx::cout << "[checkUVKStartup]: launcher-configuration is not a dictionary" << tbx::endl;
    return 1;
  }
  support::NameSet domains;
  int result = 0;
  for (auto it = launcher.begin(), end = launcher.end(); it != end; ++it) {
    std::string_view name = it.key();
    Value settings = it.value();
    bool repeated = !domains.insert(name);
    if (repeated) tbx::cout << "  ?  UVK::launcher: '" << name << "' is defined more than once" << tbx::endl;
    if (!settings.isDictionary()) {
      tbx::cout << "  ?  UVK::launcher: '" << name << "' is not a dictionary" << tbx::endl;
      result = 1;
    } else if (repeated) {
      result = 1;
    } else {
      result |= checkLauncherDomain(settings, name);
    }
  }
  return result;
}

int checkLauncherDomain(const Value& settings, std::string_view domain) {
  int result = 0;
  for (auto it = settings.begin(), end = settings.end(); it != end; ++it) {
    std::string_view key = it.key();
    Value value = it.value();
    if (key == "on_start" || key == "on_restart") {
      // Findings name the list, not the domain.
      result |= commands::checkCommandList(value, key, "UVK");
      continue;
    }
    if (key == "restart_param") {
      result |= checkRestartParam(value, domain);
      continue;
    }
    if (key == "launcher") {
      std::string application;
      if (value.getString(application) != 0) {
        tbx::cout << "  ?  UVK::launcher: launcher for '" << key << "' is not a string for '" << domain << "'"
                  << tbx::endl;
      } else if (!framework::ApplicationNames.contains(application)) {
        tbx::cout << "  ?  UVK::launcher: launcher application '" << application << "' for domain '" << domain
                  << "' is not a configured application" << tbx::endl;
      } else {
        continue;
      }
    } else if (key == "always_ack") {
      bool ack = false;
      if (value.getBool(ack) == 0) continue;
      tbx::cout << "  ?  UVK::launcher: illegal value for pameter 'always_ack' for domain '" << domain << "'"
                << tbx::endl;
    } else if (key == "domain_request_timeout") {
      int32_t timeout = -1;
      if (value.getInt(timeout) == 0 && timeout > 0) continue;
      tbx::cout << "  ?  UVK: '" << key << "' is not an integer value or less or equal than 0 in domain '" << domain
                << "'" << tbx::endl;
    } else {
      tbx::cout << "  ?  UVK: '" << key << "' is an undefined entry in domain '" << domain << "'" << tbx::endl;
    }
    result = 1;
  }
  return result;
}

}  // namespace uvk
