// What the framework file check declares for the later checks: the names it
// saw and its verbose flag. Filled once per run, never cleared.
#pragma once

#include "support/name_set.h"
#include "support/report.h"

namespace framework {

extern support::NameSet ProcessKeys;       // keys a process entry may have
extern support::NameSet NodeNames;         // keys of "nodes"
extern support::NameSet ProcessNames;      // every process "name" ("" for an entry without one)
extern support::IntSet ProcessIds;         // every readable process "id"
extern support::NameSet ApplicationNames;  // single apps, bundles and bundle apps
extern support::NameSet IpConnections;     // "address:port" per process
extern support::NameSet ResmanPaths;       // "root:path" per process
extern bool Verbose;

// Where the names above were first declared, for the findings of a repeat.
struct FirstPlacesOf {
  support::FirstPlaces nodes, processes, ids, applications, ipConnections, resmanPaths;
};
extern FirstPlacesOf FirstPlaces;

// Empties the sets, for tools that run several checks in one process.
void resetState();

}  // namespace framework
