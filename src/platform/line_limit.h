// The longest line a file may have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/location.h"

namespace kit::config {

// True when a line of `buf` is longer than `limit` bytes; `reason` then names
// the first such line and its length, and `at` the character the limit cuts.
// A line is the bytes between line feeds, without the line feed and a
// carriage return right before it.
bool lineTooLong(const char* buf, size_t len, uint32_t limit, std::string& reason, Location& at);

}  // namespace kit::config
