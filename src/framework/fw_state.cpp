#include "framework/fw_state.h"

namespace framework {

void resetState() {
  FwState& s = FwScope::current();
  for (support::NameSet* set : {&s.ProcessKeys, &s.NodeNames, &s.ProcessNames, &s.ApplicationNames, &s.IpConnections,
                                &s.ResmanPaths})
    set->destroy();
  s.ProcessIds.destroy();
  s.Verbose = false;
}

}  // namespace framework
