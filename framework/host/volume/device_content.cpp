// Probing of devices through libblkid.
#include "volume/device_content.h"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "texts/translation.h"

namespace qmfi_host {

using qmfi_system::Descriptor;

namespace {

struct FreeProbe {
  void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};
using Probe = std::unique_ptr<blkid_struct_probe, FreeProbe>;

// The value of a property that the probe found; empty when it found none.
std::string valueOf(const Probe& probe, const char* property) {
  const char* value = nullptr;
  std::size_t length = 0;
  if (blkid_probe_lookup_value(probe.get(), property, &value, &length) != 0 || length == 0) return {};
  return {value, length - 1};
}

HostError cannotBeRead(const std::string& device) {
  return systemErrorOfNamed(translate("{0} cannot be read", device)).about(device);
}

std::string impossible(const std::string& device, DevicePurpose purpose) {
  return purpose == DevicePurpose::format ? translate("{0} cannot be formatted", device)
                                          : translate("{0} cannot be checked", device);
}

}  // namespace

void requireUnusedDevice(const std::string& device, DevicePurpose purpose) {
  struct stat status {};
  if (stat(device.c_str(), &status) != 0) throw cannotBeRead(device);
  if (!S_ISBLK(status.st_mode)) {
    throw HostError(Failure::wrongContent, translate("{0} is not a block device", device)).about(device);
  }
  // The kernel grants exclusive use of a block device to nobody while it is mounted.
  const Descriptor exclusive(open(device.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
  if (!exclusive.valid()) throw systemError(impossible(device, purpose)).about(device);
}

std::string contentOf(const std::string& device) {
  const Descriptor file(open(device.c_str(), O_RDONLY | O_CLOEXEC));
  const Probe probe(blkid_new_probe());
  if (!file.valid() || probe == nullptr || blkid_probe_set_device(probe.get(), file.get(), 0, 0) != 0) {
    throw cannotBeRead(device);
  }
  blkid_probe_enable_superblocks(probe.get(), 1);
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE);
  blkid_probe_enable_partitions(probe.get(), 1);
  // The first signature is enough; -1 is an error, 1 nothing found.
  const int result = blkid_do_probe(probe.get());
  if (result < 0) throw systemError(translate("{0} cannot be probed", device)).about(device);
  if (result != 0) return {};
  const std::string type = valueOf(probe, "TYPE");
  return type.empty() ? valueOf(probe, "PTTYPE") : type;
}

}  // namespace qmfi_host
