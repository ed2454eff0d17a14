#pragma once

#include <string_view>

#include "platform/kit_config.h"

namespace framework {

// The keys a "procs" entry may have.
inline constexpr const char* kProcessKeys[] = {"name", "exec", "priority", "id", "node", "environment", "transport", "servicemgr"};

// Content check of "framework.json"; fills the sets of fw_state.h.
// Returns 0 when nothing was found, 1 otherwise.
int checkFWConfig(const char* path, const kit::config::Value& root, bool verbose);

// One entry of "nodes": a dictionary whose "transport" sections are sound.
int checkNode(std::string_view name, const kit::config::Value& node);

}  // namespace framework
