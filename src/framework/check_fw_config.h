#pragma once

namespace framework {

// Content check of "framework.json"; fills the sets of fw_state.h.
// Returns 0 when nothing was found, 1 otherwise.
int checkFWConfig(const char* path, bool verbose);

}  // namespace framework
