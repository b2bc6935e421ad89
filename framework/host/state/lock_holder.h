// Who has a lock, for those who wait for it.
#ifndef LOCK_HOLDER_H
#define LOCK_HOLDER_H

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace qmfi_host {

// Told for whom a process waits and for how long that one has had it.
using WaitingReport = std::function<void(const std::string& text)>;

// Writes the word of this process to a file. command: what it does. Throws HostError, but not for a lack of room.
void writeHolder(const std::filesystem::path& file, const std::string& command);

// Who has a lock by the word in a file, and since when: "qmfi (process 4711, snapshot create), which has worked on
// /data for 12 s", or "another process" where there is no word. hasDone: "worked on /data", in the user's language.
std::string holderText(const std::filesystem::path& file, const std::string& hasDone);

// When a process gives up to wait for a lock; without a time it does not.
using WaitingEnd = std::optional<std::chrono::steady_clock::time_point>;

// The pauses of a process that waits for a lock.
class WaitingPauses {
 public:
  // report: told "waits for ..." after a second and now and then later.
  WaitingPauses(const WaitingReport& report, WaitingEnd end) : m_report(report), m_end(end) {}

  // Lasts for a moment; signals that are not blocked end the process meanwhile. holder: asked for whom it waits. Throws
  // HostError when the end has come.
  void pause(const std::function<std::string()>& holder);

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds untilFirstReport{1};
  static constexpr std::chrono::seconds betweenReports{10};

  const WaitingReport& m_report;
  const WaitingEnd m_end;
  Clock::time_point m_nextReport = Clock::now() + untilFirstReport;
};

}  // namespace qmfi_host

#endif
