// How long a command has been at work.
#ifndef ELAPSED_TIME_H
#define ELAPSED_TIME_H

#include <chrono>
#include <functional>
#include <utility>

namespace qmfi_host {

// The time since its making.
class ElapsedTime {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  // clock: asked for the time, now and later.
  explicit ElapsedTime(Clock clock = std::chrono::steady_clock::now) : m_clock(std::move(clock)), m_begin(m_clock()) {}

  // The milliseconds that have passed.
  std::chrono::milliseconds passed() const {
    return std::chrono::floor<std::chrono::milliseconds>(m_clock() - m_begin);
  }

 private:
  Clock m_clock;
  std::chrono::steady_clock::time_point m_begin;
};

}  // namespace qmfi_host

#endif
