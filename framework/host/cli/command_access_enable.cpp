// qmfi access enable MOUNTPOINT...
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "provider/node.h"

namespace qmfi_host {

namespace {

class AccessEnable : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("MOUNTPOINT", m_mountPoints, "File systems that were taken out of use");
  }

  int run(const Settings& settings, std::ostream& /*out*/) override {
    LockedState state(settings);
    OpenProviders providers(settings);
    for (const std::string& mountPoint : m_mountPoints) enable(providers, state.store(), canonicalPath(mountPoint));
    return success;
  }

 private:
  // One call for each file system: a provider ends its walk at one that is mounted already.
  static void enable(Providers& providers, StateStore& store, const std::string& mountPoint) {
    const std::optional<DisabledAccess> access = store.findDisabledAccess(mountPoint);
    if (!access) throw HostError(mountPoint + " has not been taken out of use");
    Provider& provider = providers.named(access->provider);
    Node node(provider, mountPoint);
    node.storeState(access->state);
    provider.enableAccess(node, access->device);
    store.removeDisabledAccess(mountPoint);
  }

  std::vector<std::string> m_mountPoints;
};

}  // namespace

std::unique_ptr<Command> makeAccessEnable() {
  return std::make_unique<AccessEnable>();
}

}  // namespace qmfi_host
