// The JSON report and SARIF: whole documents, written when the run ends.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "driver/formats.h"
#include "platform/tbx.h"

namespace driver {

namespace {

using nlohmann::json;

const char* severityName(support::Severity s) { return s == support::Severity::Error ? "error" : "info"; }

json number(uint32_t n) { return n != 0 ? json(n) : json(nullptr); }

void write(const json& doc) {
  // ASCII only: no name from a file reaches the terminal as a control character.
  std::string text = doc.dump(2, ' ', true, json::error_handler_t::replace);
  // "##[" stands only inside strings; escaped, no CI runner reads the line as a command.
  for (std::size_t at = text.find("##["); at != std::string::npos; at = text.find("##[", at)) text.replace(at + 2, 1, "\\u005b");
  tbx::cout << text << tbx::endl;
}

json place(const std::string& file, support::Location at, const std::string& message) {
  return json{{"file", file}, {"line", number(at.line)}, {"column", number(at.column)}, {"message", message}};
}

// The path as a URI reference relative to the working directory.
std::string artifactUri(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::path p(path);
  if (p.is_absolute()) {
    fs::path cwd = fs::current_path(ec);
    if (!ec) p = p.lexically_proximate(cwd);
  }
  std::string out;
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (unsigned char c : p.generic_string()) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

json physical(const std::string& file, support::Location at) {
  json loc{{"artifactLocation", {{"uri", artifactUri(file)}}}};
  if (at.line != 0) loc["region"] = {{"startLine", at.line}, {"startColumn", at.column}};
  return loc;
}

json connection(const support::Connection& c) {
  switch (c.type) {
    case support::Connection::TcpIp:
      return {{"type", "tcpip"}, {"address", c.address}, {"port", c.port}};
    case support::Connection::Resman:
      return {{"type", "resman"}, {"path", c.address}};
    default:
      return {{"type", "undefined"}};
  }
}

json transportEntries(const std::vector<support::TransportEntry>& entries) {
  json out = json::array();
  for (const support::TransportEntry& e : entries) {
    json item = e.spawn ? json{{"node", e.node}, {"process", e.from}} : json{{"from", e.from}, {"to", e.to}};
    if (e.failed) {
      item["error"] = e.reason;
    } else if (e.spawn) {
      item["connections"] = json::array();
      for (const support::Connection& c : e.connections) item["connections"].push_back(connection(c));
    } else {
      item["connection"] = connection(e.connections.front());
    }
    out.push_back(std::move(item));
  }
  return out;
}

}  // namespace

void writeJson(const Document& doc, const char* summary) {
  json files = json::array();
  for (const FileRecord& f : doc.files) {
    files.push_back({{"path", f.path},
                     {"parsed", f.parsed},
                     {"time_ms", f.ms},
                     {"reason", f.parsed ? json(nullptr) : json(f.reason)},
                     {"content_checked", f.content}});
  }
  json findings = json::array();
  std::size_t errors = 0;
  for (const support::Finding& f : doc.findings) {
    if (f.severity == support::Severity::Error) ++errors;
    json item = place(f.file, f.at, fullMessage(f));
    item["rule"] = f.rule;
    item["severity"] = severityName(f.severity);
    item["related"] = json::array();
    for (const support::Related& r : f.related) item["related"].push_back(place(r.file, r.at, r.message));
    findings.push_back(std::move(item));
  }
  json out{{"tool", {{"name", "cfgcheck"}, {"version", kVersion}}},
           {"files", std::move(files)},
           {"findings", std::move(findings)},
           {"errors", errors},
           {"summary", summary},
           {"status", doc.status}};
  if (doc.transport) out["transport"] = {{"spawn", transportEntries(doc.spawn)}, {"single", transportEntries(doc.single)}};
  write(out);
}

void writeSarif(const Document& doc) {
  json rules = json::array();
  for (std::size_t i = 0; i < kRuleCount; ++i) {
    const RuleEntry& r = kRules[i];
    std::string description = ruleDescription(r);
    rules.push_back({{"id", r.id},
                     {"shortDescription", {{"text", description}}},
                     {"helpUri", std::string(kRulesUri) + '#' + ruleAnchor(r)},
                     {"help", {{"text", std::string("docs/rules.md, ") + r.id + ": " + description}}}});
  }
  json results = json::array();
  for (const support::Finding& f : doc.findings) {
    json result{{"ruleId", f.rule},
                {"level", f.severity == support::Severity::Error ? "error" : "note"},
                {"message", {{"text", fullMessage(f)}}}};
    // A finding about the run as a whole (no file was checked) stands nowhere.
    if (!f.file.empty()) result["locations"] = json::array({{{"physicalLocation", physical(f.file, f.at)}}});
    for (std::size_t i = 0; i < kRuleCount; ++i)
      if (f.rule == kRules[i].id) result["ruleIndex"] = i;
    int id = 0;
    for (const support::Related& r : f.related) {
      result["relatedLocations"].push_back(
          {{"id", id++}, {"physicalLocation", physical(r.file, r.at)}, {"message", {{"text", r.message}}}});
    }
    results.push_back(std::move(result));
  }
  json run{{"tool", {{"driver", {{"name", "cfgcheck"}, {"version", kVersion}, {"informationUri", kRulesUri},
                                 {"rules", std::move(rules)}}}}},
           {"columnKind", "unicodeCodePoints"},
           {"results", std::move(results)},
           {"invocations", json::array({{{"executionSuccessful", true}, {"exitCode", doc.status}}})}};
  write(json{{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
             {"version", "2.1.0"},
             {"runs", json::array({std::move(run)})}});
}

}  // namespace driver
