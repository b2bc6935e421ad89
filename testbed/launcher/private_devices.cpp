// The devices of the private root.
#include "launcher/private_devices.h"

#include <linux/major.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>

#include "system/checked.h"

namespace testbed {

using qmfi_system::checked;

namespace {

constexpr int loopNodes = 256;

struct Node {
  const char* name;
  mode_t mode;
  unsigned major;
  unsigned minor;
};

constexpr std::array nodes = {
    Node{"null", S_IFCHR | 0666, 1, 3},    Node{"zero", S_IFCHR | 0666, 1, 5},
    Node{"full", S_IFCHR | 0666, 1, 7},    Node{"random", S_IFCHR | 0666, 1, 8},
    Node{"urandom", S_IFCHR | 0666, 1, 9}, Node{"kmsg", S_IFCHR | 0644, 1, 11},
    Node{"tty", S_IFCHR | 0666, 5, 0},     Node{"console", S_IFCHR | 0600, 5, 1},
    Node{"fuse", S_IFCHR | 0666, 10, 229}, Node{"loop-control", S_IFCHR | 0660, 10, 237},
};

struct Link {
  const char* name;
  const char* target;
};

constexpr std::array links = {
    Link{"fd", "/proc/self/fd"},       Link{"stdin", "/proc/self/fd/0"}, Link{"stdout", "/proc/self/fd/1"},
    Link{"stderr", "/proc/self/fd/2"}, Link{"ptmx", "pts/ptmx"},
};

struct Folder {
  const char* name;
  const char* type;
  const char* options;
};

constexpr std::array folders = {
    Folder{"shm", "tmpfs", "mode=1777"},
    Folder{"pts", "devpts", "newinstance,ptmxmode=0666,mode=0620,gid=5"},
};

}  // namespace

void fillDevices(const std::string& directory) {
  checked(mount("qmfs-testbed", directory.c_str(), "tmpfs", MS_NOSUID, "mode=755"), "mounting " + directory);
  const auto previousMask = umask(0);
  for (const auto& node : nodes) {
    const std::string path = directory + "/" + node.name;
    checked(mknod(path.c_str(), node.mode, makedev(node.major, node.minor)), "making " + path);
  }
  for (int number = 0; number < loopNodes; ++number) {
    const std::string path = directory + "/loop" + std::to_string(number);
    checked(mknod(path.c_str(), S_IFBLK | 0660, makedev(LOOP_MAJOR, number)), "making " + path);
  }
  umask(previousMask);
  for (const auto& link : links) {
    const std::string path = directory + "/" + link.name;
    checked(symlink(link.target, path.c_str()), "making " + path);
  }
  for (const auto& folder : folders) {
    const std::string path = directory + "/" + folder.name;
    checked(mkdir(path.c_str(), 0755), "making " + path);
    checked(mount(folder.name, path.c_str(), folder.type, MS_NOSUID | MS_NOEXEC, folder.options), "mounting " + path);
  }
}

}  // namespace testbed
