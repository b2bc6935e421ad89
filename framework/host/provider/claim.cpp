// Claims.
#include "provider/claim.h"

#include "provider/node.h"

namespace qmfi_host {

ClaimAnswer claim(Provider& provider, const std::string& path) {
  qmfi_objid** groups = nullptr;
  int count = 0;
  provider.takeMessages();
  const int answer = provider.entryPoints().fi_pgn_claim(objectOf(path, ObjectKind::path), &groups, &count);
  if (answer == 0) return {};
  if (answer != 1) throw provider.failure(path + " could not be claimed", answer);
  ClaimAnswer claimed{true, {}};
  for (int i = 0; i < count; ++i) claimed.groups.emplace_back(groups[i]->vid_name);
  return claimed;
}

std::string claimAll(Provider& provider, const std::vector<std::string>& mountPoints) {
  std::string group = provider.name();
  for (const std::string& mountPoint : mountPoints) {
    const ClaimAnswer answer = claim(provider, mountPoint);
    if (!answer.claimed) {
      throw HostError("the provider " + provider.name() + " does not claim " + mountPoint +
                      ": no file system of its type is mounted there");
    }
    if (!answer.groups.empty()) group = answer.groups.front();
  }
  return group;
}

}  // namespace qmfi_host
