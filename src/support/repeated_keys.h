// Keys written twice in one object. The checks read the first occurrence of a
// key, while most other readers of JSON keep the last: an edit of the second
// one changes nothing here and something everywhere else.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/kit_config.h"

namespace support {

struct RepeatedKey {
  std::string object;  // its path: "procs[3]", "launcher.nav.restart_param", "" for the top level
  std::string_view key;
  kit::config::Location first;  // where the key was written first
  kit::config::Location again;  // where it was written again
};

// Calls `found` for every key written again in an object of `top`, in file order.
void findRepeatedKeys(const kit::config::Value& top, const std::function<void(const RepeatedKey&)>& found);

}  // namespace support
