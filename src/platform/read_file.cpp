#include "platform/read_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <simdjson.h>

#include <atomic>
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
// Mapping a file spares copying it and zeroing fresh pages for the copy, a
// sixth of a large check; small files gain nothing.
constexpr size_t kMapFrom = size_t(1) << 20;
size_t gMapFrom = kMapFrom;
const uintptr_t kPage = [] {
  const long page = ::sysconf(_SC_PAGESIZE);
  return page > 0 ? static_cast<uintptr_t>(page) : uintptr_t(4096);
}();

// Where files are mapped. A file truncated while mapped raises SIGBUS on the
// pages it lost; those become zero pages, which read as a text that fails to
// parse, instead of ending the run.
struct Region {
  std::atomic<uintptr_t> begin{0};
  std::atomic<size_t> bytes{0};
};
Region gRegions[16];
struct sigaction gOtherBusAction;

void onBusError(int, siginfo_t* info, void*) {
  const uintptr_t at = reinterpret_cast<uintptr_t>(info->si_addr);
  for (Region& r : gRegions) {
    const uintptr_t begin = r.begin.load(std::memory_order_relaxed);
    if (begin != 0 && at >= begin && at - begin < r.bytes.load(std::memory_order_relaxed)) {
      void* page = reinterpret_cast<void*>(at & ~(kPage - 1));
      if (::mmap(page, kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED)
        return;
    }
  }
  // Not one of ours: the fault repeats under the handler that was there before.
  ::sigaction(SIGBUS, &gOtherBusAction, nullptr);
}

bool guardMappedFiles() {
  static const bool installed = [] {
    struct sigaction action {};
    action.sa_sigaction = onBusError;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    return ::sigaction(SIGBUS, &action, &gOtherBusAction) == 0;
  }();
  return installed;
}

bool claimRegion(void* begin, size_t bytes) {
  for (Region& r : gRegions) {
    if (r.begin.load() == 0) {
      r.bytes.store(bytes);
      r.begin.store(reinterpret_cast<uintptr_t>(begin));
      return true;
    }
  }
  return false;
}

void forgetRegion(void* begin) {
  for (Region& r : gRegions)
    if (r.begin.load() == reinterpret_cast<uintptr_t>(begin)) r.begin.store(0);
}
}  // namespace

void InputBuffer::release() {
  if (mapped != 0) {
    forgetRegion(data);
    ::munmap(data, mapped);
  } else {
    std::free(data);
  }
  data = nullptr;
  capacity = 0;
  mapped = 0;
}

InputBuffer::~InputBuffer() { release(); }

void InputBuffer::giveBack() const {
  if (mapped != 0) ::madvise(data, mapped, MADV_DONTNEED);
}

bool InputBuffer::map(int fd, size_t bytes) {
  if (!guardMappedFiles()) return false;
  release();
  const size_t total = (bytes + simdjson::SIMDJSON_PADDING + kPage - 1) & ~(kPage - 1);
  // Zero pages first, the file over their start: the padding after the text
  // reads as zeros whatever the file's length.
  void* region = ::mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (region == MAP_FAILED) return false;
  if (!claimRegion(region, total)) {
    ::munmap(region, total);
    return false;
  }
  if (::mmap(region, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, fd, 0) == MAP_FAILED) {
    forgetRegion(region);
    ::munmap(region, total);
    return false;
  }
  data = static_cast<char*>(region);
  mapped = total;
  capacity = total - simdjson::SIMDJSON_PADDING;
  return true;
}

bool InputBuffer::reserve(size_t bytes) {
  if (mapped != 0) release();
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
  if (mapped != 0) return;
  uintptr_t from = (reinterpret_cast<uintptr_t>(data) + len + simdjson::SIMDJSON_PADDING + kPage - 1) & ~(kPage - 1);
  uintptr_t to = (reinterpret_cast<uintptr_t>(data) + capacity) & ~(kPage - 1);
  if (to > from && to - from >= kKeepBytes / 4) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_DONTNEED);
}

void setMapFrom(size_t bytes) { gMapFrom = bytes == 0 ? kMapFrom : bytes; }

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
  // What the file holds when it is opened; a file that grows meanwhile is read
  // as it was, as a read would have if it had come first.
  if (expected > 0 && expected >= gMapFrom && buffer.map(fd, expected)) {
    ::close(fd);
    len = expected;
    return true;
  }
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
