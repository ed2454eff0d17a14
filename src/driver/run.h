#pragma once

namespace driver {

// The four known files, in the order a path is tested for their names: a path
// that holds two of them is the first one only.
inline constexpr const char* kKnownFileNames[] = {"framework.json", "servicemgr.json", "uvkstartup.json",
                                                  "servicemgr_restart.json"};

// The whole check run for one command line; returns the exit status.
int run(int argc, const char* const* argv);

}  // namespace driver
