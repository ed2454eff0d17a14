#include "servicemgr/check_sm_config.h"

#include "commands/check_command_list.h"
#include "support/no_dictionary.h"

namespace servicemgr {

int checkSMconfig(const char* path, const kit::config::Value& root) {
  if (!root.isDictionary()) return support::noDictionary(support::rules::S1, path, "checkSMconfig", kit::config::locate(root));
  const kit::config::Dictionary* top = &root;
  // Both lists are checked whatever the first one gave.
  int result = commands::checkCommandList(top->get("startup"), "startup", "SM", *top);
  result |= commands::checkCommandList(top->get("shutdown"), "shutdown", "SM", *top);
  return result;
}

}  // namespace servicemgr
