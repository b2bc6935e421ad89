// What file system a device holds.
#include "programs/device_probe.h"

#include <blkid/blkid.h>

#include <memory>

namespace testbed {

namespace {

std::string valueOf(blkid_probe probe, const char* name) {
  const char* value = nullptr;
  return blkid_probe_lookup_value(probe, name, &value, nullptr) == 0 ? value : "";
}

}  // namespace

std::string fileSystemType(const std::string& device) {
  const std::unique_ptr<blkid_struct_probe, void (*)(blkid_probe)> probe(blkid_new_probe_from_filename(device.c_str()),
                                                                         blkid_free_probe);
  if (!probe) return "";
  blkid_probe_enable_superblocks(probe.get(), 1);
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_LABEL);
  if (blkid_do_safeprobe(probe.get()) != 0) return "";
  const std::string type = valueOf(probe.get(), "TYPE");
  return type == "xfs" && valueOf(probe.get(), "LABEL") == qmfsLabel ? "qmfs" : type;
}

}  // namespace testbed
