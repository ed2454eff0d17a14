// Stand-in for the framework's OS-abstraction library.
#pragma once

#include <cstdint>
#include <string>

struct __dirstream;

namespace plat {

// Process-wide platform init object; the last holder cleans up.
class Plat {
 public:
  Plat(bool initTimers, bool initSignals);
  ~Plat();
  Plat(const Plat&) = delete;
  Plat& operator=(const Plat&) = delete;
  static void cleanupAll();

 private:
  static int s_holders;
};

class StopWatchBase {
 public:
  void start();
  void stop();
  // Whole milliseconds between start and stop.
  int64_t getElapsedTime() const;

 protected:
  int64_t m_startNs = 0;
  int64_t m_stopNs = 0;
};

// Monotonic wall-clock stop watch.
class RealtimeStopWatch : public StopWatchBase {
 public:
  explicit RealtimeStopWatch(bool startNow);
};

class FileInfo {
 public:
  enum Type { type_unknown, type_file, type_directory, type_device, type_fifo, type_other };
  // Fills the information of `path`; false (with the reason in the error
  // store) when it cannot be obtained. `followLinks` follows symbolic links.
  bool init(const std::string& path, bool followLinks);
  Type getType() const { return m_type; }

 private:
  Type m_type = type_unknown;
};

// Listing of one directory in the order the system delivers it.
class Directory {
 public:
  Directory(const std::string& path, bool withHidden);
  ~Directory();
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  bool isOpen() const { return m_dir != nullptr; }
  // Name of the current entry; empty when the listing is exhausted.
  const std::string& name() const { return m_name; }
  // Moves to the next entry; true when there is none.
  bool next();

 private:
  __dirstream* m_dir = nullptr;
  std::string m_name;
};

struct ProcessTNG {
  static const char* const ExecutableSuffix;
};

}  // namespace plat
