#include "uvk/check_restart_param.h"

#include <string>

#include "support/report.h"

namespace uvk {

using kit::config::locate;
using support::kAsk;

int checkRestartParam(const kit::config::Value& params, std::string_view domain) {
  int result = 0;
  // A value that is no object has no entries, and so nothing to report.
  for (auto it = params.begin(), end = params.end(); it != end; ++it) {
    std::string_view key = it.key();
    kit::config::Value value = it.value();
    if (key == "restart_cnt" || key == "restart_cnt_reset_time") {
      int32_t count = 0;
      if (value.getInt(count) != 0) {
        support::error(support::rules::U23, locate(value), kAsk, "UVK: restart parameter '", key, "' has a non-integer value for '",
                       domain, "'");
      } else if (count < 0) {
        support::error(support::rules::U24, locate(value), kAsk, "UVK: restart parameter '", key, "' has a negative value for '",
                       domain, "'");
      } else {
        continue;
      }
    } else if (key == "on_restart_failed") {
      std::string action;
      if (value.getString(action) != 0) {
        support::error(support::rules::U25, locate(value), kAsk, "UVK: restart parameter 'on_restart_failed' has a non-string value for '",
                       domain, "'");
      } else if (action != "ignore" && action != "reset") {
        support::misspelt(support::rules::U26, locate(value), action, support::among({"ignore", "reset"}), kAsk, "UVK: value '", action,
                          "' is undefined as restart parameter 'on_restart_failed' for '", domain, "'");
      } else {
        continue;
      }
    } else {
      support::misspelt(support::rules::U27, kit::config::locateKey(it), key,
                        support::among({"restart_cnt", "restart_cnt_reset_time", "on_restart_failed"}), kAsk, "UVK: '", key,
                        "' is an undefined restart parameter in domain '", domain, "'");
    }
    result = 1;
  }
  return result;
}

}  // namespace uvk
