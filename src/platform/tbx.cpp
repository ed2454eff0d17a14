#include "platform/tbx.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace tbx {

ostream cout(1);
ostream cerr(2);

ostream& ostream::operator<<(const char* text) {
  if (text != nullptr) m_buffer.append(text);
  return *this;
}

ostream& ostream::operator<<(std::string_view text) {
  m_buffer.append(text);
  return *this;
}

ostream& ostream::operator<<(char c) {
  m_buffer.push_back(c);
  return *this;
}

ostream& ostream::writeSigned(int64_t value) {
  if (value < 0) {
    m_buffer.push_back('-');
    return writeUnsigned(0 - static_cast<uint64_t>(value));
  }
  return writeUnsigned(static_cast<uint64_t>(value));
}

ostream& ostream::writeUnsigned(uint64_t value) {
  char digits[20];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (n > 0) m_buffer.push_back(digits[--n]);
  return *this;
}

void ostream::flush() {
  const char* data = m_buffer.data();
  std::size_t left = m_buffer.size();
  while (left > 0 && !m_failed) {
    ssize_t written = ::write(m_fd, data, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      m_failed = true;
      break;
    }
    data += written;
    left -= static_cast<std::size_t>(written);
  }
  m_buffer.clear();
}

ostream& endl(ostream& os) {
  os << '\n';
  os.flush();
  return os;
}

namespace {
// Per thread: runs on other threads keep their own reasons.
thread_local std::string s_reason;
thread_local bool s_pending = false;
char* s_reserve = nullptr;
}  // namespace

ErrorStorage::ErrorStorage(Action) { ack(); }
ErrorStorage::~ErrorStorage() { ack(); }

const char* ErrorStorage::reason() { return s_pending ? s_reason.c_str() : nullptr; }

void ErrorStorage::ack() {
  s_pending = false;
  s_reason.clear();
}

void ErrorStorage::record(std::string_view reason) {
  s_reason.assign(reason);
  s_pending = true;
}

namespace {
void report(const char* kind, const char* location, int line, const char* function, const char* text) {
  cout.flush();  // keep the order of the two streams readable
  cerr << kind << ": " << location << ':' << static_cast<int32_t>(line) << ": " << function << ": " << text << endl;
}
}  // namespace

void GlobalErrorHandler::doAssert(const char* location, int line, const char* function, const char* text) {
  report("assertion failed", location, line, function, text);
}

void GlobalErrorHandler::doAbort(const char* location, int line, const char* function, const char* text) {
  report("abort", location, line, function, text);
  cout.flush();
  std::_Exit(1);
}

void GlobalErrorHandler::doOutOfMem(const char* location, int line, const char* function, const char* text) {
  report("out of memory", location, line, function, text);
  std::free(s_reserve);
  s_reserve = nullptr;
}

bool GlobalErrorHandler::hasEmergencyMemory() { return s_reserve != nullptr; }

void GlobalErrorHandler::reserveEmergencyMemory(std::size_t bytes) {
  if (s_reserve == nullptr) s_reserve = static_cast<char*>(std::malloc(bytes));
}

}  // namespace tbx
