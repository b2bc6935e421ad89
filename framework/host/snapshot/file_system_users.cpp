// Looking in /proc and at the loop devices.
#include "snapshot/file_system_users.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <sstream>
#include <system_error>

#include "failure/host_error.h"
#include "system/loop_device.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

// Of the file that a link of /proc leads to. The file system that it is on is asked for nothing.
std::optional<dev_t> deviceBehind(const fs::path& link) {
  struct statx status {};
  if (statx(AT_FDCWD, link.c_str(), AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, STATX_TYPE, &status) != 0) return {};
  return makedev(status.stx_dev_major, status.stx_dev_minor);
}

std::vector<fs::path> entriesOf(const fs::path& directory) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  return entries;
}

bool mapsFileOf(const fs::path& process, dev_t device) {
  std::ifstream maps(process / "maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    std::string other;
    unsigned major = 0;
    unsigned minor = 0;
    char colon = 0;
    // Address, rights, offset, device.
    fields >> other >> other >> other >> std::hex >> major >> colon >> minor;
    if (fields && makedev(major, minor) == device) return true;
  }
  return false;
}

bool uses(const fs::path& process, dev_t device) {
  std::vector<fs::path> links = entriesOf(process / "fd");
  links.insert(links.end(), {process / "cwd", process / "root"});
  return std::any_of(links.begin(), links.end(), [&](const fs::path& link) { return deviceBehind(link) == device; }) ||
         mapsFileOf(process, device);
}

// Anybody names a process of his own: what a terminal would obey does not get there.
std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char character) { return std::isprint(character) == 0; }, '?');
  return text;
}

std::string firstLineOf(const fs::path& file) {
  std::ifstream stream(file);
  std::string line;
  std::getline(stream, line);
  return line;
}

// The systemd unit that a control group belongs to; empty when it belongs to none.
std::string unitOf(const std::string& controlGroup) {
  fs::path path = controlGroup.substr(std::min(controlGroup.size(), controlGroup.find('/')));
  for (; path.has_relative_path(); path = path.parent_path()) {
    if (path.extension() == ".service" || path.extension() == ".scope") return path.filename();
  }
  return {};
}

std::string describe(const fs::path& process) {
  const std::string unit = unitOf(firstLineOf(process / "cgroup"));
  const std::string number = process.filename();
  const std::string name = printable(firstLineOf(process / "comm"));
  return unit.empty() ? translate("process {0} ({1})", number, name)
                      : translate("process {0} ({1}), {2}", number, name, printable(unit));
}

bool isProcess(const fs::path& entry) {
  const std::string name = entry.filename();
  return std::all_of(name.begin(), name.end(), [](char digit) { return digit >= '0' && digit <= '9'; });
}

// textOf: what a process is called.
std::vector<std::string> allUsersOf(dev_t device, std::string (*textOf)(const fs::path& process)) {
  std::vector<std::string> users;
  for (const fs::path& entry : entriesOf("/proc")) {
    if (isProcess(entry) && uses(entry, device)) users.push_back(textOf(entry));
  }
  for (const int number : qmfi_system::attachedLoopDevices()) {
    const std::string node = "/dev/loop" + std::to_string(number);
    const auto backing = qmfi_system::loopBacking(node);
    if (backing && backing->fileSystem == device) users.push_back(translate("loop device {0}", node));
  }
  return users;
}

std::string describeToUser(const fs::path& process) {
  const bool isThis = process.filename() == std::to_string(getpid());
  return isThis ? translate("this qmfi itself, by a file that it was started with") : describe(process);
}

void listUsers(std::vector<std::string>& list, const std::string& mountPoint, dev_t device) {
  for (const std::string& user : allUsersOf(device, describeToUser)) {
    list.push_back(translate("{0}: {1}", mountPoint, user));
  }
}

}  // namespace

std::vector<std::string> usersOf(dev_t device) {
  return allUsersOf(device, describe);
}

void requireUnused(const Snapshot& snapshot) {
  std::vector<std::string> list;
  for (const SnapshotNode& node : snapshot.nodes) {
    struct stat device {};
    struct stat mounted {};
    if (stat(node.volume.snapshotDevice.c_str(), &device) != 0 || stat(node.alternate.c_str(), &mounted) != 0) continue;
    if (!S_ISBLK(device.st_mode) || device.st_rdev != mounted.st_dev) continue;
    listUsers(list, node.alternate, mounted.st_dev);
  }
  if (list.empty()) return;
  throw HostError(ExitStatus::busy,
                  translate("the snapshot {0} is in use; --force unmounts it all the same, and its users get errors",
                            snapshot.name),
                  list)
      .about(snapshot.name)
      .advise(translate("end what uses it; --force unmounts it all the same"));
}

void requireUnused(const std::vector<std::string>& mountPoints) {
  std::vector<std::string> list;
  for (const std::string& mountPoint : mountPoints) {
    struct stat mounted {};
    if (stat(mountPoint.c_str(), &mounted) == 0) listUsers(list, mountPoint, mounted.st_dev);
  }
  if (list.empty()) return;
  throw HostError(ExitStatus::busy,
                  translate("what is to be restored is in use; --force restores it all the same, and changes it below "
                            "its users"),
                  list)
      .about(mountPoints.front())
      .advise(translate("end what uses it; --force restores it all the same"));
}

}  // namespace qmfi_host
