// What the framework file check declares for the later checks: the names it
// saw and its verbose flag. They belong to the check run in progress (see
// platform/run_scope.h); the names below reach its sets.
#pragma once

#include <utility>

#include "platform/run_scope.h"
#include "support/name_set.h"
#include "support/report.h"

namespace framework {

struct FwState {
  support::NameSet ProcessKeys;       // keys a process entry may have
  support::NameSet NodeNames;         // keys of "nodes"
  support::NameSet ProcessNames;      // every process "name" ("" for an entry without one)
  support::IntSet ProcessIds;         // every readable process "id"
  support::NameSet ApplicationNames;  // single apps, bundles and bundle apps
  support::NameSet IpConnections;     // "address:port" per process
  support::NameSet ResmanPaths;       // "root:path" per process
  bool Verbose = false;
};
using FwScope = platform::RunScope<FwState>;

// A member of the current run's FwState, used as if it were the member.
template <class T, T& (*Get)()>
struct InRun {
  operator T&() const { return Get(); }
  const InRun& operator=(const T& value) const {
    Get() = value;
    return *this;
  }
  template <class... A>
  decltype(auto) insert(A&&... a) const { return Get().insert(std::forward<A>(a)...); }
  template <class... A>
  decltype(auto) contains(A&&... a) const { return Get().contains(std::forward<A>(a)...); }
  decltype(auto) size() const { return Get().size(); }
  template <class Visit>
  void forEach(Visit visit) const { Get().forEach(visit); }
  void reserve(std::size_t count) const { Get().reserve(count); }
  template <class... A>
  decltype(auto) firstPlace(A&&... a) const { return Get().firstPlace(std::forward<A>(a)...); }
};

#define CFGCHECK_FW_MEMBER(type, path, name) \
  inline type& name##InRun() { return FwScope::current().path; } \
  inline constexpr InRun<type, name##InRun> name {}
CFGCHECK_FW_MEMBER(support::NameSet, ProcessKeys, ProcessKeys);
CFGCHECK_FW_MEMBER(support::NameSet, NodeNames, NodeNames);
CFGCHECK_FW_MEMBER(support::NameSet, ProcessNames, ProcessNames);
CFGCHECK_FW_MEMBER(support::IntSet, ProcessIds, ProcessIds);
CFGCHECK_FW_MEMBER(support::NameSet, ApplicationNames, ApplicationNames);
CFGCHECK_FW_MEMBER(support::NameSet, IpConnections, IpConnections);
CFGCHECK_FW_MEMBER(support::NameSet, ResmanPaths, ResmanPaths);
CFGCHECK_FW_MEMBER(bool, Verbose, Verbose);
#undef CFGCHECK_FW_MEMBER


// Empties the sets of the state outside any run, for tools that call the
// checks themselves.
void resetState();

}  // namespace framework
