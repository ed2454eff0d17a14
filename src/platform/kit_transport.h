// Stand-in for the framework's transport configuration service: computes the
// connections of the processes declared in a framework file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/kit_config.h"

namespace kit::transport {

// The framework file setFramework hands the service, kept with the run.
struct TransportState {
  const kit::config::Dictionary* framework = nullptr;
};
using TransportScope = platform::RunScope<TransportState>;

class TransportConfig {
 public:
  struct ConnectionEntryDescriptor {
    static constexpr int32_t kUndefined = 0;
    static constexpr int32_t kTcpIp = 1;
    static constexpr int32_t kResman = 2;

    int32_t type = kUndefined;
    uint32_t port = UINT32_MAX;
    std::string address;  // host address for tcp/ip, path for the resource manager
  };

  // The process-wide service; it lives until the program ends.
  static TransportConfig& getInstance();

  // What init("") reads. The real service finds the configuration of the
  // running system by itself; this one has no system to look at, so the run
  // hands it the framework file of the run, parsed whole (the service keeps
  // values of every process) and alive until the last query. Null: no
  // top-level object, so no process to ask about.
  static void setFramework(const kit::config::Dictionary* top);

  // Reads the framework file `config` names, or the document set above when
  // it is empty, replacing what an earlier init read. Returns 0, or -1 with
  // the reason in tbx::ErrorStorage.
  int init(const char* config);

  // Connections process `process` on node `node` is spawned with on channel
  // `channel`, appended to `out`. Returns their number, or -1 with a reason.
  int16_t getSpawnConnectionConfigs(const std::string& node, const std::string& process,
                                    const std::string& channel, std::vector<ConnectionEntryDescriptor>& out);

  // How process `from` reaches process `to` on `channel`: 1 with `out` filled,
  // 0 when `to` offers nothing towards `from`'s node, -1 with a reason.
  int16_t getSingleConnectionConfig(const std::string& from, const std::string& to, const std::string& channel,
                                    ConnectionEntryDescriptor& out);

 private:
  // What is read once per process (first entry of that name).
  struct Process {
    std::string name;
    std::string node;
    bool hasNode = false;
    // "transport"/<channel> of the entry and of its node's entry, for the two
    // channels every process is asked about.
    kit::config::Value own[2];
    kit::config::Value onNode[2];
    kit::config::Value entry;
  };

  TransportConfig() = default;

  const Process* find(const std::string& name) const;
  void sections(const Process& p, const std::string& channel, kit::config::Value& own,
                kit::config::Value& onNode) const;
  int resolve(const Process& p, kit::config::Value own, kit::config::Value onNode, std::string_view key,
              ConnectionEntryDescriptor& out) const;

  std::unique_ptr<kit::config::JSONParser> m_parser;  // of a file named to init
  kit::config::Value m_nodes;
  std::unordered_map<std::string, Process> m_processes;
};

}  // namespace kit::transport
