// What the sub-commands that change one snapshot have in common.
#ifndef SNAPSHOT_COMMAND_H
#define SNAPSHOT_COMMAND_H

#include "cli/command_session.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// A snapshot and what it is changed with, all valid for the duration of the call that is given them.
struct OpenSnapshot {
  Providers& providers;
  const VolumeSplitter& splitter;
  StateStore& store;
  Snapshot& snapshot;
};

// A command with a snapshot as its argument.
class SnapshotCommand : public Command {
 public:
  void declare(CommandOptions& options) final;

  // Locks the state, finds the snapshot, loads the providers that it was made with, and changes it.
  int run(const Settings& settings, std::ostream& out) final;

 private:
  // Whether the command finishes what it left in this phase when something was in the way.
  virtual bool resumes(Phase phase) const = 0;

  // Does the work on a snapshot that is complete or in a phase that is resumed. Throws HostError.
  virtual void change(const OpenSnapshot& open, std::ostream& out) = 0;

  std::string m_idOrName;
};

}  // namespace qmfi_host

#endif
