#pragma once

namespace driver {

// The whole check run for one command line; returns the exit status.
int run(int argc, const char* const* argv);

}  // namespace driver
