// qmfi snapshot run MOUNTPOINT... [options of snapshot create] -- PROGRAM ARGUMENT...
#include <sys/auxv.h>

#include "cli/command_table.h"
#include "cli/create_options.h"
#include "cli/taken_snapshot.h"
#include "cli/users_program.h"
#include "failure/host_error.h"
#include "snapshot/alternate_directories.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

qmfi_system::Environment variablesOf(const Snapshot& snapshot) {
  return {"QMFI_SNAPSHOT_ID=" + snapshot.id, "QMFI_SNAPSHOT_NAME=" + snapshot.name,
          "QMFI_SNAPSHOT_DIR=" + ownDirectoryOf(snapshot)};
}

// Whoever lends qmfi more rights than its user has does not lend them to every program.
void requireUsersOwnRights() {
  if (getauxval(AT_SECURE) == 0) return;
  throw HostError(ExitStatus::noPermission, translate("no program is run with more rights than those of its user"));
}

class SnapshotRun : public Command {
 public:
  void declare(CommandOptions& options) override { m_options.declare(options); }

  bool runsProgram() const override { return true; }

  // The other statuses are the program's.
  ExitStatus statusOfFailure(ExitStatus status) const override {
    const bool isOfProgram = status == ExitStatus::programUnusable || status == ExitStatus::programMissing;
    return isOfProgram ? status : ExitStatus::ownFailure;
  }

  ExitStatus run(const Settings& settings, std::ostream& /*out*/) override {
    requireUsersOwnRights();
    if (settings.program.empty()) {
      throw UsageError(translate("no program is named: -- PROGRAM ARGUMENT... is the end of the line"));
    }
    // What cannot be run is known before anything is frozen.
    const UsersProgram program(settings.program);
    TakenSnapshot taken(settings, m_options, Phase::lent);
    int ended = 0;
    const ExitStatus ran = outcomeOf([&] {
      settings.signals->throwIfPending();
      settings.progress->step(Step::run, settings.program.front());
      taken.unlocked()([&] { ended = runOn(program, taken.snapshot()); });
    });
    const ExitStatus removed = outcomeOf([&] { settings.signals->deliverDuringLong([&] { taken.remove(); }); });
    if (ran != ExitStatus::done) return statusOfFailure(ran);
    if (ended == 0 && removed != ExitStatus::done) return ExitStatus::ownFailure;
    return static_cast<ExitStatus>(ended);
  }

 private:
  static int runOn(const UsersProgram& program, const Snapshot& snapshot) {
    return program.run(ownDirectoryOf(snapshot), variablesOf(snapshot));
  }

  CreateOptions m_options;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotRun() {
  return std::make_unique<SnapshotRun>();
}

}  // namespace qmfi_host
