#pragma once

namespace servicemgr {

// Content check of "servicemgr_restart.json". Returns 0 when nothing was found, 1 otherwise.
int checkSMRestartconfig(const char* path);

}  // namespace servicemgr
