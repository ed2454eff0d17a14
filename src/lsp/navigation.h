// Going from a name of a system to its declaration and uses, renaming it
// everywhere, and the outline of a file: all over the last run's symbols.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "lsp/workspace.h"

namespace lsp {

// The result of a request, or the error code and message it fails with.
struct Answer {
  nlohmann::json result;
  int error = 0;
  std::string message;
};

bool isNavigation(const std::string& method);
// `documentChanges`: the client takes versioned edits in a rename.
Answer navigate(const Workspace& ws, const std::string& method, const nlohmann::json& params, Encoding encoding,
                bool documentChanges);

// A protocol range over `text` (defined with the diagnostics).
nlohmann::json lspRange(std::string_view text, support::Location at, Encoding encoding);

}  // namespace lsp
