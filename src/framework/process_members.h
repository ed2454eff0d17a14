// The members of one "procs" entry that the process checks read, found in
// one walk over the entry instead of a scan per key asked.
#pragma once

#include <string_view>

#include "platform/kit_config.h"

namespace framework {

struct ProcessMembers {
  kit::config::Value entry;
  // Each at its first occurrence; absent when the entry has none.
  kit::config::Value name, exec, priority, id, node, environment, transport, servicemgr;

  // The slot of the process key `key`, or null for any other key.
  kit::config::Value* slot(std::string_view key) {
    switch (key.size()) {
      case 2: return key == "id" ? &id : nullptr;
      case 4: return key == "name" ? &name : key == "exec" ? &exec : key == "node" ? &node : nullptr;
      case 8: return key == "priority" ? &priority : nullptr;
      case 9: return key == "transport" ? &transport : nullptr;
      case 10: return key == "servicemgr" ? &servicemgr : nullptr;
      case 11: return key == "environment" ? &environment : nullptr;
      default: return nullptr;
    }
  }
};

}  // namespace framework
