#include "uvk/check_restart_param.h"

#include <string>

#include "platform/tbx.h"

namespace uvk {

int checkRestartParam(const kit::config::Value& params, std::string_view domain) {
  int result = 0;
  // A value that is no object has no entries, and so nothing to report.
  for (auto it = params.begin(), end = params.end(); it != end; ++it) {
    std::string_view key = it.key();
    kit::config::Value value = it.value();
    if (key == "restart_cnt" || key == "restart_cnt_reset_time") {
      int32_t count = 0;
      if (value.getInt(count) != 0) {
        tbx::cout << "  ?  UVK: restart parameter '" << key << "' has a non-integer value for '" << domain << "'"
                  << tbx::endl;
      } else if (count < 0) {
        tbx::cout << "  ?  UVK: restart parameter '" << key << "' has a negative value for '" << domain << "'"
                  << tbx::endl;
      } else {
        continue;
      }
    } else if (key == "on_restart_failed") {
      std::string action;
      if (value.getString(action) != 0) {
        tbx::cout << "  ?  UVK: restart parameter 'on_restart_failed' has a non-string value for '" << domain << "'"
                  << tbx::endl;
      } else if (action != "ignore" && action != "reset") {
        tbx::cout << "  ?  UVK: value '" << action << "' is undefined as restart parameter 'on_restart_failed' for '"
                  << domain << "'" << tbx::endl;
      } else {
        continue;
      }
    } else {
      tbx::cout << "  ?  UVK: '" << key << "' is an undefined restart parameter in domain '" << domain << "'"
                << tbx::endl;
    }
    result = 1;
  }
  return result;
}

}  // namespace uvk
