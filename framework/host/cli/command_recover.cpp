// qmfi recover
#include <optional>
#include <utility>
#include <vector>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/object_results.h"
#include "snapshot/snapshot_recovery.h"
#include "snapshot/snapshot_rescan.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// Run at boot or by hand. One snapshot that cannot be cleaned up does not keep the others.
class Recover : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.flag("--rescan", m_rescan,
                 translatable("Look for snapshots that the state does not know any more, also when it is damaged"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    LockedState state(settings, m_rescan);
    removeLeftClaims(settings.stateDirectory);
    const MachineSplitters splitters(splitterSettings(settings));
    ObjectResults results(settings, out);
    if (m_rescan) rescanInto(splitters.all(), state.store(), results);
    for (const DamagedSnapshot& damaged : state.store().damagedSnapshots()) {
      results.addFailure({{"id", damaged.snapshot.id}}, damageOf(damaged));
    }
    // Everything is thawed first: writers wait for that, and it needs no provider. No progress is told before.
    std::vector<Interrupted> thawed;
    for (const Snapshot& snapshot : state.store().snapshots()) {
      if (isAtRest(snapshot.phase)) continue;
      std::optional<WorkClaim> claim = state.claimUnlessWorkedOn(workOnSnapshot(snapshot.id));
      if (!claim) continue;
      try {
        thawInterrupted(KernelFileSystems(), snapshot);
        thawed.push_back({snapshot, std::move(*claim)});
      } catch (const HostError& error) {
        results.addFailure({{"id", snapshot.id}}, error);
      }
    }
    OpenProviders providers(settings);
    for (Interrupted& one : thawed) {
      const WorkClaim claim = std::move(one.claim);
      settings.signals->deliverDuringLong(
          [&] { recover(providers, splitters.all(), state, one.snapshot, results, *settings.progress); });
    }
    return results.finish();
  }

 private:
  struct Interrupted {
    Snapshot snapshot;
    WorkClaim claim;
  };

  static void rescanInto(const Splitters& splitters, StateStore& store, ObjectResults& results) {
    const bool isWhole = rescan(store, splitters, [&](const std::string& id) {
      results.tell(translate("snapshot {0} found", id));
      results.mention({{"id", id}}, "found");
    });
    results.addUnnamed(isWhole ? ExitStatus::done : ExitStatus::failed);
  }

  static void recover(Providers& providers, const Splitters& splitters, LockedState& state, Snapshot& snapshot,
                      ObjectResults& results, const Progress& progress) {
    results.add({{"id", snapshot.id}}, [&](Json&) {
      requireProviders(providers, snapshot);
      recoverSnapshot(providers, splitters, state.store(), snapshot, state.unlocked(), progress);
      const bool isKept = snapshot.phase == Phase::unmounted;
      results.tell(isKept ? translate("snapshot {0} unmounted", snapshot.id)
                          : translate("snapshot {0} removed", snapshot.id));
      return isKept ? "unmounted" : "removed";
    });
  }

  bool m_rescan = false;
};

}  // namespace

std::unique_ptr<Command> makeRecover() {
  return std::make_unique<Recover>();
}

}  // namespace qmfi_host
