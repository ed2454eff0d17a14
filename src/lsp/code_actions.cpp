#include "lsp/code_actions.h"

#include <algorithm>

namespace lsp {

using nlohmann::json;

json fixData(const support::Finding& f) {
  if (f.suggestions.empty()) return nullptr;
  json names = json::array();
  for (const support::Suggestion& s : f.suggestions) names.push_back(s.text);
  return {{"suggestions", std::move(names)}};
}

json codeActions(const json& params) {
  json out = json::array();
  const json none = json::object();
  auto at = [&none](const json& o, const char* key) -> const json& {
    return o.is_object() && o.contains(key) ? o[key] : none;
  };
  const json& uri = at(at(params, "textDocument"), "uri");
  const json& context = at(params, "context");
  const json& only = at(context, "only");
  const json& diagnostics = at(context, "diagnostics");
  if (!uri.is_string() || !diagnostics.is_array()) return out;
  // A client that asks for other kinds only gets none of ours.
  if (only.is_array() && std::none_of(only.begin(), only.end(), [](const json& k) { return k == "quickfix"; })) return out;
  for (const json& d : diagnostics) {
    const json& names = at(at(d, "data"), "suggestions");
    const json& range = at(d, "range");
    if (at(d, "source") != "cfgcheck" || !names.is_array() || !range.is_object()) continue;
    for (const json& name : names) {
      if (!name.is_string()) continue;
      // The token is a JSON string: the name goes in with its quotes.
      json edit{{"range", range}, {"newText", name.dump(-1, ' ', false, json::error_handler_t::replace)}};
      out.push_back({{"title", "Replace with '" + name.get<std::string>() + "'"},
                     {"kind", "quickfix"},
                     {"isPreferred", true},
                     {"diagnostics", json::array({d})},
                     {"edit", {{"changes", {{uri.get<std::string>(), json::array({std::move(edit)})}}}}}});
    }
  }
  return out;
}

}  // namespace lsp
