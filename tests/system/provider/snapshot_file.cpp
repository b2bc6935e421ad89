// Cloning the file of a frozen volume.
#include "snapshot_file.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace provider_test {

namespace {

const std::string pool = "/qmfs-pool/dg1/";

}  // namespace

int cloneFrozen(LoadedPlugin& plugin, kfi_domain& node, const std::string& volume, const std::string& snapshot) {
  const int source = open((pool + volume).c_str(), O_RDONLY | O_CLOEXEC);
  const int clone = open((pool + snapshot).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  kfi_quiescenode* nodes[] = {node.fid_qnode};
  int status = plugin.call().quiesce(nullptr, nodes, 1, nullptr);
  if (status == 0) {
    status = ioctl(clone, FICLONE, source);
    plugin.call().unquiesce(nullptr, nodes, 1);
  }
  close(clone);
  close(source);
  return status;
}

}  // namespace provider_test
