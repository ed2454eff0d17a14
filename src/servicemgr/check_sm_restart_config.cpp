#include "servicemgr/check_sm_restart_config.h"

namespace servicemgr {

int checkSMRestartconfig(const char*) { return 0; }

}  // namespace servicemgr
