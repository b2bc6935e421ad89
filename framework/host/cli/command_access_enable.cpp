// qmfi access enable MOUNTPOINT...
#include <algorithm>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/object_results.h"
#include "provider/node.h"
#include "snapshot/own_snapshots.h"
#include "snapshot/progress.h"
#include "texts/translation.h"
#include "volume/device_content.h"

namespace qmfi_host {

namespace {

class AccessEnable : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("MOUNTPOINT", m_mountPoints, translatable("File systems that were taken out of use"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    LockedState state(settings);
    OpenProviders providers(settings);
    ObjectResults results(settings, out);
    for (const std::string& mountPoint : m_mountPoints) {
      results.add({{"mount_point", mountPoint}}, [&](Json&) {
        enable(providers, state, trustedMountPoint(mountPoint), *settings.progress);
        return "done";
      });
    }
    return results.finish();
  }

 private:
  // One call for each file system: a provider ends its walk at one that is mounted already.
  static void enable(Providers& providers, LockedState& state, const std::string& mountPoint,
                     const Progress& progress) {
    const WorkClaim claim = state.claim(mountPoint);
    StateStore& store = state.store();
    const std::optional<DisabledAccess> access = store.findDisabledAccess(mountPoint);
    if (!access) {
      throw HostError(Failure::notDisabled, translate("{0} has not been taken out of use", mountPoint))
          .about(mountPoint);
    }
    if (!access->damage.empty()) return forget(providers, store, *access);
    requireNoSnapshot(store, access->device);
    Provider& provider = providers.named(access->provider);
    Node node(provider, mountPoint);
    // A check repairs, which nobody else may see. What is mounted already is not checked.
    if (!provider.isMounted(node)) requireUnusedDevice(access->device, DevicePurpose::check);
    node.storeState(access->state);
    progress.choice(mountPoint, provider.name(), "");
    progress.step(Step::online, mountPoint);
    // The check may take hours.
    state.unlocked()([&] { provider.enableAccess(node, access->device); });
    store.removeDisabledAccess(mountPoint);
  }

  // What makes no sense is of no use for a mount, and of none after one.
  static void forget(Providers& providers, StateStore& store, const DisabledAccess& access) {
    const std::vector<Provider*> all = providers.started();
    const bool isMounted = std::any_of(all.begin(), all.end(),
                                       [&](Provider* provider) { return provider->claim(access.mountPoint).claimed; });
    if (!isMounted) {
      const std::string way =
          translate("once it is mounted by hand, \"qmfi access enable {0}\" forgets that", access.mountPoint);
      throw HostError(translate("what is known of {0} is damaged ({1}); {2}", access.mountPoint, access.damage, way))
          .about(access.mountPoint)
          .because(access.damage)
          .advise(way);
    }
    store.removeDisabledAccess(access.mountPoint);
  }

  std::vector<std::string> m_mountPoints;
};

}  // namespace

std::unique_ptr<Command> makeAccessEnable() {
  return std::make_unique<AccessEnable>();
}

}  // namespace qmfi_host
