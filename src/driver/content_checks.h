#pragma once

#include <string>

namespace driver {

// The known files of a run; an empty path means no file of that kind was given.
struct KnownFiles {
  std::string framework;
  std::string servicemgr;
  std::string restart;
  std::string uvk;
};

// Checks the content of the known files in their fixed order and prints the
// transport report when asked. Sets `checkResult` or `errorFlag` on findings.
void runContentChecks(const KnownFiles& files, bool verbose, bool transport, bool& checkResult, bool& errorFlag);

}  // namespace driver
