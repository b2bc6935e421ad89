// qmfi access disable MOUNTPOINT... [--force]
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "provider/claim.h"
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
    OpenProviders providers(settings);
    for (const std::string& mountPoint : m_mountPoints) disable(providers, state.store(), canonicalPath(mountPoint));
    return success;
  }

 private:
  // No provider claims what is out of use already; the one that took it out is asked again.
  void disable(Providers& providers, StateStore& store, const std::string& mountPoint) const {
    const std::optional<DisabledAccess> earlier = store.findDisabledAccess(mountPoint);
    Provider& provider = earlier ? providers.named(earlier->provider) : providerOfMountPoint(providers, mountPoint);
    disableAccess(provider, store, mountPoint, m_force);
  }

  std::vector<std::string> m_mountPoints;
  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeAccessDisable() {
  return std::make_unique<AccessDisable>();
}

}  // namespace qmfi_host
