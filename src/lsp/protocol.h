// The language server: the protocol's lifecycle, its requests and
// notifications, and the workspace's findings as the client's diagnostics.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "lsp/framing.h"

namespace lsp {

struct ServerOptions {
  bool strict = false;  // the `strict` setting until the client gives one
  int delayMs = 50;     // from the first change not yet checked to the check, at most
  int quietMs = 5;      // a pause of the input this long ends a burst of changes
  int indexAfterMs = 300;  // the pause after which the symbol index is brought up to date
  // Reads a file not open (the disk by default); where the server's log goes (standard error by default).
  std::function<bool(const std::string& path, std::string& text)> readFile;
  std::function<void(std::string_view line)> log;
};

// Serves messages from `in` until the client says `exit` or the input ends;
// returns the exit status: 0 when the client asked for shutdown first, else 1.
int serve(const Input& in, const Output& out, const ServerOptions& options);

}  // namespace lsp
