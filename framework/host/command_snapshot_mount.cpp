// qmfi snapshot mount SNAPSHOT
#include "command_session.h"
#include "command_table.h"
#include "reflink_splitter.h"
#include "snapshot_mounting.h"

namespace qmfi_host {

namespace {

class SnapshotMount : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("SNAPSHOT", m_snapshot, "Id or name of the snapshot");
  }

  int run(const Settings& settings, std::ostream& out) override {
    LockedState state(settings);
    Snapshot snapshot = requireSnapshot(state.store(), m_snapshot);
    requireComplete(snapshot);
    LoadedProvider loaded(settings, snapshot.provider);
    const ReflinkSplitter splitter;
    mountSnapshot(*loaded, splitter, state.store(), snapshot);
    for (const SnapshotNode& node : snapshot.nodes) out << node.alternate << "\n";
    return success;
  }

 private:
  std::string m_snapshot;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotMount() {
  return std::make_unique<SnapshotMount>();
}

}  // namespace qmfi_host
