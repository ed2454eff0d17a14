#pragma once

#include <string>
#include <vector>

namespace driver {

// Appends "<dir>/<entry>" for every entry of `path` whose name contains
// ".json", in the order the system lists them. Returns 1 (after printing why)
// when the directory cannot be scanned, else 0.
int scanDirectory(const std::string& path, std::vector<std::string>& files);

}  // namespace driver
