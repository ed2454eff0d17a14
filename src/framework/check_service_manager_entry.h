#pragma once

#include "framework/process_members.h"
#include "platform/kit_config.h"

namespace framework {

// The "servicemgr" dictionary of a process and its "exec": a single
// application, an external program or bundles of applications. Declares the
// application names. Returns 0 when nothing was found, 1 otherwise.
int checkServiceManagerEntry(const ProcessMembers& members);

// A non-empty "bundles" array: name, lib and apps of every bundle.
int checkBundles(const kit::config::Array& bundles);

}  // namespace framework
