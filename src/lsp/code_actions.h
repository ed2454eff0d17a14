// Quick fixes: what a finding suggests its token should be, as an edit the
// client offers beside the diagnostic.
#pragma once

#include <nlohmann/json.hpp>

#include "support/report.h"

namespace lsp {

// The diagnostic's `data`, which the client hands back with the code action
// request: the names suggested. Null when there are none.
nlohmann::json fixData(const support::Finding& f);

// The answer to textDocument/codeAction: a preferred quick fix for each
// suggestion of the diagnostics given, replacing the diagnostic's token.
nlohmann::json codeActions(const nlohmann::json& params);

}  // namespace lsp
