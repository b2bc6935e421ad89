// Programs that go on writing while their file systems are frozen: what they notice.
#ifndef LIVE_WRITERS_H
#define LIVE_WRITERS_H

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace bench {

// What one writer noticed: its longest write, and when the write before that one had ended.
struct Stall {
  using Clock = std::chrono::steady_clock;

  Clock::time_point lastEnd;
  Clock::time_point begin;
  Clock::time_point end;

  Clock::duration length() const { return end - begin; }
};

// One thread for each directory overwrites the beginning of a file, with a short pause between that
// grows with their number.
class LiveWriters {
 public:
  explicit LiveWriters(const std::vector<std::string>& directories);
  LiveWriters(const LiveWriters&) = delete;
  LiveWriters& operator=(const LiveWriters&) = delete;
  // Waits for the writers, which must not be frozen.
  ~LiveWriters();

  // Ends the writing and tells what they noticed. As above.
  std::vector<Stall> stop();

 private:
  void write(const std::string& path, Stall& longest);

  const std::chrono::microseconds m_pause;
  std::atomic<bool> m_ended{false};
  std::vector<Stall> m_stalls;
  std::vector<std::thread> m_threads;
};

// The longest stall, and the latest moment that could have begun one less the earliest: at most so far were the moments
// apart in which the file systems stood still. Both in milliseconds.
double longestStall(const std::vector<Stall>& stalls);
double greatestSkew(const std::vector<Stall>& stalls);

}  // namespace bench

#endif
