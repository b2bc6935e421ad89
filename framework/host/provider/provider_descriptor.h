// What a host must know of a provider beside its functions; it stands in a file beside the provider's library.
#ifndef PROVIDER_DESCRIPTOR_H
#define PROVIDER_DESCRIPTOR_H

#include <linux/fs.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace qmfi_host {

// The content of a descriptor file. What it leaves out has the value given here.
struct ProviderDescriptor {
  // A value of the provider's configuration store.
  struct ConfiguredValue {
    std::string section;
    std::string name;
  };
  // The time after which a freeze of this provider's ends by itself.
  struct Timeout {
    std::string parameter;                        // of the configuration domain; takes the time-out in seconds
    std::optional<ConfiguredValue> configured{};  // what holds where the user gives none
  };
  // The message that tells which file system could not be frozen, where one is frozen after another.
  struct FailedFreeze {
    std::string message;
    std::size_t argument = 0;  // which of its arguments is the mount point
  };
  // Where the volumes of the provider's file systems have their devices.
  struct DeviceDirectories {
    std::string block;
    std::string raw;
  };

  // The mount options by which the mount table tells the two ways of writing.
  struct CacheOptions {
    std::string safe;
    std::string fast;
  };

  std::optional<Timeout> timeout{};        // without one a freeze lasts until the thaw
  unsigned long freezeRequest = FIFREEZE;  // ioctl requests of the file systems' driver
  unsigned long thawRequest = FITHAW;
  std::optional<FailedFreeze> failedFreeze{};  // without it all are frozen at once, or those frozen are thawed again
  std::optional<DeviceDirectories> devices{};
  std::string package{};                // what must be installed for it; empty when the provider tells that itself
  std::optional<CacheOptions> cache{};  // without them a change of the way of writing is not looked for
};

// Reads a descriptor file. Throws FileError that says where and what is wrong: no TOML, a key that is not known or
// missing, a value of another kind than is expected.
ProviderDescriptor readDescriptor(const std::filesystem::path& file);

// The raw device that belongs to a block device's path; empty where the provider's volumes have none.
std::string rawDeviceOf(const ProviderDescriptor& descriptor, const std::string& device);

// Whether a path names a volume by one of the provider's device directories.
bool isVolumeDevice(const ProviderDescriptor& descriptor, const std::string& path);

}  // namespace qmfi_host

#endif
