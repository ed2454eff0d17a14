#include "engine/transport_report.h"

#include <string>
#include <string_view>
#include <vector>

#include "platform/kit_config.h"
#include "platform/kit_transport.h"
#include "platform/tbx.h"
#include "support/report.h"

namespace engine {

namespace {

using kit::transport::TransportConfig;
using Record = TransportConfig::ConnectionEntryDescriptor;

struct ProcessNames {
  std::string node;
  std::string name;
  kit::config::Location at;  // the process entry
};

const std::string kComm = "comm";
const std::string kTracing = "tracing";
const std::string kTraceServer = "traceserver";

std::string reasonText() {
  const char* reason = tbx::ErrorStorage::reason();
  return reason != nullptr ? reason : "";
}

const std::string& channelOf(const std::string& process) { return process == kTraceServer ? kTracing : kComm; }

// Appends the text of a record; false for a type that has no text.
bool writeRecord(std::string& line, const Record& record) {
  switch (record.type) {
    case Record::kTcpIp:
      line.append("  TCP/IP: ").append(record.address).append(1, ':').append(std::to_string(record.port));
      return true;
    case Record::kResman:
      line.append("  RESMAN: ").append(record.address);
      return true;
    case Record::kUndefined:
      line.append("  UNDEF");
      return true;
    default:
      return false;
  }
}

// "%-30s:" without a field limit, so that long labels stay whole.
std::string label(const std::string& from, const std::string& to) {
  std::string line = from + " -> " + to;
  if (line.size() < 30) line.append(30 - line.size(), ' ');
  return line + ':';
}

support::Connection connectionOf(const Record& record) {
  support::Connection c;
  c.type = static_cast<support::Connection::Type>(record.type);
  c.address = record.address;
  c.port = record.port;
  return c;
}

bool hasText(const Record& record) { return record.type >= Record::kUndefined && record.type <= Record::kResman; }

// A failed query: a line of the report in the text form, a finding in all.
void failure(const support::Rule& rule, kit::config::Location at, std::string line) {
  support::Finding f = support::finding(rule, at, "", line);
  f.onStderr = true;
  support::report(std::move(f));
}

void spawnSection(TransportConfig& service, const std::vector<ProcessNames>& processes, int& result) {
  const bool data = support::wantsTransportEntries();
  std::vector<Record> records;
  for (const ProcessNames& p : processes) {
    std::string line = p.node + "::" + p.name;
    records.clear();
    int16_t status = service.getSpawnConnectionConfigs(p.node, p.name, channelOf(p.name), records);
    if (data) {
      support::TransportEntry entry;
      entry.spawn = true;
      entry.node = p.node;
      entry.from = p.name;
      entry.failed = status < 0;
      if (entry.failed) entry.reason = reasonText();
      if (status > 0)
        for (const Record& record : records)
          if (hasText(record)) entry.connections.push_back(connectionOf(record));
      support::transportEntry(std::move(entry));
    }
    if (status < 0) {
      failure(support::rules::T1, p.at, line + " -> ERROR, reason " + reasonText());
      result = 1;
      tbx::ErrorStorage::ack();
    } else if (status == 0) {
      support::transportLine(line + "NONE");
    } else {
      support::transportLine(line);
      for (const Record& record : records) {
        line.clear();
        if (writeRecord(line, record)) support::transportLine(line);
      }
    }
  }
}

void singleSection(TransportConfig& service, const std::vector<ProcessNames>& processes) {
  const bool data = support::wantsTransportEntries();
  for (const ProcessNames& first : processes) {
    if (first.name == kTraceServer) continue;
    for (const ProcessNames& second : processes) {
      if (first.name == second.name) continue;
      Record record;
      int16_t status = service.getSingleConnectionConfig(first.name, second.name, channelOf(second.name), record);
      if (data && (status == -1 || (status == 1 && hasText(record)))) {
        support::TransportEntry entry;
        entry.from = first.name;
        entry.to = second.name;
        entry.failed = status == -1;
        if (entry.failed) entry.reason = reasonText();
        else entry.connections.push_back(connectionOf(record));
        support::transportEntry(std::move(entry));
      }
      if (status == -1) {
        failure(support::rules::T2, first.at, label(first.name, second.name) + " ERROR reason=" + reasonText());
        tbx::ErrorStorage::ack();
      } else if (status == 1 && hasText(record)) {
        // A type without a text would leave a bare label behind; such a pair is left out.
        std::string line = label(first.name, second.name);
        writeRecord(line, record);
        support::transportLine(line);
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
    processes[i].at = kit::config::locate(entry);
  }

  int result = 0;
  support::transportLine("##### Spawing Transports #####");
  spawnSection(service, processes, result);
  support::transportLine("##### Single Transports #####");
  singleSection(service, processes);
  // The document goes with the run; the service must not keep its values.
  TransportConfig::setFramework(nullptr);
  service.init("");
  return result;
}

}  // namespace engine
