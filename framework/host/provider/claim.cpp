// Claims.
#include "provider/claim.h"

#include <vector>

#include "texts/translation.h"

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
    throw HostError(Failure::notClaimed,
                    translate("the provider {0} does not claim {1}: no file system of its type is mounted there",
                              all.front()->name(), mountPoint))
        .about(mountPoint);
  }
  throw HostError(Failure::notClaimed,
                  translate("none of the providers {0} claims {1}: no file system of their types is mounted there",
                            namesOf(all), mountPoint))
      .about(mountPoint);
}

void requireOne(const std::vector<Provider*>& owners, const std::string& object) {
  if (owners.size() < 2) return;
  throw HostError(Failure::providerAmbiguous,
                  translate("the providers {0} all claim {1}; --provider chooses one", namesOf(owners), object))
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
  throw HostError(
      Failure::notClaimed,
      translate("none of the providers {0} knows the content of {1}; --provider chooses one", namesOf(all), device))
      .about(device)
      .advise(translate("choose one by --provider"));
}

}  // namespace qmfi_host
