// Claims.
#include "provider/claim.h"

#include <vector>

namespace qmfi_host {

namespace {

std::string namesOf(const std::vector<Provider*>& providers) {
  std::string names;
  for (const Provider* provider : providers) names += (names.empty() ? "" : ", ") + provider->name();
  return names;
}

[[noreturn]] void failUnclaimed(Providers& providers, const std::string& mountPoint) {
  const std::vector<Provider*> all = providers.started();
  providers.tellOfOthers();
  if (all.size() == 1) {
    throw HostError(Failure::notClaimed, "the provider " + all.front()->name() + " does not claim " + mountPoint +
                                             ": no file system of its type is mounted there")
        .about(mountPoint);
  }
  throw HostError(Failure::notClaimed, "none of the providers " + namesOf(all) + " claims " + mountPoint +
                                           ": no file system of their types is mounted there")
      .about(mountPoint);
}

void requireOne(const std::vector<Provider*>& owners, const std::string& object) {
  if (owners.size() < 2) return;
  throw HostError(Failure::providerAmbiguous,
                  "the providers " + namesOf(owners) + " all claim " + object + "; --provider chooses one")
      .about(object);
}

}  // namespace

ClaimedFileSystem requireClaimed(Providers& providers, const std::string& mountPoint) {
  std::vector<Provider*> owners;
  ClaimedFileSystem claimed{mountPoint, {}, {}};
  for (Provider* const provider : providers.started()) {
    const ClaimAnswer answer = provider->claim(mountPoint);
    if (!answer.claimed) continue;
    owners.push_back(provider);
    claimed.provider = provider->name();
    claimed.group = answer.groups.empty() ? provider->name() : answer.groups.front();
  }
  if (owners.empty()) failUnclaimed(providers, mountPoint);
  requireOne(owners, mountPoint);
  return claimed;
}

Provider& providerOfMountPoint(Providers& providers, const std::string& mountPoint) {
  return providers.named(requireClaimed(providers, mountPoint).provider);
}

Provider& providerOfDevice(Providers& providers, const std::string& device) {
  const std::vector<Provider*> all = providers.started();
  if (all.size() == 1) return *all.front();
  std::vector<Provider*> owners;
  for (Provider* const provider : all) {
    if (provider->ownsContentOf(device)) owners.push_back(provider);
  }
  requireOne(owners, device);
  if (!owners.empty()) return *owners.front();
  providers.tellOfOthers();
  throw HostError(Failure::notClaimed, "none of the providers " + namesOf(all) + " knows the content of " + device +
                                           "; --provider chooses one")
      .about(device)
      .advise("choose one by --provider");
}

}  // namespace qmfi_host
