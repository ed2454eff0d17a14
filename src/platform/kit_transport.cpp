#include "platform/kit_transport.h"

#include <string_view>

#include "platform/tbx.h"

namespace kit::transport {

using kit::config::Value;
using Record = TransportConfig::ConnectionEntryDescriptor;

namespace {

// The channels precomputed per process; any other is looked up per query.
const char* const kChannels[2] = {"comm", "tracing"};

int channelIndex(std::string_view channel) {
  for (int i = 0; i < 2; ++i)
    if (channel == kChannels[i]) return i;
  return -1;
}

int16_t fail(const std::string& reason) {
  tbx::ErrorStorage::record(reason);
  return -1;
}

std::string quoted(std::string_view text) {
  std::string q;
  q.reserve(text.size() + 2);
  q.append(1, '\'').append(text).append(1, '\'');
  return q;
}

// Root and path meet at exactly one slash, whatever either side brings.
std::string joinPath(std::string_view root, std::string_view path) {
  if (root.empty()) return std::string(path);
  while (!root.empty() && root.back() == '/') root.remove_suffix(1);
  while (!path.empty() && path.front() == '/') path.remove_prefix(1);
  std::string joined;
  joined.reserve(root.size() + 1 + path.size());
  joined.append(root).append(1, '/').append(path);
  return joined;
}

}  // namespace

TransportConfig& TransportConfig::getInstance() {
  // Never destroyed: the parsed document must not outlive the parser's pool
  // at exit, and nobody needs the service after the report.
  static TransportConfig* instance = new TransportConfig();
  return *instance;
}

void TransportConfig::setFramework(const kit::config::Dictionary* top) { TransportScope::current().framework = top; }

int TransportConfig::init(const char* config) {
  // The service outlives the run: a large framework's room must not stay.
  decltype(m_processes)().swap(m_processes);
  m_nodes = Value();
  m_parser.reset();
  const kit::config::Dictionary* top = TransportScope::current().framework;
  if (config != nullptr && *config != '\0') {
    m_parser = std::make_unique<kit::config::JSONParser>(kit::config::JSONParser::Whole);  // sections are kept per process
    kit::config::Dictionary* parsed = nullptr;
    kit::config::Array* array = nullptr;
    if (m_parser->parseFile(config, parsed, array, 0) != 0) return -1;  // the parser left the reason
    top = parsed;
  }
  if (top == nullptr) return 0;  // no processes to ask about

  m_nodes = top->get("nodes");
  Value procs = top->get(kit::config::FWKeys::PROCARRAY);
  const uint32_t count = procs.size();
  m_processes.reserve(count);
  for (uint32_t i = 0; i < count; ++i) {
    Value entry = procs.at(i);
    std::string name;
    if (entry.get(kit::config::FWKeys::NAMEKEY).getString(name) != 0) continue;  // cannot be asked for
    auto [slot, added] = m_processes.try_emplace(name);
    if (!added) continue;  // the first entry of a name is the process
    Process& p = slot->second;
    p.name = std::move(name);
    p.entry = entry;
    p.hasNode = entry.get(kit::config::FWKeys::NODEKEY).getString(p.node) == 0;
    for (int c = 0; c < 2; ++c) {
      p.own[c] = entry.get("transport").get(kChannels[c]);
      if (p.hasNode) p.onNode[c] = m_nodes.get(p.node).get("transport").get(kChannels[c]);
    }
  }
  return 0;
}

const TransportConfig::Process* TransportConfig::find(const std::string& name) const {
  auto found = m_processes.find(name);
  return found == m_processes.end() ? nullptr : &found->second;
}

void TransportConfig::sections(const Process& p, const std::string& channel, Value& own, Value& onNode) const {
  int c = channelIndex(channel);
  if (c >= 0) {
    own = p.own[c];
    onNode = p.onNode[c];
    return;
  }
  own = p.entry.get("transport").get(channel);
  onNode = p.hasNode ? m_nodes.get(p.node).get("transport").get(channel) : Value();
}

// The endpoint process `p` offers towards node key `key`: 1 and `out` filled,
// 0 for none, -1 with a reason.
int TransportConfig::resolve(const Process& p, Value own, Value onNode, std::string_view key, Record& out) const {
  Value target = own.get(key);
  Value tcpip = target.get("tcpip");
  if (tcpip.isDictionary()) {
    int32_t port = 0;
    if (tcpip.get("port").getInt(port) != 0)
      return fail("process " + quoted(p.name) + " has no tcp/ip port for node " + quoted(key));
    if (onNode.get(key).get("tcpip").get("address").getString(out.address) != 0 &&
        onNode.get("*").get("tcpip").get("address").getString(out.address) != 0)
      return fail("process " + quoted(p.name) + " has no tcp/ip address for node " + quoted(key));
    out.type = Record::kTcpIp;
    out.port = static_cast<uint32_t>(port);
    return 1;
  }
  Value resman = target.get("resman");
  if (resman.isDictionary()) {
    std::string path;
    if (resman.get("path").getString(path) != 0)
      return fail("process " + quoted(p.name) + " has no resman path for node " + quoted(key));
    std::string root;
    onNode.get(key).get("resman").get("root_path").getString(root);  // no root: the path alone
    out.type = Record::kResman;
    out.address = joinPath(root, path);
    return 1;
  }
  return 0;
}

int16_t TransportConfig::getSpawnConnectionConfigs(const std::string& node, const std::string& process,
                                                   const std::string& channel, std::vector<Record>& out) {
  const Process* p = find(process);
  if (p == nullptr) return fail("unknown process " + quoted(process));
  if (!p->hasNode) return fail("process " + quoted(process) + " has no 'node'");
  if (p->node != node)
    return fail("process " + quoted(process) + " runs on node " + quoted(p->node) + ", not on " + quoted(node));
  if (!m_nodes.get(node).isDictionary()) return fail("node " + quoted(node) + " is not defined in 'nodes'");

  Value own;
  Value onNode;
  sections(*p, channel, own, onNode);
  int32_t added = 0;
  for (auto it = own.begin(), end = own.end(); it != end; ++it) {
    std::string_view key = it.key();
    if (key != "*" && !m_nodes.get(key).isDictionary()) continue;
    Record record;
    int rc = resolve(*p, own, onNode, key, record);
    if (rc < 0) return -1;
    if (rc > 0) {
      out.push_back(std::move(record));
      ++added;
    }
  }
  return static_cast<int16_t>(added > INT16_MAX ? INT16_MAX : added);
}

int16_t TransportConfig::getSingleConnectionConfig(const std::string& from, const std::string& to,
                                                   const std::string& channel, Record& out) {
  const Process* a = find(from);
  if (a == nullptr) return fail("unknown process " + quoted(from));
  const Process* b = find(to);
  if (b == nullptr) return fail("unknown process " + quoted(to));

  Value own;
  Value onNode;
  sections(*b, channel, own, onNode);
  std::string_view key = "*";
  if (a->hasNode && own.get(a->node).isPresent()) key = a->node;
  else if (!own.get("*").isPresent()) return 0;
  return static_cast<int16_t>(resolve(*b, own, onNode, key, out));
}

}  // namespace kit::transport
