// Mounting a file through a loop device.
#include "mounted_file.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "common/loop_device.h"
#include "system/checked.h"

namespace faults {

using qmfi_system::checked;
using qmfi_system::Descriptor;

MountedFile::MountedFile(const std::string& file, const std::string& type, std::string directory, std::string node)
    : m_directory(std::move(directory)), m_node(std::move(node)) {
  const Descriptor backing(checked(open(file.c_str(), O_RDWR | O_CLOEXEC), "opening " + file));
  const testbed::LoopDevice loop = testbed::attachLoopDevice(backing.get());
  if (m_node.empty()) m_node = "/dev/mounted-file-" + std::to_string(loop.number);
  checked(mknod(m_node.c_str(), S_IFBLK | 0600, loop.device), "making " + m_node);
  if (mount(m_node.c_str(), m_directory.c_str(), type.c_str(), 0, nullptr) == 0) return;
  const int error = errno;
  unlink(m_node.c_str());
  throw std::system_error(error, std::generic_category(), "mounting " + file + " on " + m_directory);
}

MountedFile::~MountedFile() {
  // What keeps it busy has been told of already.
  if (umount2(m_directory.c_str(), 0) != 0) umount2(m_directory.c_str(), MNT_DETACH);
  unlink(m_node.c_str());
}

}  // namespace faults
