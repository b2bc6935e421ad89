// Whose a file system or a device is.
#ifndef CLAIM_H
#define CLAIM_H

#include <string>

#include "provider/providers.h"

namespace qmfi_host {

// A mounted file system and the provider that claims it.
struct ClaimedFileSystem {
  std::string mountPoint;
  std::string provider;
  std::string group;  // in which the provider freezes it
};

// Throws HostError unless one provider, and no other, claims the mount point.
ClaimedFileSystem requireClaimed(Providers& providers, const std::string& mountPoint);

// Whose the file system on a mount point is. Throws HostError where none or several claim it.
Provider& providerOfMountPoint(Providers& providers, const std::string& mountPoint);

// Whose the file system on a device is. Where there is one provider only it is not asked: it says itself what is wrong
// when it is not its own. Throws HostError.
Provider& providerOfDevice(Providers& providers, const std::string& device);

}  // namespace qmfi_host

#endif
