#include "framework/check_process_comm.h"

#include <string>
#include <vector>

#include "framework/fw_state.h"
#include "platform/tbx.h"

namespace framework {

namespace {

using kit::config::Value;

struct CommState {
  int32_t port = -1;  // -1: no port yet
  std::string resmanPath;
  std::string ipConnection;  // the last one formed wins
  std::string resmanConnection;
  bool error = false;
};

void fail(CommState& state, std::string_view first, std::string_view node, std::string_view rest) {
  tbx::cout << "  ?  COMM: " << first << node << rest << tbx::endl;
  state.error = true;
}

void checkTcpip(const kit::config::Dictionary& nodes, const Value& entry, std::string_view target, const Value& tcp,
                CommState& state) {
  int32_t port = 0;
  if (tcp.get("port").getInt(port) != 0) {
    fail(state, "TCP/IP Settings for node ", target, " missing 'port' entry");
    return;
  }
  if (state.port == -1) {
    state.port = port;
  } else if (port != state.port) {
    fail(state, "TCP/IP Settings for node ", target, " different port values on same proceess");
    return;
  }
  std::string_view own;
  if (entry.get("node").getString(own) != 0) {
    fail(state, "missing settings for node '", own, "'");
    return;
  }
  Value transport = nodes.get(own).get("transport");
  if (!transport.isPresent()) {
    fail(state, "missing 'transport' for node '", own, "'");
    return;
  }
  Value comm = transport.get("comm");
  if (!comm.isPresent()) {
    fail(state, "missing 'transport:comm' for node ", own, "");
    return;
  }
  std::string_view address;
  if (comm.get(target).get("tcpip").get("address").getString(address) != 0 &&
      comm.get("*").get("tcpip").get("address").getString(address) != 0) {
    tbx::cout << "  ?  COMM: using tcp/ip for node " << own << ": missing IP for node " << target << tbx::endl;
    state.error = true;
    return;
  }
  state.ipConnection.assign(address).append(1, ':').append(std::to_string(state.port));
  if (Verbose) tbx::cout << "!  COMM: using tcp/ip  '" << state.ipConnection << "' for node " << target << tbx::endl;
}

void checkResman(const kit::config::Dictionary& nodes, const Value& entry, std::string_view target, const Value& res,
                 CommState& state) {
  std::string_view path;
  if (res.get("path").getString(path) != 0) {
    fail(state, "RESMAN Settings for node ", target, " missing 'path' entry");
    return;
  }
  if (!state.resmanPath.empty() && path != state.resmanPath) {
    fail(state, "RESMAN settings for node ", target, " different 'resmam' values on same proceess");
    return;
  }
  state.resmanPath = path;
  std::string_view own;
  std::string_view root;  // no "*" fallback for root paths
  entry.get("node").getString(own);
  nodes.get(own).get("transport").get("comm").get(target).get("resman").get("root_path").getString(root);
  state.resmanConnection.assign(root).append(1, ':').append(path);
  if (Verbose) tbx::cout << "!  COMM: using resman path '" << state.resmanConnection << "' for node " << target << tbx::endl;
}

void checkTarget(const kit::config::Dictionary& nodes, const Value& entry, const Value& comm, std::string_view target,
                 CommState& state) {
  Value settings = comm.get(target);
  Value tcp = settings.get("tcpip");
  Value res = settings.get("resman");
  if (!tcp.isPresent() && !res.isPresent()) return;
  if (tcp.isPresent() && res.isPresent()) {
    fail(state, "Settings for node ", target, " with more than one entry");
  } else if (tcp.isPresent() && !tcp.isDictionary()) {
    fail(state, "TCP/IP Settings for node ", target, " are invalid");
  } else if (res.isPresent() && !res.isDictionary()) {
    fail(state, "RESMAN Settings for node ", target, " are invalid");
  } else if (tcp.isDictionary()) {
    checkTcpip(nodes, entry, target, tcp, state);
    return;
  } else {
    checkResman(nodes, entry, target, res, state);
    return;
  }
  tbx::cout << "  ?  COMM: missing settings" << tbx::endl;
}

// A connection string claimed by an earlier process is a clash.
void registerConnection(support::NameSet& set, const std::string& connection, CommState& state) {
  if (connection.empty()) return;
  if (!set.insert(connection)) fail(state, "ip-connection ", connection, " is defined more than once");
}

}  // namespace

int checkProcessComm(const kit::config::Dictionary& nodes, const NodeIndex& nodeIndex, const Value& entry) {
  Value comm = entry.get("transport").get("comm");
  if (!comm.isDictionary()) {
    if (Verbose) tbx::cout << "!  COMM: not configured" << tbx::endl;
    return 0;
  }
  // Only the keys of "comm" that name nodes are visited, in the order of
  // "nodes" and once per occurrence of the node there.
  std::vector<uint32_t> positions;
  positionsOfKeys(nodeIndex, comm, positions);
  CommState state;
  for (uint32_t pos : positions) checkTarget(nodes, entry, comm, nodeIndex.names[pos], state);
  registerConnection(IpConnections, state.ipConnection, state);
  registerConnection(ResmanPaths, state.resmanConnection, state);
  return state.error ? 1 : 0;
}

}  // namespace framework
