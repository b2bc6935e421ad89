// qmfi snapshot prune PATTERN [--keep-last N] [--keep-hourly N] [--keep-daily N] [--keep-weekly N] [--keep-monthly N]
//                     [--dry-run]
#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "failure/host_error.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "snapshot/file_system_users.h"
#include "snapshot/progress.h"
#include "snapshot/retention.h"
#include "snapshot/snapshot_removal.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

std::string nameOf(const Snapshot& snapshot) {
  if (snapshot.name == snapshot.id) return translate("snapshot {0}", snapshot.id);
  return translate("snapshot {0} ({1})", snapshot.id, snapshot.name);
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

constexpr const char* workedOn = translatable("another qmfi works on it");

std::string heldText(const Snapshot& snapshot) {
  return snapshot.held.empty() ? "" : translate("it is held ({0})", inOneLine(snapshot.held));
}

// Empty for one that may be removed.
std::string whyLeftAlone(const Settings& settings, const DamagedSnapshot& known) {
  if (!known.damage.empty()) return translate("it is damaged");
  if (isAtRest(known.snapshot.phase)) return heldText(known.snapshot);
  if (workerOn(settings.stateDirectory, workOnSnapshot(known.snapshot.id))) return translated(workedOn);
  return translate("it was interrupted, and \"qmfi recover\" cleans it up");
}

// One of the snapshots that the pattern names.
struct Candidate {
  Snapshot snapshot;
  std::string leftAlone{};             // why it is looked at no further; empty where it is
  std::vector<std::string> reasons{};  // why it is kept

  bool isToGo() const { return leftAlone.empty() && reasons.empty(); }
};

// What becomes of a snapshot, for programs and as a line, with the snapshot and the reasons filled in, for
// translated().
struct Fate {
  const char* outcome;
  const char* line;
};

constexpr Fate deleted{"deleted", translatable("{0} deleted: {1}")};
constexpr Fate wouldBeDeleted{"would be deleted", translatable("{0} would be deleted: {1}")};
constexpr Fate kept{"kept", translatable("{0} kept: {1}")};
constexpr Fate leftAlone{"left alone", translatable("{0} left alone: {1}")};

// What becomes of the snapshots: a line for each at once, or all of them as one JSON array at the end.
class PruneReport {
 public:
  PruneReport(std::ostream& out, bool isJson) : m_out(out), m_isJson(isJson) {}

  // Of one that is neither kept nor left alone.
  void tellFate(const Candidate& one, const Fate& fate) { tell(one, fate, {translate("no rule keeps it")}); }

  void tellKept(const Candidate& one) {
    one.leftAlone.empty() ? tell(one, kept, one.reasons) : tell(one, leftAlone, {one.leftAlone});
  }

  // A failure has been told already.
  void tellFailed(const Candidate& one) {
    if (m_isJson) add(one, "failed", {});
  }

  void finish() {
    if (m_isJson) m_out << jsonDocument(m_all);
  }

 private:
  void tell(const Candidate& one, const Fate& fate, const std::vector<std::string>& reasons) {
    if (m_isJson) return add(one, fate.outcome, reasons);
    const std::string name = nameOf(one.snapshot);
    const std::string all = joined(reasons);
    m_out << filledIn(fate.line, translated(fate.line), fmt::make_format_args(name, all)) << "\n";
  }

  void add(const Candidate& one, const char* outcome, const std::vector<std::string>& reasons) {
    m_all.push_back({{"id", one.snapshot.id}, {"name", one.snapshot.name}, {"outcome", outcome}, {"reasons", reasons}});
  }

  std::ostream& m_out;
  const bool m_isJson;
  Json m_all = Json::array();
};

class SnapshotPrune : public Command {
 public:
  void declare(CommandOptions& options) override {
    constexpr int most = 100000;
    const auto keep = [&](const char* name, std::optional<int>& count, const char* help) {
      options.number(name, count, 1, most, "N", help);
    };
    options.argument("PATTERN", m_pattern, translatable("Names of snapshots, with *, ? and [] as in a shell"));
    keep("--keep-last", m_rules.last, translatable("Keep the newest N"));
    keep("--keep-hourly", m_rules.hourly,
         translatable("Keep the newest of each hour, for the last N hours that have one"));
    keep("--keep-daily", m_rules.daily, translatable("The same for days"));
    keep("--keep-weekly", m_rules.weekly, translatable("The same for weeks, which begin with Monday"));
    keep("--keep-monthly", m_rules.monthly, translatable("The same for months"));
    options.flag("--dry-run", m_isDryRun, translatable("Only tell what would be removed"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    requireRule();
    PruneReport report(out, settings.json);
    const ExitStatus status = m_isDryRun ? tellOnly(settings, report) : prune(settings, report);
    report.finish();
    return status;
  }

 private:
  ExitStatus tellOnly(const Settings& settings, PruneReport& report) const {
    for (const Candidate& one : candidates(settings, openState(settings))) {
      one.isToGo() ? report.tellFate(one, wouldBeDeleted) : report.tellKept(one);
    }
    return ExitStatus::done;
  }

  ExitStatus prune(const Settings& settings, PruneReport& report) const {
    LockedState state(settings);
    OpenProviders providers(settings);
    const MachineSplitters splitters(splitterSettings(settings));
    // None stands in its own way where qmfi was started within it.
    if (chdir("/") != 0) throw systemError(translate("{0} cannot be entered", "/")).about("/");
    SeveralOutcomes outcomes;
    for (Candidate& one : candidates(settings, state.store())) {
      if (!one.isToGo()) {
        report.tellKept(one);
        continue;
      }
      settings.signals->deliverDuringLong([&] {
        const ExitStatus outcome = outcomeOf([&] {
          remove(providers, splitters.all(), state, one, *settings.progress);
          one.isToGo() ? report.tellFate(one, deleted) : report.tellKept(one);
        });
        if (outcome != ExitStatus::done) report.tellFailed(one);
        outcomes.add(outcome);
      });
    }
    return outcomes.status();
  }

  // Nobody who leaves out the rules means that all are to go.
  void requireRule() const {
    const auto counts = {m_rules.last, m_rules.hourly, m_rules.daily, m_rules.weekly, m_rules.monthly};
    if (std::any_of(counts.begin(), counts.end(), [](const auto& count) { return count.has_value(); })) return;
    throw UsageError(translate("no rule says which snapshots are kept: --keep-last, --keep-hourly and others do"));
  }

  // Oldest first.
  std::vector<Candidate> candidates(const Settings& settings, const StateStore& store) const {
    std::vector<Candidate> all;
    for (DamagedSnapshot& known : store.allSnapshots()) {
      if (fnmatch(m_pattern.c_str(), known.snapshot.name.c_str(), 0) != 0) continue;
      const std::string reason = whyLeftAlone(settings, known);
      all.push_back({std::move(known.snapshot), reason});
    }
    applyRules(all);
    return all;
  }

  void applyRules(std::vector<Candidate>& all) const {
    std::vector<Candidate*> ruled;
    std::vector<Snapshot::Time> taken;
    for (Candidate& one : all) {
      if (!one.leftAlone.empty()) continue;
      ruled.push_back(&one);
      taken.push_back(one.snapshot.created);
    }
    std::vector<std::vector<std::string>> reasons = reasonsToKeep(taken, m_rules);
    for (std::size_t i = 0; i < ruled.size(); ++i) ruled[i]->reasons = std::move(reasons[i]);
  }

  // Another qmfi may have changed it since the state was read.
  static void remove(Providers& providers, const Splitters& splitters, LockedState& state, Candidate& one,
                     const Progress& progress) {
    const std::optional<WorkClaim> claim = state.claimUnlessWorkedOn(workOnSnapshot(one.snapshot.id));
    const std::optional<Snapshot> now = state.store().find(one.snapshot.id);
    if (!claim || (now && !isAtRest(now->phase))) {
      one.leftAlone = translated(workedOn);
      return;
    }
    if (!now) return;
    one.leftAlone = heldText(*now);
    if (!one.leftAlone.empty()) return;
    requireUnused(*now);
    requireProviders(providers, *now);
    SnapshotRemoval(providers, splitters, state.store(), state.unlocked(), progress).remove(one.snapshot);
  }

  std::string m_pattern;
  KeepRules m_rules;
  bool m_isDryRun = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotPrune() {
  return std::make_unique<SnapshotPrune>();
}

}  // namespace qmfi_host
