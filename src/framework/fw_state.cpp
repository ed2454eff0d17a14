#include "framework/fw_state.h"

namespace framework {

support::NameSet ProcessKeys;
support::NameSet NodeNames;
support::NameSet ProcessNames;
support::IntSet ProcessIds;
support::NameSet ApplicationNames;
support::NameSet IpConnections;
support::NameSet ResmanPaths;
bool Verbose = false;
FirstPlacesOf FirstPlaces;

void resetState() {
  for (support::NameSet* set : {&ProcessKeys, &NodeNames, &ProcessNames, &ApplicationNames, &IpConnections, &ResmanPaths})
    set->destroy();
  ProcessIds.destroy();
  for (support::FirstPlaces* places : {&FirstPlaces.nodes, &FirstPlaces.processes, &FirstPlaces.ids,
                                       &FirstPlaces.applications, &FirstPlaces.ipConnections, &FirstPlaces.resmanPaths})
    places->clear();
  Verbose = false;
}

}  // namespace framework
