// State that belongs to one check run. The engine installs each part for the
// run's duration, so that the checks, written against process-wide names,
// reach the run in progress on their thread and nothing outlives it.
#pragma once

namespace platform {

template <class State>
class RunScope {
 public:
  explicit RunScope(State& state) : m_previous(slot()) { slot() = &state; }
  ~RunScope() { slot() = m_previous; }
  RunScope(const RunScope&) = delete;
  RunScope& operator=(const RunScope&) = delete;

  // The installed state; code called outside any run (unit tests, tools) gets
  // one of its thread's own.
  static State& current() {
    if (State* s = slot()) return *s;
    thread_local State outside;
    return outside;
  }

 private:
  static State*& slot() {
    thread_local State* installed = nullptr;
    return installed;
  }
  State* m_previous;
};

}  // namespace platform
