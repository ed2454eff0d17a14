// Check of one command sequence (the lists of "servicemgr.json",
// "servicemgr_restart.json" and "uvkstartup.json"). Findings are printed as
// met; every function returns 0 when it found nothing, 1 otherwise.
#pragma once

#include <cstdint>
#include <string_view>

#include "commands/command_table.h"
#include "platform/kit_config.h"

namespace commands {

// `label` names the list in messages ("startup", "on_start" ...), `tag` is the
// caller's message tag ("SM", "UVK::on_shutdown" ...).
// `owner` holds the list: a missing list is placed there.
int checkCommandList(const kit::config::Value& list, std::string_view label, std::string_view tag,
                     const kit::config::Value& owner = {});

// One element; `number` counts from 1.
int checkCommand(const kit::config::Value& entry, std::string_view label, uint32_t number, std::string_view tag);

// Every member of `entry` but "cmd" must be in `allowed`.
int checkCommandParameters(ParamSet allowed, const kit::config::Value& entry, std::string_view cmd,
                           std::string_view label, uint32_t number, std::string_view tag);

}  // namespace commands
