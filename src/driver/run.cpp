#include "driver/run.h"

#include <memory>
#include <string>
#include <vector>

#include "driver/directory_scan.h"
#include "driver/formats.h"
#include "driver/options.h"
#include "driver/render.h"
#include "engine/check.h"
#include "lsp/protocol.h"
#include "platform/kit_config.h"
#include "platform/read_file.h"
#include "platform/plat.h"
#include "platform/tbx.h"
#include "support/report.h"
#include "support/symbols.h"

namespace driver {

namespace {

// The files of the run, read when the engine comes to each: texts it is done
// with go back to a pool, so that a run holds the known files' texts and one
// more, as when the parser read them itself.
struct FileReader {
  const std::vector<std::string>& paths;
  std::vector<std::unique_ptr<kit::config::InputBuffer>> buffers;
  std::vector<std::unique_ptr<kit::config::InputBuffer>> spare;

  explicit FileReader(const std::vector<std::string>& p) : paths(p), buffers(p.size()) {}

  engine::Source open(std::size_t i) {
    engine::Source source;
    source.path = paths[i];
    std::unique_ptr<kit::config::InputBuffer> buffer;
    if (spare.empty()) {
      buffer = std::make_unique<kit::config::InputBuffer>();
    } else {
      buffer = std::move(spare.back());
      spare.pop_back();
    }
    size_t len = 0;
    if (kit::config::readWholeFile(paths[i].c_str(), *buffer, len, source.unreadable)) {
      source.text = std::string_view(buffer->data, len);
      source.padded = true;
    }
    buffers[i] = std::move(buffer);
    return source;
  }

  void release(std::size_t i, bool done) {
    if (!buffers[i]) return;
    if (!done) {
      buffers[i]->giveBack();
      return;
    }
    // A mapped file's pages are not worth keeping; a heap buffer's are.
    if (buffers[i]->mapped != 0) buffers[i]->release();
    spare.push_back(std::move(buffers[i]));
  }
};

}  // namespace

namespace {

// Standard output carries the protocol: a wrong command line is told on standard error.
int serveLsp(const Options& options) {
  if (!options.fault.empty()) {
    for (const std::string& line : options.fault) tbx::cerr << line << tbx::endl;
    return -1;
  }
  lsp::ServerOptions server;
  server.strict = options.strict;
  return lsp::serve(lsp::fdInput(0), lsp::fdOutput(1), server);
}

}  // namespace

engine::Options checkOptions(const Options& options) {
  engine::Options checks;
  checks.format = options.format;
  checks.maxLineLength = options.maxLineLength;
  checks.transport = options.transport;
  checks.verbose = options.verbose;
  checks.strict = options.strict;
  return checks;
}

int run(int argc, const char* const* argv) {
  tbx::ErrorStorage errors(tbx::ErrorStorage::action_dump_to_stdout);
  const Options options = readOptions(argc, argv);
  switch (options.ask) {
    case Options::Ask::Help:
      printHelp();
      return 0;
    case Options::Ask::Version:
      tbx::cout << "cfgcheck " << kVersion << tbx::endl;
      return 0;
    case Options::Ask::Explain:
      return explainRule(options.explain);
    case Options::Ask::Usage:
      printUsage();
      return -1;
    case Options::Ask::Lsp:
      return serveLsp(options);
    case Options::Ask::Check:
      break;
  }
  plat::Plat platform(true, false);
  Output out;
  out.format = options.format;
  const engine::Sink sink = sinkFor(out);
  // The directory scan reports through the same output as the run.
  support::ReportState scanState;
  scanState.format = options.format;
  scanState.sink = &sink;
  const support::ReportScope scan(scanState);

  std::vector<std::string> files;
  engine::Options checks = checkOptions(options);
  const std::size_t inputs = options.fault.empty() ? options.inputs.size() : options.inputsBeforeFault;
  for (std::size_t i = 0; i < inputs; ++i) {
    const Input& input = options.inputs[i];
    if (!input.isDirectory) files.push_back(input.path);
    else if (scanDirectory(input.path.c_str(), files) != 0) checks.unreadableDirectories.push_back(input.path);
  }
  if (!options.fault.empty()) {
    for (const std::string& line : options.fault) tbx::cout << line << tbx::endl;
    if (options.usage) printUsage();
    return -1;
  }

  FileReader reader(files);
  engine::Sources sources;
  sources.count = files.size();
  sources.open = [&reader](std::size_t i) { return reader.open(i); };
  sources.release = [&reader](std::size_t i, bool done) { reader.release(i, done); };
  const int status = engine::check(sources, checks, sink);
  finish(out, status);
  return status;
}

}  // namespace driver
