// Block devices in the kernel's tables.
#include "volume/block_device.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "system/loop_device.h"
#include "system/small_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// What the kernel tells of a device-mapper device; empty for others.
std::string mapperValue(dev_t device, const std::string& name) {
  const std::string directory = "/sys/dev/block/" + deviceNumberText(device) + "/dm/";
  std::string value = qmfi_system::readSmallFile(directory + name).value_or("");
  if (value.ends_with('\n')) value.pop_back();
  return value;
}

}  // namespace

std::optional<dev_t> blockDeviceAt(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) return std::nullopt;
  return status.st_rdev;
}

std::string deviceNumberText(dev_t device) {
  return std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

std::string mapperIdentity(dev_t device) {
  return mapperValue(device, "uuid");
}

bool isSuspended(dev_t device) {
  return mapperValue(device, "suspended") == "1";
}

std::string kindOf(const std::string& path) {
  const std::optional<dev_t> device = blockDeviceAt(path);
  if (!device) return translate("no block device");
  if (qmfi_system::isLoopDevice(*device)) return translate("a loop device");
  const std::string identity = mapperIdentity(*device);
  if (!identity.empty()) return translate("a device-mapper device ({0})", identity);
  return translate("a block device ({0})", deviceNumberText(*device));
}

}  // namespace qmfi_host
