// One case after another.
#include "conformance/conformance_run.h"

#include <memory>
#include <optional>
#include <system_error>

#include "cfifreezewatchdog.h"
#include "conformance/case_process.h"
#include "conformance/examined_freeze.h"
#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

using qmfi_pdk_4_4::CFiFreezableFileSystem;
using qmfi_pdk_4_4::CFiFreezeWatchdog;

using Clock = std::chrono::steady_clock;

// The file systems of a case: whatever comes, none stays frozen.
class Precaution {
 public:
  Precaution(const Subject& subject, const ConformanceCase& tried, std::chrono::milliseconds limit) {
    if (tried.needs != CaseNeeds::fileSystem && tried.needs != CaseNeeds::fileSystems) return;
    m_fileSystems = openPlaces(subject);
    std::vector<CFiFreezableFileSystem> freezable;
    for (const auto& fileSystem : m_fileSystems) freezable.push_back(fileSystem->freezable());
    constexpr std::chrono::seconds margin(5);
    m_watchdog.emplace(freezable);
    if (!m_watchdog->watchUntil(Clock::now() + limit + margin)) {
      throw HostError(translate("the watchdog over freezes is gone"));
    }
  }

  // Thaws all, and keeps which had been left frozen.
  void relieve() {
    for (const auto& fileSystem : m_fileSystems) {
      if (fileSystem->thaw().thawed) m_leftFrozen.push_back(fileSystem->mountPoint());
    }
  }

  const std::vector<std::string>& leftFrozen() const { return m_leftFrozen; }

 private:
  std::vector<std::unique_ptr<MountedFileSystem>> m_fileSystems{};
  std::vector<std::string> m_leftFrozen{};
  std::optional<CFiFreezeWatchdog> m_watchdog{};
};

void runCase(const ConformanceCase& tried, const Subject& subject, CaseNotes& notes) {
  try {
    Examination it(subject, notes);
    tried.check(it);
  } catch (const CaseOver&) {
    // What was wrong has been noted.
  } catch (const std::exception& error) {
    notes.found(error.what());
  }
  notes.end();
}

std::vector<std::string> findingsOf(const CaseNotes& notes, const CaseProcessEnd& end, const Precaution& precaution) {
  std::vector<std::string> findings = notes.findings();
  if (!end.otherwise.empty() || !notes.hasEnded()) {
    const std::string how = end.otherwise.empty() ? "ended" : end.otherwise;
    findings.push_back("the process " + how + ", last in " + notes.lastCall());
  }
  if (!end.printed.empty()) findings.push_back("the provider printed: " + end.printed);
  for (const std::string& mountPoint : precaution.leftFrozen()) findings.push_back(mountPoint + " was left frozen");
  return findings;
}

CaseResult tryCase(const ConformanceCase& tried, const Subject& subject, const ConformanceRun& run) {
  const Clock::time_point begin = Clock::now();
  CaseNotes notes;
  Precaution precaution(subject, tried, run.limit);
  const CaseProcessEnd end =
      runCaseProcess([&] { runCase(tried, subject, notes); }, run.limit, run.checkpoint, [&] { precaution.relieve(); });
  CaseResult result{tried.name, tried.rule, Verdict::passed, findingsOf(notes, end, precaution), {}};
  result.time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  const std::string reason = notes.reasonNotTried();
  if (!result.findings.empty()) {
    result.verdict = Verdict::failed;
  } else if (!reason.empty()) {
    result.verdict = Verdict::notTried;
    result.findings = {reason};
  }
  return result;
}

// Why a case cannot be tried; empty when it can.
std::string obstacleTo(const ConformanceCase& tried, const Subject& subject, bool isUnusable) {
  if (tried.needs != CaseNeeds::first && isUnusable) return "the library cannot be used";
  if (tried.needs == CaseNeeds::fileSystem && subject.places.empty()) return "no file system is given by --on";
  const bool lacksOne = tried.needs == CaseNeeds::fileSystems && subject.places.size() < 2;
  if (lacksOne) return "no two file systems are given by --on";
  return {};
}

}  // namespace

const char* verdictName(Verdict verdict) {
  switch (verdict) {
    case Verdict::passed:
      return "passed";
    case Verdict::failed:
      return "failed";
    case Verdict::notTried:
      break;
  }
  return "not tried";
}

std::vector<CaseResult> examine(const Subject& subject, const ConformanceRun& run) {
  std::vector<CaseResult> results;
  bool isUnusable = false;
  for (const ConformanceCase& tried : run.cases) {
    run.checkpoint();
    const std::string obstacle = obstacleTo(tried, subject, isUnusable);
    results.push_back(obstacle.empty() ? tryCase(tried, subject, run)
                                       : CaseResult{tried.name, tried.rule, Verdict::notTried, {obstacle}, {}});
    if (tried.needs == CaseNeeds::first && results.back().verdict == Verdict::failed) isUnusable = true;
    run.told(results.back());
  }
  return results;
}

}  // namespace qmfi_host
