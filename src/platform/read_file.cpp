#include "platform/read_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <simdjson.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/huge_pages.h"

namespace kit::config {

namespace {
// A buffer keeps no more than this of a larger earlier file: checks hold a
// document while name sets grow.
constexpr size_t kKeepBytes = size_t(16) << 20;
}  // namespace

InputBuffer::~InputBuffer() { std::free(data); }

bool InputBuffer::reserve(size_t bytes) {
  if (bytes <= capacity) return true;
  size_t want = capacity == 0 ? 4096 : capacity;
  while (want < bytes) want = want > (SIZE_MAX / 4) ? bytes : want * 2;
  void* grown = std::realloc(data, want + simdjson::SIMDJSON_PADDING);
  if (grown == nullptr) return false;
  data = static_cast<char*>(grown);
  capacity = want;
  platform::adviseHugePages(data, capacity);
  return true;
}

void InputBuffer::trim(size_t len) {
  constexpr uintptr_t kPage = 4096;
  uintptr_t from = (reinterpret_cast<uintptr_t>(data) + len + simdjson::SIMDJSON_PADDING + kPage - 1) & ~(kPage - 1);
  uintptr_t to = (reinterpret_cast<uintptr_t>(data) + capacity) & ~(kPage - 1);
  if (to > from && to - from >= kKeepBytes / 4) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_DONTNEED);
}

bool readWholeFile(const char* path, InputBuffer& buffer, size_t& len, std::string& reason) {
  struct stat st {};
  if (::stat(path, &st) != 0) {
    reason = std::string("can't read file: ") + std::strerror(errno);
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    reason = "can't read file: it is a directory";
    return false;
  }
  if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) {
    reason = "can't read file: it is a device";
    return false;
  }
  int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    reason = std::string("can't read file: ") + std::strerror(errno);
    return false;
  }
  struct stat opened {};
  bool regular = ::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode);
  size_t expected = regular ? static_cast<size_t>(opened.st_size) : 0;
  len = 0;
  bool ok = true;
  for (;;) {
    size_t want = len + (expected > len ? expected - len : 0) + 1;  // one byte more to see the end
    if (want < len + 65536 && !regular) want = len + 65536;
    if (!buffer.reserve(want)) {
      reason = "not enough memory to read the file (" + std::to_string(want) + " bytes)";
      ok = false;
      break;
    }
    ssize_t got = ::read(fd, buffer.data + len, buffer.capacity - len);
    if (got < 0) {
      if (errno == EINTR) continue;
      reason = std::string("can't read file: ") + std::strerror(errno);
      ok = false;
      break;
    }
    if (got == 0) break;
    len += static_cast<size_t>(got);
  }
  ::close(fd);
  if (!ok) return false;
  std::memset(buffer.data + len, 0, simdjson::SIMDJSON_PADDING);
  buffer.trim(len);
  return true;
}

}  // namespace kit::config
