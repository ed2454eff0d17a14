// Stand-in for the framework's base library: report streams, the process-wide
// error store and the global error handler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tbx {

// A report stream on a file descriptor. Text is buffered until `endl`, which
// writes a newline and flushes, so every report line reaches the stream whole.
class ostream {
 public:
  explicit ostream(int fd) : m_fd(fd) {}
  ostream(const ostream&) = delete;
  ostream& operator=(const ostream&) = delete;
  ~ostream() { flush(); }

  ostream& operator<<(const char* text);  // null writes nothing
  ostream& operator<<(std::string_view text);
  ostream& operator<<(const std::string& text) { return *this << std::string_view(text); }
  ostream& operator<<(char c);
  ostream& operator<<(int32_t value) { return writeSigned(value); }
  ostream& operator<<(int64_t value) { return writeSigned(value); }
  ostream& operator<<(uint32_t value) { return writeUnsigned(value); }
  ostream& operator<<(uint64_t value) { return writeUnsigned(value); }
  ostream& operator<<(ostream& (*manip)(ostream&)) { return manip(*this); }

  void flush();
  // Sends the stream to another descriptor (tools that run cfgcheck in-process).
  void redirect(int fd) {
    flush();
    m_fd = fd;
    m_failed = false;
  }
  // After a failed write (a closed pipe) the stream drops further output.
  bool failed() const { return m_failed; }

 private:
  ostream& writeSigned(int64_t value);
  ostream& writeUnsigned(uint64_t value);

  int m_fd;
  bool m_failed = false;
  std::string m_buffer;
};

ostream& endl(ostream& os);  // newline, then flush

extern ostream cout;
extern ostream cerr;

// Holds the reason of the last failed operation until it is acknowledged.
// Prints nothing by itself; callers decide where a reason appears.
class ErrorStorage {
 public:
  enum Action { action_none, action_dump_to_stdout };
  explicit ErrorStorage(Action action);
  ~ErrorStorage();
  ErrorStorage(const ErrorStorage&) = delete;
  ErrorStorage& operator=(const ErrorStorage&) = delete;

  static const char* reason();  // null when nothing is pending
  static void ack();
  static void record(std::string_view reason);
};

// Last-resort reports: one line on standard error with location, line,
// function and text.
struct GlobalErrorHandler {
  static void doAssert(const char* location, int line, const char* function, const char* text);
  [[noreturn]] static void doAbort(const char* location, int line, const char* function, const char* text);
  // Called when an allocation failed; the caller retries afterwards. Gives back
  // the emergency reserve, if one is kept, so that the retry can succeed.
  static void doOutOfMem(const char* location, int line, const char* function, const char* text);
  // Keeps a reserve for doOutOfMem to hand back.
  static void reserveEmergencyMemory(std::size_t bytes);
  static bool hasEmergencyMemory();
};

}  // namespace tbx
