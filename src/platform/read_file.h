// Reading a file whole into memory, as the parsers want it: with padding.
#pragma once

#include <cstddef>
#include <string>

namespace kit::config {

// A growable buffer that keeps the parsers' padding after its text.
struct InputBuffer {
  char* data = nullptr;
  size_t capacity = 0;  // usable bytes before the padding
  InputBuffer() = default;
  InputBuffer(const InputBuffer&) = delete;
  InputBuffer& operator=(const InputBuffer&) = delete;
  ~InputBuffer();
  bool reserve(size_t bytes);
  // Gives back the pages of a larger earlier file beyond the `len` bytes in use.
  void trim(size_t len);
};

// Reads `path` whole into `buffer`, zeroing the padding after it. Directories
// and devices are refused; pipes are read to their end, once.
bool readWholeFile(const char* path, InputBuffer& buffer, size_t& len, std::string& reason);

}  // namespace kit::config
