#pragma once

#include "driver/options.h"
#include "engine/check.h"

namespace driver {

using engine::knownName;

// What the command line asks of the checks (directories not yet scanned).
engine::Options checkOptions(const Options& options);

// The whole check run for one command line; returns the exit status.
int run(int argc, const char* const* argv);

}  // namespace driver
