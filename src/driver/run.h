#pragma once

#include "engine/check.h"

namespace driver {

using engine::kKnownFileNames;
using engine::knownName;

// The whole check run for one command line; returns the exit status.
int run(int argc, const char* const* argv);

}  // namespace driver
