// The GitLab code quality report: one document, written when the run ends.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "driver/formats.h"
#include "driver/json_output.h"

namespace driver {

using nlohmann::json;

void writeGitlab(const Document& doc) {
  json out = json::array();
  FingerprintCounts seen;
  for (const support::Finding& f : doc.findings) {
    // GitLab places every entry in a file; the exit status still tells of the rest.
    if (f.file.empty()) continue;
    out.push_back({{"description", fullMessage(f) + suggestionSentences(f)},
                   {"check_name", f.rule},
                   {"fingerprint", hexDigest(fingerprint(f, seen))},
                   {"severity", f.severity == support::Severity::Error ? "major" : "info"},
                   {"location", {{"path", relativePath(f.file)}, {"lines", {{"begin", std::max(f.at.line, 1u)}}}}}});
  }
  write(out);
}

}  // namespace driver
