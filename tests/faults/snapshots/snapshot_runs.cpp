// Commands of qmfi.
#include "snapshot_runs.h"

#include <csignal>
#include <sstream>
#include <utility>

namespace faults {

namespace {

constexpr const char* qmfiProgram = "/usr/bin/qmfi";
constexpr const char* snapshotName = "fault";
// The kernel ends a freeze of a host that was killed after so many seconds.
constexpr const char* freezeTimeout = "2";
constexpr std::chrono::seconds longestRun(60);
constexpr std::chrono::seconds longestEnd(20);
constexpr int killed = 128 + SIGKILL;

}  // namespace

const char* nameOf(Step step) {
  switch (step) {
    case Step::create:
      return "create";
    case Step::show:
      return "show";
    case Step::remove:
      return "delete";
  }
  return "";
}

SnapshotRuns::SnapshotRuns(Campaign& campaign, std::vector<std::string> mountPoints)
    : m_campaign(campaign), m_mountPoints(std::move(mountPoints)), m_machine(m_mountPoints) {
  // The first run makes the state directory with all its files.
  recover();
  m_machine.remember();
}

Ended SnapshotRuns::run(Step step, CallWatcher* watcher, Ending ending) {
  std::vector<std::string> words = {"snapshot", nameOf(step)};
  if (step == Step::create) {
    words.insert(words.end(), {"--freeze-timeout", freezeTimeout, "--name", snapshotName});
    words.insert(words.end(), m_mountPoints.begin(), m_mountPoints.end());
  } else {
    words.emplace_back(snapshotName);
  }
  return qmfi(std::move(words), watcher, ending);
}

Ended SnapshotRuns::recover(CallWatcher* watcher) {
  return qmfi({"recover"}, watcher);
}

void SnapshotRuns::require(Step step) {
  requireSuccess(nameOf(step), run(step));
}

void SnapshotRuns::requireRecovery() {
  requireSuccess("recover", recover());
}

void SnapshotRuns::requireSuccess(const std::string& what, const Ended& ended) {
  if (ended.status != 0) m_campaign.failed(what + " failed: " + ended.errors);
}

std::string SnapshotRuns::state() {
  std::istringstream lines(qmfi({"snapshot", "list"}, nullptr).output);
  std::string heading;
  std::getline(lines, heading);
  std::string id;
  std::string name;
  std::string date;
  std::string time;
  std::string frozen;
  std::string unit;
  std::string state;
  lines >> id >> name >> date >> time >> frozen >> unit >> state;
  return state;
}

void SnapshotRuns::expectOrder() {
  const std::string left = state();
  if (!left.empty() && left != "ready") requireRecovery();
  if (left == "ready") require(Step::remove);
  for (const std::string& program : m_tracer.waitForAll(longestEnd)) m_campaign.failed(program + " still runs");
  m_tracer.killAll();
  m_machine.expectAsBefore(m_campaign);
}

Ended SnapshotRuns::qmfi(std::vector<std::string> words, CallWatcher* watcher, Ending ending) {
  words.insert(words.begin(), qmfiProgram);
  Ended ended = m_tracer.run(words, watcher, longestRun);
  if (!ended.inTime) {
    m_machine.thaw();
    m_tracer.killAll();
    m_campaign.failed("does not end");
  } else if (ending == Ending::documented) {
    expectEnded(ended);
  }
  // Programs of others may crash when calls fail that they take for granted; qmfi must get on all the same.
  m_campaign.count("crashed_processes", ended.crashes.size());
  return ended;
}

void SnapshotRuns::expectEnded(const Ended& ended) {
  if (ended.status == 0 || ended.status == killed) return;
  m_campaign.expectEqual<std::int64_t>(1, ended.status, "status, with \"" + ended.errors + "\"");
  m_campaign.expect(ended.errors.starts_with("qmfi: "), "failed without a message: \"" + ended.errors + "\"");
}

}  // namespace faults
