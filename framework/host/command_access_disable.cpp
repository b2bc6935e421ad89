// qmfi access disable MOUNTPOINT... [--force]
#include "command_session.h"
#include "command_table.h"
#include "node.h"

namespace qmfi_host {

namespace {

constexpr long byForce = 0x10;

// What a later command needs to mount the file systems again is remembered before they are unmounted.
class AccessDisable : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("MOUNTPOINT", m_mountPoints, "File systems to be taken out of use");
    options.flag("--force", m_force, "Unmount also what is in use");
  }

  int run(const Settings& settings, std::ostream& /*out*/) override {
    LockedState state(settings);
    LoadedProvider loaded(settings);
    for (const std::string& mountPoint : m_mountPoints) disable(*loaded, state.store(), canonicalPath(mountPoint));
    return success;
  }

 private:
  void disable(Provider& provider, StateStore& store, const std::string& mountPoint) const {
    if (store.findDisabledAccess(mountPoint) && !isMounted(provider, mountPoint)) return;
    Node config(provider, provider.name(), ObjectKind::object);
    config.initialise(nullptr);
    Node node(provider, mountPoint);
    node.initialise(&config);
    const std::vector<std::string> devices = node.subObjects();
    if (devices.empty()) throw HostError(mountPoint + " has no device");
    store.save({mountPoint, provider.name(), devices.front(), node.fetchState()});
    try {
      unmount(provider, node, devices.front());
    } catch (const HostError&) {
      store.removeDisabledAccess(mountPoint);
      throw;
    }
  }

  static bool isMounted(Provider& provider, const std::string& mountPoint) {
    Node node(provider, mountPoint);
    int exists = 0;
    provider.run(mountPoint + " could not be looked up", [&](const ProviderEntryPoints& calls) {
      return calls.fi_pgn_check_node_existence(node.domain(), &exists);
    });
    return exists != 0;
  }

  void unmount(Provider& provider, Node& node, const std::string& device) const {
    kfi_subobj_list subObject{objectOf(device, ObjectKind::object), nullptr};
    kfi_node_subobj_list list{node.domain(), &subObject, nullptr};
    provider.run(node.name() + " could not be taken out of use", [&](const ProviderEntryPoints& calls) {
      return calls.fi_pgn_disable_access(&list, m_force ? byForce : 0);
    });
  }

  std::vector<std::string> m_mountPoints;
  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeAccessDisable() {
  return std::make_unique<AccessDisable>();
}

}  // namespace qmfi_host
