// The private root: the machine's own files seen through a layer that is gone with the testbed, and its own devices.
#include "launcher/private_root.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "launcher/private_devices.h"
#include "system/checked.h"
#include "system/descriptor.h"
#include "system/small_file.h"

namespace testbed {

using qmfi_system::checked;
using qmfi_system::Descriptor;

namespace fs = std::filesystem;

namespace {

// Everything is put together here; the directory's own content stays reachable below `hostTree`.
const std::string stage = "/tmp";
const std::string hostTree = stage + "/host";
const std::string layers = stage + "/layers";
const std::string newRoot = stage + "/root";

void mountOn(const std::string& source, const std::string& target, const char* type, unsigned long flags,
             const std::string& data = "") {
  checked(mount(source.c_str(), target.c_str(), type, flags, data.c_str()), "mounting " + source + " on " + target);
}

// A second view of all that the machine has mounted, so that the stage can cover a directory of it.
void openStage() {
  mountOn("none", "/", nullptr, MS_REC | MS_PRIVATE);
  const Descriptor tree(
      checked(open_tree(AT_FDCWD, "/", OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_RECURSIVE), "copying the mount tree"));
  mountOn("qmfs-testbed", stage, "tmpfs", 0, "mode=755");
  for (const auto& directory : {hostTree, layers, newRoot}) {
    checked(mkdir(directory.c_str(), 0755), "mkdir " + directory);
  }
  checked(move_mount(tree.get(), "", AT_FDCWD, hostTree.c_str(), MOVE_MOUNT_F_EMPTY_PATH), "placing the mount tree");
}

struct HostMount {
  std::string path;  // as the machine sees it
  std::string type;
};

std::vector<HostMount> hostMounts() {
  const std::unique_ptr<libmnt_table, void (*)(libmnt_table*)> table(mnt_new_table_from_file("/proc/self/mountinfo"),
                                                                     mnt_unref_table);
  const std::unique_ptr<libmnt_iter, void (*)(libmnt_iter*)> each(mnt_new_iter(MNT_ITER_FORWARD), mnt_free_iter);
  std::vector<HostMount> mounts;
  libmnt_fs* entry = nullptr;
  while (table && mnt_table_next_fs(table.get(), each.get(), &entry) == 0) {
    const std::string path = mnt_fs_get_target(entry);
    if (path.starts_with(hostTree + "/")) mounts.push_back({path.substr(hostTree.size()), mnt_fs_get_fstype(entry)});
  }
  return mounts;
}

// These get something of their own, or would pull in what only the machine itself can serve.
bool leftOut(const HostMount& mounted) {
  constexpr std::array<std::string_view, 3> trees = {"/dev", "/proc", "/sys"};
  constexpr std::array<std::string_view, 2> types = {"autofs", "nsfs"};
  return std::any_of(
             trees.begin(), trees.end(),
             [&](auto tree) { return mounted.path == tree || mounted.path.starts_with(std::string(tree) + "/"); }) ||
         std::find(types.begin(), types.end(), mounted.type) != types.end();
}

// Whether `path` of the machine now shows in the new root, with changes kept in a layer of its own.
bool overlay(const std::string& path) {
  static int number = 0;
  const std::string layer = layers + "/" + std::to_string(++number);
  for (const char* part : {"", "/upper", "/work"}) {
    checked(mkdir((layer + part).c_str(), 0755), "mkdir " + layer + part);
  }
  // The mounted directory takes its owner and mode from the upper layer.
  struct stat original {};
  checked(stat((hostTree + path).c_str(), &original), "stat " + path);
  checked(chmod((layer + "/upper").c_str(), original.st_mode & 07777), "chmod " + layer);
  checked(chown((layer + "/upper").c_str(), original.st_uid, original.st_gid), "chown " + layer);
  // A path could hold a colon or a comma, a descriptor's name cannot.
  const Descriptor lower(checked(open((hostTree + path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC), "opening " + path));
  const std::string options = "lowerdir=/proc/self/fd/" + std::to_string(lower.get()) + ",upperdir=" + layer +
                              "/upper,workdir=" + layer + "/work";
  return mount("overlay", (newRoot + path).c_str(), "overlay", 0, options.c_str()) == 0;
}

// For what cannot lie below a layer: a single file, a file system that overlays do not take.
void bindReadOnly(const std::string& source, const std::string& target) {
  if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) < 0) return;
  mountOn("none", target, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY);
}

void showHostFiles() {
  if (!overlay("")) checked(-1, "mounting an overlay of /");
  for (const auto& mounted : hostMounts()) {
    const fs::path target = newRoot + mounted.path;
    std::error_code error;
    if (leftOut(mounted) || !fs::exists(target, error) || !fs::exists(hostTree + mounted.path, error)) continue;
    if (fs::is_directory(target, error) && overlay(mounted.path)) continue;
    bindReadOnly(hostTree + mounted.path, target);
  }
}

void makeDirectories() {
  for (const char* directory : {"/dev", "/proc", "/sys", "/tmp"}) fs::create_directories(newRoot + directory);
  checked(chmod((newRoot + "/tmp").c_str(), 01777), "chmod /tmp");
  mountOn(hostTree + "/sys", newRoot + "/sys", nullptr, MS_BIND | MS_REC);
  mountOn("proc", newRoot + "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC);
  fillDevices(newRoot + "/dev");
}

void showAsItIs(const fs::path& directory, const std::string& path) {
  fs::create_directories(newRoot + path);
  mountOn(hostTree + directory.string(), newRoot + path, nullptr, MS_BIND | MS_REC);
}

void changeRoot() {
  checked(chdir(newRoot.c_str()), "chdir to the new root");
  // The old root lands on top of the new one and is taken away from there.
  checked(syscall(SYS_pivot_root, ".", "."), "pivot_root");
  checked(umount2(".", MNT_DETACH), "detaching the old root");
  checked(chdir("/"), "chdir to /");
}

void writeMountTable() {
  fs::remove("/etc/mtab");
  std::ofstream("/etc/mtab") << qmfi_system::readSmallFile("/proc/self/mounts").value_or("");
}

}  // namespace

void enterPrivateRoot(const std::map<fs::path, std::string>& shown) {
  checked(unshare(CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWUTS), "unshare");
  umask(022);
  openStage();
  showHostFiles();
  makeDirectories();
  for (const auto& [directory, path] : shown) showAsItIs(directory, path);
  changeRoot();
  writeMountTable();
}

}  // namespace testbed
