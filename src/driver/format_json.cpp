// The JSON report, and what the documents written when the run ends share.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "driver/formats.h"
#include "driver/json_output.h"
#include "platform/tbx.h"

namespace driver {

namespace {

using nlohmann::json;

const char* severityName(support::Severity s) { return s == support::Severity::Error ? "error" : "info"; }

json number(uint32_t n) { return n != 0 ? json(n) : json(nullptr); }

json place(const std::string& file, support::Location at, const std::string& message) {
  return json{{"file", file}, {"line", number(at.line)}, {"column", number(at.column)}, {"message", message}};
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

void write(const json& doc) {
  // ASCII only: no name from a file reaches the terminal as a control character.
  std::string text = doc.dump(2, ' ', true, json::error_handler_t::replace);
  // "##[" stands only inside strings; escaped, no CI runner reads the line as a command.
  for (std::size_t at = text.find("##["); at != std::string::npos; at = text.find("##[", at)) text.replace(at + 2, 1, "\\u005b");
  tbx::cout << text << tbx::endl;
}

std::string relativePath(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::path p = fs::path(path).lexically_normal();
  if (p.is_absolute()) {
    fs::path cwd = fs::current_path(ec);
    if (!ec) p = p.lexically_proximate(cwd);
  }
  return p.generic_string();
}

std::string uriEscaped(std::string_view path) {
  std::string out;
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (unsigned char c : path) {
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

std::string artifactUri(const std::string& path) { return uriEscaped(relativePath(path)); }

namespace {
// FNV-1a, 64 bits: the same on every machine, unlike std::hash.
uint64_t fnv1a(std::string_view text, uint64_t hash) {
  for (unsigned char c : text) hash = (hash ^ c) * 0x100000001b3ULL;
  return hash;
}
}  // namespace

std::string hexDigest(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  for (uint64_t hash : {fnv1a(text, 0xcbf29ce484222325ULL), fnv1a(text, 0x84222325cbf29ce4ULL)})
    for (int shift = 60; shift >= 0; shift -= 4) out += kHex[(hash >> shift) & 15];
  return out;
}

std::string fingerprint(const support::Finding& f, FingerprintCounts& seen) {
  std::string key(f.rule);
  key += '\n';
  key += artifactUri(f.file);
  key += '\n';
  // The quoted names; a message without any, without its numbers.
  const std::string& m = f.message;
  bool named = false;
  for (std::size_t open = m.find('\''); open != std::string::npos; open = m.find('\'', open)) {
    std::size_t close = m.find('\'', open + 1);
    if (close == std::string::npos) break;
    key.append(m, open, close - open + 1);
    named = true;
    open = close + 1;
  }
  if (!named)
    for (char c : m)
      if (c < '0' || c > '9') key += c;
  return hexDigest(key) + ':' + std::to_string(++seen[key]);
}

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

}  // namespace driver
