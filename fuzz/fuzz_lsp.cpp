// Arbitrary bytes to the language server's loop, in memory: as they come
// (headers and all), or cut at NUL bytes into bodies that are framed
// correctly, so that the messages themselves meet hostile JSON. Files not
// open are the sound system's, under /sound.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "lsp/framing.h"
#include "lsp/protocol.h"
#include "test_helpers.h"

namespace {

const char* const kNames[] = {"framework.json", "servicemgr.json", "servicemgr_restart.json", "uvkstartup.json"};

bool soundFile(const std::string& path, std::string& text) {
  for (const char* name : kNames)
    if (path == std::string("/sound/") + name) {
      text = readFile(std::string(CFGCHECK_SOUND_DIR) + "/" + name);
      return true;
    }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t mode = data[0];
  std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
  std::string stream;
  if (mode & 1) {
    for (std::size_t cut = rest.find('\0'); !rest.empty(); cut = rest.find('\0')) {
      stream += lsp::frame(rest.substr(0, cut));
      rest.remove_prefix(cut == std::string_view::npos ? rest.size() : cut + 1);
    }
  } else {
    stream.assign(rest);
  }
  // Reads of a few bytes cut headers and bodies anywhere; a wait for a
  // pending check runs out before each read, so the checks run too.
  const std::size_t chunk = mode & 2 ? 1 + (mode >> 4) : stream.size() + 1;
  std::string_view left(stream);
  bool waited = false;
  lsp::Input in{[&](char* to, std::size_t room, int timeoutMs) -> long {
    if (timeoutMs >= 0 && !waited) {
      waited = true;
      return -1;
    }
    waited = false;
    const std::size_t n = std::min({room, chunk, left.size()});
    std::memcpy(to, left.data(), n);
    left.remove_prefix(n);
    return static_cast<long>(n);
  }};
  std::size_t written = 0;
  lsp::Output out = [&written](std::string_view bytes) { written += bytes.size(); };
  lsp::ServerOptions options;
  options.strict = mode & 4;
  options.delayMs = mode & 8 ? 0 : 50;
  options.readFile = soundFile;
  options.log = [](std::string_view) {};
  const int status = lsp::serve(in, out, options);
  if (status != 0 && status != 1) std::abort();
  return 0;
}
