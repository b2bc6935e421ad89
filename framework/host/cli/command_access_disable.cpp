// qmfi access disable MOUNTPOINT... [--force]
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "snapshot/access_disabling.h"

namespace qmfi_host {

namespace {

class AccessDisable : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("MOUNTPOINT", m_mountPoints, "File systems to be taken out of use");
    options.flag("--force", m_force, "Unmount also what is in use");
  }

  int run(const Settings& settings, std::ostream& /*out*/) override {
    LockedState state(settings);
    LoadedProvider loaded(settings);
    for (const std::string& mountPoint : m_mountPoints) {
      disableAccess(*loaded, state.store(), canonicalPath(mountPoint), m_force);
    }
    return success;
  }

 private:
  std::vector<std::string> m_mountPoints;
  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeAccessDisable() {
  return std::make_unique<AccessDisable>();
}

}  // namespace qmfi_host
