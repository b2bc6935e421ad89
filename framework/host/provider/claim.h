// Asking a provider which objects are its own.
#ifndef CLAIM_H
#define CLAIM_H

#include <string>
#include <vector>

#include "provider/provider.h"

namespace qmfi_host {

// Requires that the provider claims every mount point; returns the group that it freezes them in. Throws HostError.
std::string claimAll(Provider& provider, const std::vector<std::string>& mountPoints);

}  // namespace qmfi_host

#endif
