// What the sub-commands that change snapshots have in common.
#include "cli/snapshot_command.h"

#include <unistd.h>

#include <nlohmann/json.hpp>
#include <optional>

#include "cli/object_results.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

void describe(const Snapshot& snapshot, Json& object) {
  Json nodes = Json::array();
  for (const SnapshotNode& node : snapshot.nodes) {
    nodes.push_back({{"mount_point", node.mountPoint}, {"alternate", node.alternate}});
  }
  object["id"] = snapshot.id;
  object["name"] = snapshot.name;
  object["nodes"] = std::move(nodes);
}

}  // namespace

void SnapshotCommand::declare(CommandOptions& options) {
  options.arguments("SNAPSHOT", m_idsOrNames, translatable("Ids or names of snapshots"));
  declareOptions(options);
}

ExitStatus SnapshotCommand::run(const Settings& settings, std::ostream& out) {
  LockedState state(settings);
  OpenProviders providers(settings);
  const MachineSplitters splitters(splitterSettings(settings));
  // None stands in its own way where qmfi was started within it.
  if (chdir("/") != 0) throw systemError(translate("{0} cannot be entered", "/")).about("/");
  ObjectResults results(settings, out);
  for (const std::string& idOrName : m_idsOrNames) {
    const auto change = [&](Json& object) {
      const Snapshot changed = changeOne(providers, splitters.all(), state, *settings.progress, idOrName);
      describe(changed, object);
      if (!settings.json) printChanged(changed, out);
      return "done";
    };
    // Its phase is written first, so what is interrupted is gone on with later.
    settings.signals->deliverDuringLong([&] { results.add({{"snapshot", idOrName}}, change); });
  }
  return results.finish();
}

Snapshot SnapshotCommand::changeOne(Providers& providers, const Splitters& splitters, LockedState& state,
                                    const Progress& progress, const std::string& idOrName) {
  const std::string id = requireKnown(state.store(), idOrName);
  const WorkClaim claim = state.claim(workOnSnapshot(id));
  const RunUnlocked unlocked = state.unlocked();
  const SnapshotTools tools{providers, splitters, state.store(), unlocked, progress};
  std::optional<DamagedSnapshot> damaged = state.store().findDamaged(id);
  if (damaged && !state.store().find(id)) {
    changeDamaged(tools, *damaged);
    return damaged->snapshot;
  }
  Snapshot snapshot = requireSnapshot(state.store(), id);
  if (!resumes(snapshot.phase)) requireComplete(snapshot);
  requireProviders(providers, snapshot);
  change(tools, snapshot);
  return snapshot;
}

void SnapshotCommand::changeDamaged(const SnapshotTools& /*tools*/, DamagedSnapshot& damaged) {
  throw damageOf(damaged);
}

}  // namespace qmfi_host
