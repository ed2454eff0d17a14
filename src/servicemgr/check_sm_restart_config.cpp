#include "servicemgr/check_sm_restart_config.h"

#include <string>
#include <string_view>

#include "commands/check_command_list.h"
#include "framework/fw_state.h"
#include "platform/tbx.h"
#include "support/no_dictionary.h"

namespace servicemgr {

using kit::config::Value;

namespace {

bool isEvent(std::string_view key) {
  return key == "default" || key == "failed" || key == "watchdog" || key == "died" || key == "stopped" ||
         key == "error";
}

// A count or time that must be a non-negative 32-bit integer.
bool isCount(const Value& value) {
  int32_t count = -1;
  return value.getInt(count) == 0 && count >= 0;
}

}  // namespace

int checkRestartPolicy(const Value& policy, std::string_view name) {
  int result = 0;
  for (auto it = policy.begin(), end = policy.end(); it != end; ++it) {
    std::string_view key = it.key();
    Value value = it.value();
    if (isEvent(key)) {
      // A policy may leave an event without commands; only a real list is checked.
      Value commands = value.get("commands");
      if (commands.isArray()) result |= commands::checkCommandList(commands, key, "SMRestart");
      continue;
    }
    if (key == "restart_cnt" || key == "restart_cnt_reset_time") {
      if (isCount(value)) continue;
      tbx::cout << "  ?  SMRestart: (" << name << ") '" << key << "' value invalid or less than 0" << tbx::endl;
    } else if (key == "on_restart_failed") {
      std::string text;
      if (value.getString(text) != 0 || text == "ignore" || text == "reset") continue;
      tbx::cout << "  ?  SMRestart: (" << name << ") 'on_restart_failed' has illegal value '" << text << "'" << tbx::endl;
    } else if (key == "enabled") {
      bool enabled = false;
      if (value.getBool(enabled) == 0) continue;
      tbx::cout << "  ?  SMRestart: (" << name << ") 'enabled' value is not a boolean" << tbx::endl;
    } else {
      tbx::cout << "  ?  SMRestart: (" << name << ") undefined entry '" << key << "'" << tbx::endl;
    }
    result = 1;
  }
  return result;
}

int checkSMRestartconfig(const char* path, const kit::config::Dictionary* top) {
  if (top == nullptr) return support::noDictionary(path, "checkSMRestartconfig");
  int result = 0;
  for (auto it = top->begin(), end = top->end(); it != end; ++it) {
    std::string_view key = it.key();
    Value value = it.value();
    if (key == "abort_on_reset") {
      bool abort = false;
      if (value.getBool(abort) != 0) {
        tbx::cout << "  ?  SMRestart: entry 'abort_on_reset' is not a boolean value" << tbx::endl;
        result = 1;
      }
    } else if (key == "__default__") {
      for (auto d = value.begin(), last = value.end(); d != last; ++d) {
        std::string_view kind = d.key();
        if (kind == "process" || kind == "application") {
          result |= checkRestartPolicy(d.value(), "__default__/" + std::string(kind));
        } else {
          tbx::cout << "  ?  SMRestart: undefine entry '" << kind << "' in __default__ block" << tbx::endl;
          result = 1;
        }
      }
    } else if (framework::ProcessNames.contains(key) || framework::ApplicationNames.contains(key)) {
      result |= checkRestartPolicy(value, key);
    } else {
      tbx::cout << "  ?  SMRestart: '" << key << "' is not a configured process or application name" << tbx::endl;
      result = 1;
    }
  }
  return result;
}

}  // namespace servicemgr
