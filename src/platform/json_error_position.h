// Explains why a JSON text was rejected, with the position of the fault.
#pragma once

#include <cstddef>
#include <string>

#include "platform/kit_config.h"

namespace kit::config {

struct JsonError {
  std::string reason;
  ParseFault place;
};

// "line L, column C: what is wrong" for the first fault of `text`, in the
// words of the mistake and where it was made, and that place as data; lines
// and columns count from 1, columns in code points. An empty reason when no
// fault is found. Nesting deeper than `maxDepth`, and numbers that do not
// fit a 64-bit integer or a double, count as faults.
JsonError describeJsonError(const char* text, std::size_t len, std::size_t maxDepth);

}  // namespace kit::config
