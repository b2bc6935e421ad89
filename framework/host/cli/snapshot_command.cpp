// What the sub-commands that change one snapshot have in common.
#include "cli/snapshot_command.h"

#include "volume/reflink_splitter.h"

namespace qmfi_host {

void SnapshotCommand::declare(CommandOptions& options) {
  options.argument("SNAPSHOT", m_idOrName, "Id or name of the snapshot");
}

int SnapshotCommand::run(const Settings& settings, std::ostream& out) {
  LockedState state(settings);
  Snapshot snapshot = requireSnapshot(state.store(), m_idOrName);
  if (!resumes(snapshot.phase)) requireComplete(snapshot);
  OpenProviders providers(settings);
  requireProviders(providers, snapshot);
  const ReflinkSplitter splitter;
  change({providers, splitter, state.store(), snapshot}, out);
  return success;
}

}  // namespace qmfi_host
