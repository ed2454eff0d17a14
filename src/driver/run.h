#pragma once

#include <string_view>

namespace driver {

// The four known files, in the order a path is tested for their names: a path
// that holds two of them is the first one only.
inline constexpr const char* kKnownFileNames[] = {"framework.json", "servicemgr.json", "uvkstartup.json",
                                                  "servicemgr_restart.json"};

// The known name `path` contains (the first of kKnownFileNames that it
// does), or null for a file that is no known file.
const char* knownName(std::string_view path);

// The whole check run for one command line; returns the exit status.
int run(int argc, const char* const* argv);

}  // namespace driver
