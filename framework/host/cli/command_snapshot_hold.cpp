// qmfi snapshot hold SNAPSHOT... [--reason TEXT], qmfi snapshot release SNAPSHOT...
#include <optional>
#include <string>
#include <vector>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/object_results.h"
#include "failure/host_error.h"
#include "state/snapshot_record.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

void setHeld(const MachineSplitters& splitters, LockedState& state, const std::string& idOrName,
             const std::string& reason) {
  const std::string id = requireKnown(state.store(), idOrName);
  const WorkClaim claim = state.claim(workOnSnapshot(id));
  Snapshot snapshot = requireSnapshot(state.store(), id);
  requireComplete(snapshot);
  snapshot.held = reason;
  state.store().update(snapshot);
  // If this database is lost, the next one is made of the records.
  for (const SnapshotNode& node : snapshot.nodes) {
    splitters.all().named(node.volume.splitter).keepRecord(node.volume, recordOf(snapshot));
  }
}

// reason: empty where they are not to be held. A failure with one does not keep the others.
ExitStatus setHeld(const Settings& settings, const std::vector<std::string>& idsOrNames, const std::string& reason,
                   std::ostream& out) {
  LockedState state(settings);
  const MachineSplitters splitters(splitterSettings(settings));
  ObjectResults results(settings, out);
  for (const std::string& idOrName : idsOrNames) {
    results.add({{"snapshot", idOrName}}, [&](Json&) {
      setHeld(splitters, state, idOrName, reason);
      results.tell(reason.empty() ? translate("snapshot {0} released", idOrName)
                                  : translate("snapshot {0} held", idOrName));
      return "done";
    });
  }
  return results.finish();
}

class SnapshotHold : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("SNAPSHOT", m_idsOrNames, translatable("Ids or names of snapshots"));
    options.text("--reason", m_reason, "TEXT",
                 translatable("Why it is to be kept; told to whoever wants to remove it"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    if (m_reason && m_reason->empty()) throw UsageError(translate("{0}: the text is empty", "--reason"));
    return setHeld(settings, m_idsOrNames, m_reason.value_or(translate("no reason was given")), out);
  }

 private:
  std::vector<std::string> m_idsOrNames;
  std::optional<std::string> m_reason;
};

class SnapshotRelease : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("SNAPSHOT", m_idsOrNames, translatable("Ids or names of snapshots"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    return setHeld(settings, m_idsOrNames, "", out);
  }

 private:
  std::vector<std::string> m_idsOrNames;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotHold() {
  return std::make_unique<SnapshotHold>();
}

std::unique_ptr<Command> makeSnapshotRelease() {
  return std::make_unique<SnapshotRelease>();
}

}  // namespace qmfi_host
