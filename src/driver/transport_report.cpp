#include "driver/transport_report.h"

#include <string>
#include <string_view>
#include <vector>

#include "platform/kit_config.h"
#include "platform/kit_transport.h"
#include "platform/tbx.h"

namespace driver {

namespace {

using kit::transport::TransportConfig;
using Record = TransportConfig::ConnectionEntryDescriptor;

struct ProcessNames {
  std::string node;
  std::string name;
};

const std::string kComm = "comm";
const std::string kTracing = "tracing";
const std::string kTraceServer = "traceserver";

const std::string& channelOf(const std::string& process) { return process == kTraceServer ? kTracing : kComm; }

// Writes the text of a record without ending the line; false for a type that
// has no text.
bool writeRecord(const Record& record) {
  switch (record.type) {
    case Record::kTcpIp:
      tbx::cerr << "  TCP/IP: " << record.address << ':' << record.port;
      return true;
    case Record::kResman:
      tbx::cerr << "  RESMAN: " << record.address;
      return true;
    case Record::kUndefined:
      tbx::cerr << "  UNDEF";
      return true;
    default:
      return false;
  }
}

// "%-30s:" without a field limit, so that long labels stay whole.
void writeLabel(const std::string& from, const std::string& to) {
  static constexpr std::string_view kBlanks = "                              ";
  const std::size_t length = from.size() + 4 + to.size();
  tbx::cerr << from << " -> " << to;
  if (length < kBlanks.size()) tbx::cerr << kBlanks.substr(length);
  tbx::cerr << ':';
}

void spawnSection(TransportConfig& service, const std::vector<ProcessNames>& processes, int& result) {
  std::vector<Record> records;
  for (const ProcessNames& p : processes) {
    tbx::cerr << p.node << "::" << p.name;
    records.clear();
    int16_t status = service.getSpawnConnectionConfigs(p.node, p.name, channelOf(p.name), records);
    if (status < 0) {
      tbx::cerr << " -> ERROR, reason " << tbx::ErrorStorage::reason() << tbx::endl;
      result = 1;
      tbx::ErrorStorage::ack();
    } else if (status == 0) {
      tbx::cerr << "NONE" << tbx::endl;
    } else {
      tbx::cerr << tbx::endl;
      for (const Record& record : records)
        if (writeRecord(record)) tbx::cerr << tbx::endl;
    }
  }
}

void singleSection(TransportConfig& service, const std::vector<ProcessNames>& processes) {
  for (const ProcessNames& first : processes) {
    if (first.name == kTraceServer) continue;
    for (const ProcessNames& second : processes) {
      if (first.name == second.name) continue;
      Record record;
      int16_t status = service.getSingleConnectionConfig(first.name, second.name, channelOf(second.name), record);
      if (status == -1) {
        writeLabel(first.name, second.name);
        tbx::cerr << " ERROR reason=" << tbx::ErrorStorage::reason() << tbx::endl;
        tbx::ErrorStorage::ack();
      } else if (status == 1 && record.type >= Record::kUndefined && record.type <= Record::kResman) {
        // A type without a text would leave a bare label behind; such a pair is left out.
        writeLabel(first.name, second.name);
        writeRecord(record);
        tbx::cerr << tbx::endl;
      }
    }
  }
}

}  // namespace

int transportReport(const kit::config::Dictionary* top) {
  TransportConfig::setFramework(top);
  TransportConfig& service = TransportConfig::getInstance();
  service.init("");

  // The names are read once; every pair needs them and the file does not change.
  std::vector<ProcessNames> processes;
  kit::config::Value procs = top != nullptr ? top->get(kit::config::FWKeys::PROCARRAY) : kit::config::Value();
  processes.resize(procs.size());
  for (uint32_t i = 0; i < processes.size(); ++i) {
    kit::config::Value entry = procs.at(i);
    entry.get(kit::config::FWKeys::NODEKEY).getString(processes[i].node);
    entry.get(kit::config::FWKeys::NAMEKEY).getString(processes[i].name);
  }

  int result = 0;
  tbx::cerr << "##### Spawing Transports #####" << tbx::endl;
  spawnSection(service, processes, result);
  tbx::cerr << "##### Single Transports #####" << tbx::endl;
  singleSection(service, processes);
  // The document goes with the run; the service must not keep its values.
  TransportConfig::setFramework(nullptr);
  service.init("");
  return result;
}

}  // namespace driver
