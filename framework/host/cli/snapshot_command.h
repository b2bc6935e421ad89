// What the sub-commands that change snapshots have in common.
#ifndef SNAPSHOT_COMMAND_H
#define SNAPSHOT_COMMAND_H

#include <string>
#include <vector>

#include "cli/command_session.h"
#include "snapshot/progress.h"
#include "volume/splitters.h"

namespace qmfi_host {

// What a snapshot is changed with, all valid for the duration of the call that is given them.
struct SnapshotTools {
  Providers& providers;
  const Splitters& splitters;
  StateStore& store;
  const RunUnlocked& unlocked;
  const Progress& progress;
};

// A command with snapshots as its arguments. A failure with one does not keep the others.
class SnapshotCommand : public Command {
 public:
  void declare(CommandOptions& options) final;

  // Locks the state, and finds and claims each snapshot, loads the providers that it was made with, and changes it.
  ExitStatus run(const Settings& settings, std::ostream& out) final;

 private:
  // Declares what the command has besides its arguments; unless it says otherwise, nothing.
  virtual void declareOptions(CommandOptions& /*options*/) {}

  // Whether the command finishes what it left in this phase when something was in the way.
  virtual bool resumes(Phase phase) const = 0;

  // Does the work on a snapshot that is complete or in a phase that is resumed. Throws HostError.
  virtual void change(const SnapshotTools& tools, Snapshot& snapshot) = 0;

  // Does what can be done with a damaged one; unless a command says otherwise, nothing. Throws HostError.
  virtual void changeDamaged(const SnapshotTools& tools, DamagedSnapshot& damaged);

  // Says what has become of the snapshot.
  virtual void printChanged(const Snapshot& snapshot, std::ostream& out) const = 0;

  // The snapshot as it is then.
  Snapshot changeOne(Providers& providers, const Splitters& splitters, LockedState& state, const Progress& progress,
                     const std::string& idOrName);

  std::vector<std::string> m_idsOrNames;
};

}  // namespace qmfi_host

#endif
