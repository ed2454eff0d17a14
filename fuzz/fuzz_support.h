// Shared set-up of the fuzz targets: a scratch directory holding a sound
// system, output sent nowhere, and a fresh run per input.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "driver/run.h"
#include "framework/fw_state.h"
#include "platform/tbx.h"
#include "support/report.h"
#include "test_helpers.h"

namespace fuzzing {

inline std::span<const char* const> kKnownFileNames = engine::knownFileNames();

// A place must stand on a character of its file, or just past a line's end,
// and end after its start, on its line; columns count code points.
inline void checkPlace(const std::string& file, kit::config::Location at) {
  if (at.line == 0) return;
  const std::string text = readFile(file);
  uint32_t line = 1, column = 1;
  for (std::size_t i = 0; i < text.size() && line < at.line; ++i)
    if (text[i] == '\n') ++line;
  if (line != at.line) std::abort();
  std::size_t start = 0;
  for (uint32_t l = 1; l < at.line; ++l) start = text.find('\n', start) + 1;
  for (std::size_t i = start; i < text.size() && text[i] != '\n'; ++i)
    if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) ++column;
  if (at.column < 1 || at.column > column) std::abort();
  if (at.endColumn <= at.column || at.endColumn > column + 1) std::abort();
  if (at.utf16 < at.column || at.endUtf16 - at.utf16 < at.endColumn - at.column) std::abort();
}

inline void checkPlaces(const support::Finding& f) {
  checkPlace(f.file, f.at);
  for (const support::Related& r : f.related) checkPlace(r.file, r.at);
}

inline void writeFile(const std::string& path, const char* data, size_t size) {
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(data, static_cast<std::streamsize>(size));
}

struct Sandbox {
  std::string dir;
  std::vector<std::string> sound;  // the sound content of each known file

  Sandbox() {
    char tmpl[] = "/tmp/cfgcheck-fuzz-XXXXXX";
    dir = mkdtemp(tmpl);
    for (const char* name : kKnownFileNames) {
      sound.push_back(readFile(std::string(CFGCHECK_SOUND_DIR) + "/" + name));
      writeFile(dir + "/" + name, sound.back().data(), sound.back().size());
    }
    // nothing the run prints is of interest; a blocked terminal must not stall it
    int devnull = open("/dev/null", O_RDWR);
    tbx::cout.redirect(devnull);
    tbx::cerr.redirect(devnull);
    dup2(devnull, 0);
    support::observeFindings(checkPlaces);
  }

  int run(const std::vector<std::string>& args) {
    std::vector<const char*> argv{"cfgcheck"};
    for (const std::string& a : args) argv.push_back(a.c_str());
    framework::resetState();
    return driver::run(static_cast<int>(argv.size()), argv.data());
  }
};

}  // namespace fuzzing
