#include "framework/check_process_comm.h"

#include <string>
#include <vector>

#include "framework/fw_state.h"
#include "support/report.h"
#include "support/symbols.h"

namespace framework {

namespace {

using kit::config::Location;
using kit::config::locate;
using kit::config::Value;
using support::locateOr;

// The process's own node and its comm section: the same for every target,
// so looked up once per process.
struct OwnNode {
  Value name;
  std::string_view own;  // empty when "node" is no string
  bool named = false;
  Value node, transport, comm;
};

struct CommState {
  OwnNode self;
  int32_t port = -1;  // -1: no port yet
  std::string resmanPath;
  std::string ipConnection;  // the last one formed wins
  std::string resmanConnection;
  bool error = false;
};

void fail(CommState& state, const support::Rule& rule, Location at, std::string_view first, std::string_view node,
          std::string_view rest) {
  support::error(rule, at, support::kAsk, "COMM: ", first, node, rest);
  state.error = true;
}

void checkTcpip(const Value& entry, std::string_view target, const Value& tcp,
                CommState& state) {
  int32_t port = 0;
  Value portValue = tcp.get("port");
  if (portValue.getInt(port) != 0) {
    fail(state, support::rules::F23, locateOr(portValue, tcp), "TCP/IP Settings for node ", target, " missing 'port' entry");
    return;
  }
  if (state.port == -1) {
    state.port = port;
  } else if (port != state.port) {
    fail(state, support::rules::F24, locate(portValue), "TCP/IP Settings for node ", target, " different port values on same proceess");
    return;
  }
  const OwnNode& self = state.self;
  const std::string_view own = self.own;
  if (!self.named) {
    fail(state, support::rules::F25, locateOr(self.name, entry), "missing settings for node '", own, "'");
    return;
  }
  if (!self.transport.isPresent()) {
    // A node that is not declared is the process's own reference to it.
    fail(state, support::rules::F26, self.node.isPresent() ? locate(self.node) : locate(self.name),
         "missing 'transport' for node '", own, "'");
    return;
  }
  const Value& comm = self.comm;
  if (!comm.isPresent()) {
    fail(state, support::rules::F27, locate(self.transport), "missing 'transport:comm' for node ", own, "");
    return;
  }
  std::string_view address;
  if (comm.get(target).get("tcpip").get("address").getString(address) != 0 &&
      comm.get("*").get("tcpip").get("address").getString(address) != 0) {
    fail(state, support::rules::F28, locate(comm), "using tcp/ip for node ", own, ": missing IP for node " + std::string(target));
    return;
  }
  state.ipConnection.assign(address).append(1, ':').append(std::to_string(state.port));
  if (Verbose)
    support::info(support::rules::F50, locate(tcp), support::kInfo, "COMM: using tcp/ip  '", state.ipConnection, "' for node ", target);
}

void checkResman(std::string_view target, const Value& res,
                 CommState& state) {
  std::string_view path;
  Value pathValue = res.get("path");
  if (pathValue.getString(path) != 0) {
    fail(state, support::rules::F29, locateOr(pathValue, res), "RESMAN Settings for node ", target, " missing 'path' entry");
    return;
  }
  if (!state.resmanPath.empty() && path != state.resmanPath) {
    fail(state, support::rules::F30, locate(pathValue), "RESMAN settings for node ", target, " different 'resmam' values on same proceess");
    return;
  }
  state.resmanPath = path;
  std::string_view root;  // no "*" fallback for root paths
  state.self.comm.get(target).get("resman").get("root_path").getString(root);
  state.resmanConnection.assign(root).append(1, ':').append(path);
  if (Verbose)
    support::info(support::rules::F50, locate(res), support::kInfo, "COMM: using resman path '", state.resmanConnection, "' for node ",
                  target);
}

void checkTarget(const Value& entry, const Value& comm, std::string_view target,
                 CommState& state) {
  Value settings = comm.get(target);
  Value tcp = settings.get("tcpip");
  Value res = settings.get("resman");
  if (!tcp.isPresent() && !res.isPresent()) return;
  const support::Rule* rule = nullptr;
  Location at;
  if (tcp.isPresent() && res.isPresent()) {
    rule = &support::rules::F20;
    at = locate(settings);
    fail(state, *rule, at, "Settings for node ", target, " with more than one entry");
  } else if (tcp.isPresent() && !tcp.isDictionary()) {
    rule = &support::rules::F21;
    at = locate(tcp);
    fail(state, *rule, at, "TCP/IP Settings for node ", target, " are invalid");
  } else if (res.isPresent() && !res.isDictionary()) {
    rule = &support::rules::F22;
    at = locate(res);
    fail(state, *rule, at, "RESMAN Settings for node ", target, " are invalid");
  } else if (tcp.isDictionary()) {
    checkTcpip(entry, target, tcp, state);
    return;
  } else {
    checkResman(target, res, state);
    return;
  }
  support::error(*rule, at, support::kAsk, "COMM: missing settings");
}

// A connection string claimed by an earlier process is a clash; `comm` is
// the process's section that forms it.
void registerConnection(support::NameSet& set, const support::Rule& rule,
                        const std::string& connection, const Value& comm, CommState& state) {
  if (connection.empty()) return;
  if (set.insert(connection, [&] { return kit::config::anchor(comm); })) return;
  support::duplicate(rule, locate(comm), set.firstPlace(connection), support::kAsk, "COMM: ip-connection ", connection,
                     " is defined more than once");
  state.error = true;
}

}  // namespace

int checkProcessComm(const kit::config::Dictionary& nodes, const NodeIndex& nodeIndex, const ProcessMembers& process) {
  const Value& entry = process.entry;
  Value comm = process.transport.get("comm");
  if (!comm.isDictionary()) {
    if (Verbose) support::info(support::rules::F50, locate(entry), support::kInfo, "COMM: not configured");
    return 0;
  }
  // Only the keys of "comm" that name nodes are visited, in the order of
  // "nodes" and once per occurrence of the node there.
  if (support::SymbolIndex* index = support::symbols()) index->useNodeKeys(comm);
  std::vector<uint32_t> positions;
  positionsOfKeys(nodeIndex, comm, positions);
  CommState state;
  OwnNode& self = state.self;
  self.name = process.node;
  self.named = self.name.getString(self.own) == 0;
  self.node = nodes.get(self.own);
  self.transport = self.node.get("transport");
  self.comm = self.transport.get("comm");
  for (uint32_t pos : positions) checkTarget(entry, comm, nodeIndex.names[pos], state);
  registerConnection(IpConnections, support::rules::F31, state.ipConnection, comm, state);
  registerConnection(ResmanPaths, support::rules::F32, state.resmanConnection, comm, state);
  return state.error ? 1 : 0;
}

}  // namespace framework
