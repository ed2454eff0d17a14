// Reading a file whole into memory, as the parsers want it: with padding.
#pragma once

#include <cstddef>
#include <string>

namespace kit::config {

// A growable buffer that keeps the parsers' padding after its text, or a
// large regular file mapped privately: its text may be written to, and pages
// the file loses while it is mapped read as zeros.
struct InputBuffer {
  char* data = nullptr;
  size_t capacity = 0;  // usable bytes before the padding
  size_t mapped = 0;    // bytes of the mapping at `data`; 0 for heap memory
  InputBuffer() = default;
  InputBuffer(const InputBuffer&) = delete;
  InputBuffer& operator=(const InputBuffer&) = delete;
  ~InputBuffer();
  bool reserve(size_t bytes);
  // Maps the first `bytes` of the open file `fd`, zeros after them.
  bool map(int fd, size_t bytes);
  void release();
  // The pages of a mapped file go back to the page cache; reading the text
  // faults them in again. Nothing for heap memory.
  void giveBack() const;
  // Gives back the pages of a larger earlier file beyond the `len` bytes in use.
  void trim(size_t len);
};

// Test hook: files of `bytes` or more are mapped (0: the usual size).
void setMapFrom(size_t bytes);

// Reads `path` whole into `buffer`, zeroing the padding after it. Directories
// and devices are refused; pipes are read to their end, once.
bool readWholeFile(const char* path, InputBuffer& buffer, size_t& len, std::string& reason);

}  // namespace kit::config
