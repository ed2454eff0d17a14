#include "framework/fw_state.h"

namespace framework {

void resetState() {
  FwState& s = FwScope::current();
  for (support::NameSet* set : {&s.ProcessKeys, &s.NodeNames, &s.ProcessNames, &s.ApplicationNames, &s.IpConnections,
                                &s.ResmanPaths})
    set->destroy();
  s.ProcessIds.destroy();
  for (support::FirstPlaces* places : {&s.FirstPlaces.nodes, &s.FirstPlaces.processes, &s.FirstPlaces.ids,
                                       &s.FirstPlaces.applications, &s.FirstPlaces.ipConnections,
                                       &s.FirstPlaces.resmanPaths})
    places->clear();
  s.Verbose = false;
}

}  // namespace framework
