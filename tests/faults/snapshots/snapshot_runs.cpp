// Commands of qmfi.
#include "snapshot_runs.h"

#include <linux/fs.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <sstream>
#include <utility>

#include "support/foreign_framework.h"
#include "support/snapshot_list.h"

namespace faults {

namespace {

constexpr const char* qmfiProgram = "/usr/bin/qmfi";
constexpr const char* snapshotName = "fault";
// The kernel ends a freeze of a host that was killed after so many seconds.
constexpr const char* freezeTimeout = "5";
constexpr std::chrono::seconds longestRun(60);
constexpr std::chrono::seconds longestEnd(20);
constexpr int killed = 128 + SIGKILL;

// Whether qmfi's manual has a failure of such a status for words that make sense.
bool isFailure(int status) {
  constexpr int firstFailure = 1;
  constexpr int wrongUsage = 2;
  constexpr int lastFailure = 9;
  return status >= firstFailure && status <= lastFailure && status != wrongUsage;
}

bool isAtRest(const std::string& state) {
  return state == "ready" || state == "unmounted";
}

}  // namespace

const char* nameOf(Step step) {
  constexpr std::array names = {"create", "show", "delete", "list", "unmount", "mount", "disable", "enable"};
  return names.at(static_cast<std::size_t>(step));
}

SnapshotRuns::SnapshotRuns(Campaign& campaign, std::vector<std::string> mountPoints, bool areOrdinary)
    : m_campaign(campaign),
      m_mountPoints(std::move(mountPoints)),
      m_machine(m_mountPoints, areOrdinary ? FITHAW : QM_THAW) {
  // The first run makes the state directory with all its files.
  recover();
  m_machine.remember();
}

Ended SnapshotRuns::run(Step step, CallWatcher* watcher, Ending ending) {
  return qmfi(wordsOf(step), watcher, ending);
}

std::vector<std::string> SnapshotRuns::wordsOf(Step step) const {
  const bool isOfAccess = step == Step::disable || step == Step::enable;
  std::vector<std::string> words = {isOfAccess ? "access" : "snapshot", nameOf(step)};
  if (step == Step::list) return words;
  if (step == Step::create) words.insert(words.end(), {"--freeze-timeout", freezeTimeout, "--name", snapshotName});
  if (step == Step::create || isOfAccess) {
    words.insert(words.end(), m_mountPoints.begin(), m_mountPoints.end());
  } else {
    words.emplace_back(snapshotName);
  }
  return words;
}

Ended SnapshotRuns::recover(CallWatcher* watcher) {
  return qmfi({"recover"}, watcher);
}

void SnapshotRuns::require(Step step) {
  requireSuccess(nameOf(step), run(step));
}

void SnapshotRuns::require(const std::vector<std::string>& words) {
  requireSuccess(words.front(), qmfi(words, nullptr));
}

void SnapshotRuns::requireRecovery() {
  requireSuccess("recover", recover());
}

void SnapshotRuns::requireSuccess(const std::string& what, const Ended& ended) {
  if (ended.status != 0) m_campaign.failed(what + " failed: " + ended.errors);
}

std::string SnapshotRuns::state() {
  const std::vector<testbed_test::Snapshot> known =
      testbed_test::snapshotsIn(qmfi({"snapshot", "list", "--json"}, nullptr).output);
  return known.empty() ? "" : known.front().phase;
}

std::string SnapshotRuns::alternateOf(const std::string& mountPoint) {
  return std::string("/run/qmfi/snapshots/") + snapshotName + mountPoint;
}

void SnapshotRuns::enableAll() {
  std::istringstream lines(qmfi({"access", "list"}, nullptr).output);
  for (std::string line; std::getline(lines, line);) {
    const std::string mountPoint = line.substr(0, line.find(" ("));
    requireSuccess("enable " + mountPoint, qmfi({"access", "enable", mountPoint}, nullptr));
  }
}

void SnapshotRuns::expectOrder() {
  std::string left = state();
  if (!left.empty() && !isAtRest(left)) {
    requireRecovery();
    left = state();
  }
  if (!left.empty()) require(Step::remove);
  expectNothingLeft();
}

void SnapshotRuns::expectThawed() {
  expectNothingRuns();
  m_machine.expectNothingFrozen(m_campaign);
}

void SnapshotRuns::expectNothingRuns() {
  for (const std::string& program : m_tracer.waitForAll(longestEnd)) m_campaign.failed(program + " still runs");
}

void SnapshotRuns::expectNothingLeft() {
  expectNothingRuns();
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
  for (const std::string& crash : ended.crashes) m_campaign.note(crash);
  return ended;
}

void SnapshotRuns::expectEnded(const Ended& ended) {
  if (ended.status == 0 || ended.status == killed) return;
  m_campaign.expect(isFailure(ended.status),
                    "status " + std::to_string(ended.status) + ", with \"" + ended.errors + "\"");
  m_campaign.expect(ended.errors.starts_with("qmfi: "), "failed without a message: \"" + ended.errors + "\"");
}

}  // namespace faults
