// The command line's side of the engine's events: the chosen format writes
// them as they come (text and the line formats) or gathers them into its
// document, written when the run ends.
#pragma once

#include "driver/formats.h"
#include "engine/check.h"

namespace driver {

struct Output {
  support::Format format = support::Format::Text;
  Document doc;  // what the document formats gather
};

engine::Sink sinkFor(Output& out);
// The summary and, for the document formats, the document. `status` is the
// exit status the run ends with.
void finish(Output& out, int status);

}  // namespace driver
