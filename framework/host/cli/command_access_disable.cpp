// qmfi access disable MOUNTPOINT... [--force]
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/object_results.h"
#include "provider/claim.h"
#include "snapshot/access_disabling.h"
#include "snapshot/own_snapshots.h"
#include "snapshot/progress.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

class AccessDisable : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("MOUNTPOINT", m_mountPoints, translatable("File systems to be taken out of use"));
    options.flag("--force", m_force, translatable("Unmount also what is in use"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    LockedState state(settings);
    OpenProviders providers(settings);
    ObjectResults results(settings, out);
    for (const std::string& mountPoint : m_mountPoints) {
      // It is remembered first, so what is interrupted can be enabled.
      settings.signals->deliverDuringLong([&] {
        results.add({{"mount_point", mountPoint}}, [&](Json&) {
          disable(providers, state, trustedMountPoint(mountPoint), *settings.progress);
          return "done";
        });
      });
    }
    return results.finish();
  }

 private:
  // No provider claims what is out of use already; the one that took it out is asked again.
  void disable(Providers& providers, LockedState& state, const std::string& mountPoint,
               const Progress& progress) const {
    const WorkClaim claim = state.claim(mountPoint);
    StateStore& store = state.store();
    requireNoSnapshot(store, mountPoint);
    const std::optional<DisabledAccess> earlier = store.findDisabledAccess(mountPoint);
    const bool isKnown = earlier && earlier->damage.empty();
    Provider& provider = isKnown ? providers.named(earlier->provider) : providerOfMountPoint(providers, mountPoint);
    progress.choice(mountPoint, provider.name(), "");
    progress.step(Step::unmount, mountPoint);
    disableAccess(provider, store, mountPoint, m_force, state.unlocked());
  }

  std::vector<std::string> m_mountPoints;
  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeAccessDisable() {
  return std::make_unique<AccessDisable>();
}

}  // namespace qmfi_host
