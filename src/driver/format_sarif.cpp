// SARIF for code scanning: one document, written when the run ends.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "driver/formats.h"
#include "driver/json_output.h"

namespace driver {

using nlohmann::json;

namespace {

json physical(const std::string& file, support::Location at) {
  json loc{{"artifactLocation", {{"uri", artifactUri(file)}}}};
  if (at.line != 0) loc["region"] = {{"startLine", at.line}, {"startColumn", at.column}};
  return loc;
}

}  // namespace

void writeSarif(const Document& doc) {
  json rules = json::array();
  const auto all = support::allRules();
  for (const support::Rule* r : all) {
    std::string_view entry = ruleEntry(*r);
    rules.push_back({{"id", r->id},
                     {"shortDescription", {{"text", r->title}}},
                     {"fullDescription", {{"text", ruleSummary(*r)}}},
                     {"help", {{"text", plainEntry(entry)}, {"markdown", entry}}}});
  }
  json results = json::array();
  json notifications = json::array();
  FingerprintCounts seen;
  for (const support::Finding& f : doc.findings) {
    const char* level = f.severity == support::Severity::Error ? "error" : "note";
    json rule{{"id", f.rule}};
    if (const support::Rule* known = support::findRule(f.rule)) rule["index"] = std::find(all.begin(), all.end(), known) - all.begin();
    // A finding about the run as a whole (no file was checked) stands nowhere:
    // code scanning takes only results with a place.
    if (f.file.empty()) {
      notifications.push_back({{"level", level}, {"message", {{"text", fullMessage(f)}}}, {"associatedRule", rule}});
      continue;
    }
    json result{{"ruleId", f.rule},
                {"level", level},
                {"message", {{"text", fullMessage(f)}}},
                {"locations", json::array({{{"physicalLocation", physical(f.file, f.at)}}})},
                {"partialFingerprints", {{"cfgcheck/v1", fingerprint(f, seen)}}}};
    if (rule.contains("index")) result["ruleIndex"] = rule["index"];
    int id = 0;
    for (const support::Related& r : f.related) {
      result["relatedLocations"].push_back(
          {{"id", id++}, {"physicalLocation", physical(r.file, r.at)}, {"message", {{"text", r.message}}}});
    }
    for (const support::Suggestion& s : f.suggestions) {
      if (s.at.line == 0) continue;
      json region{{"startLine", s.at.line}, {"startColumn", s.at.column}, {"endColumn", s.at.endColumn}};
      json change{{"artifactLocation", {{"uri", artifactUri(f.file)}}},
                  {"replacements", json::array({{{"deletedRegion", region}, {"insertedContent", {{"text", replacementToken(s)}}}}})}};
      result["fixes"].push_back({{"description", {{"text", didYouMean(s)}}},
                                 {"artifactChanges", json::array({change})}});
    }
    results.push_back(std::move(result));
  }
  json invocation{{"executionSuccessful", true}, {"exitCode", doc.status}};
  if (!notifications.empty()) invocation["toolExecutionNotifications"] = std::move(notifications);
  json run{{"tool", {{"driver", {{"name", "cfgcheck"}, {"version", kVersion}, {"rules", std::move(rules)}}}}},
           {"columnKind", "unicodeCodePoints"},
           {"results", std::move(results)},
           {"invocations", json::array({std::move(invocation)})}};
  write(json{{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
             {"version", "2.1.0"},
             {"runs", json::array({std::move(run)})}});
}

}  // namespace driver
