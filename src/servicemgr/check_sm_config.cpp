#include "servicemgr/check_sm_config.h"

namespace servicemgr {

int checkSMconfig(const char*) { return 0; }

}  // namespace servicemgr
