// Hover and completion in the known files, from the last run's symbol index
// and the document's text as it is now: no request checks anything again.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "lsp/workspace.h"

namespace lsp {

// The Hover at `at` of the open document `uri`; null when there is nothing to tell.
nlohmann::json hover(const Workspace& ws, const std::string& uri, Position at, Encoding encoding);

// A CompletionList for `at`; null when the place takes nothing the system knows.
// With `sharedRange` the items' range is given once, as their default.
nlohmann::json completion(const Workspace& ws, const std::string& uri, Position at, Encoding encoding, bool sharedRange);

}  // namespace lsp
