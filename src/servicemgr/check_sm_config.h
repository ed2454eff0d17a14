#pragma once

namespace servicemgr {

// Content check of "servicemgr.json". Returns 0 when nothing was found, 1 otherwise.
int checkSMconfig(const char* path);

}  // namespace servicemgr
