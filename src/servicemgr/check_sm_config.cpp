#include "servicemgr/check_sm_config.h"

#include "commands/check_command_list.h"
#include "support/reparse.h"

namespace servicemgr {

int checkSMconfig(const char* path) {
  kit::config::JSONParser parser;
  const kit::config::Dictionary* top = support::reparse(parser, path, "checkSMconfig");
  if (top == nullptr) return 1;
  // Both lists are checked whatever the first one gave.
  int result = commands::checkCommandList(top->get("startup"), "startup", "SM");
  result |= commands::checkCommandList(top->get("shutdown"), "shutdown", "SM");
  return result;
}

}  // namespace servicemgr
