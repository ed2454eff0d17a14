#include "servicemgr/check_sm_config.h"

#include "commands/check_command_list.h"
#include "support/no_dictionary.h"

namespace servicemgr {

int checkSMconfig(const char* path, const kit::config::Dictionary* top) {
  if (top == nullptr) return support::noDictionary(path, "checkSMconfig");
  // Both lists are checked whatever the first one gave.
  int result = commands::checkCommandList(top->get("startup"), "startup", "SM");
  result |= commands::checkCommandList(top->get("shutdown"), "shutdown", "SM");
  return result;
}

}  // namespace servicemgr
