// Reading the kernel's mount table.
#include "volume/whole_mount.h"

#include <cstdint>
#include <fstream>
#include <optional>
#include <sstream>

#include "failure/host_error.h"
#include "system/mount_point.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr const char* mountTable = "/proc/self/mountinfo";

// The field of a line of the table that says which directory of the file system is mounted, with octal escapes. Empty
// when there is no line for the mount. Numbers are compared and not names: whoever may mount chooses those.
std::string rootOf(std::uint64_t mount) {
  std::ifstream table(mountTable);
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::uint64_t id = 0;
    std::string parent;
    std::string device;
    std::string root;
    if (fields >> id >> parent >> device >> root && id == mount) return root;
  }
  return {};
}

}  // namespace

void requireWholeMount(const std::string& mountPoint) {
  const std::optional<std::uint64_t> mount = qmfi_system::mountNumberOf(mountPoint);
  if (!mount) throw systemError(translate("{0} cannot be read", mountPoint)).about(mountPoint);
  const std::string root = rootOf(*mount);
  if (root == "/") return;
  if (root.empty()) throw HostError(translate("{0} is not in {1}", mountPoint, mountTable));
  throw HostError(
      translate("only the directory {0} of a file system is mounted on {1}, and a snapshot is one of the whole; name "
                "the mount point of the whole file system",
                root, mountPoint));
}

}  // namespace qmfi_host
