// Programs that go on writing while their file systems are frozen: what they notice.
#include "live_writers.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace bench {

namespace {

constexpr std::chrono::microseconds shortestPause(200);
// More of them would keep the processors from those whom they watch.
constexpr std::size_t eagerWriters = 16;

double milliseconds(Stall::Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

}  // namespace

LiveWriters::LiveWriters(const std::vector<std::string>& directories)
    : m_pause(shortestPause * std::max(directories.size() / eagerWriters, std::size_t{1})),
      m_stalls(directories.size()) {
  for (std::size_t i = 0; i < directories.size(); ++i) {
    m_threads.emplace_back([this, path = directories[i] + "/live", i] { write(path, m_stalls[i]); });
  }
}

LiveWriters::~LiveWriters() {
  stop();
}

std::vector<Stall> LiveWriters::stop() {
  m_ended = true;
  for (std::thread& thread : m_threads) thread.join();
  m_threads.clear();
  return m_stalls;
}

void LiveWriters::write(const std::string& path, Stall& longest) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::array<char, 512> block{};
  Stall latest{Stall::Clock::now(), {}, {}};
  while (!m_ended) {
    latest.begin = Stall::Clock::now();
    if (pwrite(file, block.data(), block.size(), 0) < 0) break;
    latest.end = Stall::Clock::now();
    if (latest.length() > longest.length()) longest = latest;
    latest.lastEnd = latest.end;
    std::this_thread::sleep_for(m_pause);
  }
  close(file);
}

double longestStall(const std::vector<Stall>& stalls) {
  const auto longest = std::max_element(stalls.begin(), stalls.end(),
                                        [](const Stall& a, const Stall& b) { return a.length() < b.length(); });
  return milliseconds(longest->length());
}

double greatestSkew(const std::vector<Stall>& stalls) {
  const auto earliest = std::min_element(stalls.begin(), stalls.end(),
                                         [](const Stall& a, const Stall& b) { return a.lastEnd < b.lastEnd; });
  const auto latest =
      std::max_element(stalls.begin(), stalls.end(), [](const Stall& a, const Stall& b) { return a.begin < b.begin; });
  return milliseconds(latest->begin - earliest->lastEnd);
}

}  // namespace bench
