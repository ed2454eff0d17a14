#include "platform/plat.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "platform/tbx.h"

namespace plat {

int Plat::s_holders = 0;

Plat::Plat(bool, bool) { ++s_holders; }

Plat::~Plat() {
  if (--s_holders == 0) cleanupAll();
}

void Plat::cleanupAll() {
  tbx::cout.flush();
  tbx::cerr.flush();
}

namespace {
int64_t nowNs() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}
}  // namespace

void StopWatchBase::start() { m_startNs = m_stopNs = nowNs(); }
void StopWatchBase::stop() { m_stopNs = nowNs(); }
int64_t StopWatchBase::getElapsedTime() const { return (m_stopNs - m_startNs) / 1000000; }

RealtimeStopWatch::RealtimeStopWatch(bool startNow) {
  if (startNow) start();
}

bool FileInfo::init(const std::string& path, bool followLinks) {
  struct stat st {};
  int rc = followLinks ? ::stat(path.c_str(), &st) : ::lstat(path.c_str(), &st);
  if (rc != 0) {
    tbx::ErrorStorage::record(std::strerror(errno));
    m_type = type_unknown;
    return false;
  }
  if (S_ISREG(st.st_mode)) m_type = type_file;
  else if (S_ISDIR(st.st_mode)) m_type = type_directory;
  else if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) m_type = type_device;
  else if (S_ISFIFO(st.st_mode)) m_type = type_fifo;
  else m_type = type_other;
  return true;
}

Directory::Directory(const std::string& path, bool) {
  m_dir = ::opendir(path.c_str());
  if (m_dir != nullptr) next();
}

Directory::~Directory() {
  if (m_dir != nullptr) ::closedir(m_dir);
}

bool Directory::next() {
  m_name.clear();
  if (m_dir == nullptr) return true;
  errno = 0;
  dirent* entry = ::readdir(m_dir);
  if (entry == nullptr) return true;
  m_name = entry->d_name;
  return false;
}

const char* const ProcessTNG::ExecutableSuffix = "";

}  // namespace plat
