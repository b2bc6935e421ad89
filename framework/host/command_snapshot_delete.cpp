// qmfi snapshot delete SNAPSHOT
#include "command_session.h"
#include "command_table.h"
#include "reflink_splitter.h"
#include "snapshot_removal.h"

namespace qmfi_host {

namespace {

// May be repeated when something was in the way.
class SnapshotDelete : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("SNAPSHOT", m_snapshot, "Id or name of the snapshot");
  }

  int run(const Settings& settings, std::ostream& out) override {
    LockedState state(settings);
    Snapshot snapshot = requireSnapshot(state.store(), m_snapshot);
    if (snapshot.phase != Phase::deleting) requireComplete(snapshot);
    LoadedProvider loaded(settings, snapshot.provider);
    const ReflinkSplitter splitter;
    SnapshotRemoval(*loaded, splitter, state.store()).remove(snapshot);
    out << "snapshot " << snapshot.id << " deleted\n";
    return success;
  }

 private:
  std::string m_snapshot;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotDelete() {
  return std::make_unique<SnapshotDelete>();
}

}  // namespace qmfi_host
