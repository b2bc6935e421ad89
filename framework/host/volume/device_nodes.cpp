// Making and removing of nodes.
#include "volume/device_nodes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

using qmfi_system::Descriptor;

namespace {

class HeldNode : public SnapshotDevice {
 public:
  explicit HeldNode(Descriptor node) : m_node(std::move(node)) {}

 private:
  Descriptor m_node;
};

}  // namespace

void requireAbsent(const std::string& path) {
  std::error_code error;
  if (fs::symlink_status(path, error).type() != fs::file_type::not_found) {
    throw HostError(translate("the name {0}, which the snapshot needs, is taken", path));
  }
}

void removeName(const std::string& path) {
  // What cannot have a name is not there either.
  if (unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENAMETOOLONG) {
    throw systemError(translate("{0} could not be removed", path)).about(path);
  }
}

std::unique_ptr<SnapshotDevice> holdDevice(const std::string& path) {
  Descriptor device(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!device.valid()) throw systemError(translate("the device {0} cannot be read", path)).about(path);
  return std::make_unique<HeldNode>(std::move(device));
}

std::unique_ptr<SnapshotDevice> makeNode(const std::string& path, dev_t device) {
  if (mknod(path.c_str(), S_IFBLK | 0600, device) != 0) {
    throw systemError(translate("the device {0} could not be made", path)).about(path);
  }
  try {
    return holdDevice(path);
  } catch (const HostError&) {
    unlink(path.c_str());
    throw;
  }
}

void makeRawNode(const SplitPlan& plan, dev_t device) {
  const std::string& raw = plan.rawDevice;
  std::error_code error;
  if (raw.empty() || !fs::is_directory(fs::path(raw).parent_path(), error)) return;
  if (mknod(raw.c_str(), S_IFBLK | 0600, device) != 0) {
    throw systemError(translate("the device {0} could not be made", raw)).about(raw);
  }
}

void removeNodes(const SplitPlan& plan) {
  if (!plan.rawDevice.empty()) removeName(plan.rawDevice);
  removeName(plan.snapshotDevice);
}

}  // namespace qmfi_host
