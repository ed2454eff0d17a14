#pragma once

namespace driver {

// Prints on standard error the connections computed for every process of the
// framework file. Returns 1 when a spawn query failed, else 0.
int transportReport(const char* frameworkPath);

}  // namespace driver
