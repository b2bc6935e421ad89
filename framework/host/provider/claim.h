// Asking a provider which objects are its own.
#ifndef CLAIM_H
#define CLAIM_H

#include <string>
#include <vector>

#include "provider/provider.h"

namespace qmfi_host {

struct ClaimAnswer {
  bool claimed = false;
  std::vector<std::string> groups;  // in which the provider freezes the object
};

// Throws ProviderError when the provider cannot tell.
ClaimAnswer claim(Provider& provider, const std::string& path);

// Requires that the provider claims every mount point; returns the group that it freezes them in. Throws HostError.
std::string claimAll(Provider& provider, const std::vector<std::string>& mountPoints);

}  // namespace qmfi_host

#endif
