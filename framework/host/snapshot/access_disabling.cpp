// What is remembered of a file system that is taken out of use, and its unmount.
#include "snapshot/access_disabling.h"

#include <vector>

#include "provider/node.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

bool isMounted(Provider& provider, const std::string& mountPoint) {
  Node node(provider, mountPoint);
  return provider.isMounted(node);
}

// After an unmount that failed, which may have unmounted it all the same. What fails here is told now; the failure that
// led here is told by whoever catches it.
void forgetUnlessUnmounted(Provider& provider, StateStore& store, const std::string& mountPoint) {
  tryOrReport([&] {
    if (isMounted(provider, mountPoint)) store.removeDisabledAccess(mountPoint);
  });
}

}  // namespace

void disableAccess(Provider& provider, StateStore& store, const std::string& mountPoint, bool force,
                   const RunUnlocked& unlocked) {
  if (store.findDisabledAccess(mountPoint) && !isMounted(provider, mountPoint)) return;
  Node config(provider, provider.name(), ObjectKind::object);
  config.initialise(nullptr);
  Node node(provider, mountPoint);
  node.initialise(&config);
  const std::vector<std::string> devices = node.subObjects();
  if (devices.empty()) throw HostError(translate("{0} has no device", mountPoint));
  store.save({mountPoint, provider.name(), devices.front(), node.fetchState()});
  try {
    unlocked([&] { provider.disableAccess(node, devices.front(), force); });
  } catch (const HostError&) {
    forgetUnlessUnmounted(provider, store, mountPoint);
    throw;
  }
}

}  // namespace qmfi_host
