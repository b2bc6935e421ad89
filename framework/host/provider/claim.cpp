// Claims.
#include "provider/claim.h"

namespace qmfi_host {

std::string claimAll(Provider& provider, const std::vector<std::string>& mountPoints) {
  std::string group = provider.name();
  for (const std::string& mountPoint : mountPoints) {
    const ClaimAnswer answer = provider.claim(mountPoint);
    if (!answer.claimed) {
      throw HostError("the provider " + provider.name() + " does not claim " + mountPoint +
                      ": no file system of its type is mounted there");
    }
    if (!answer.groups.empty()) group = answer.groups.front();
  }
  return group;
}

}  // namespace qmfi_host
