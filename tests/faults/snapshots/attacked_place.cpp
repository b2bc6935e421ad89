// Making and comparing.
#include "attacked_place.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/program_run.h"
#include "support/text_file.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

void requireDone(bool done, const std::string& what) {
  if (!done) throw std::runtime_error(what);
}

void runProgram(const std::vector<std::string>& words) {
  const testbed_test::Outcome outcome = testbed_test::run(words);
  requireDone(outcome.status == 0, words.front() + " failed: " + outcome.output);
}

void giveToAttacker(const std::string& directory) {
  requireDone(chown(directory.c_str(), attackingUser, attackingUser) == 0, directory + " cannot be given away");
}

void write(const std::string& file, const std::string& text, mode_t mode) {
  std::ofstream(file) << text;
  requireDone(chmod(file.c_str(), mode) == 0, file + " cannot be written");
}

void makeVictim() {
  fs::create_directories(std::string(victimDirectory) + "/orders");
  write(std::string(victimDirectory) + "/orders/marker", "victim", 0600);
}

void fillFileSystem(const std::string& mountPoint) {
  constexpr mode_t setUserId = 04755;
  write(mountPoint + "/marker", mountPoint, 0644);
  fs::copy_file("/bin/true", mountPoint + "/program", fs::copy_options::overwrite_existing);
  requireDone(chmod((mountPoint + "/program").c_str(), setUserId) == 0, "no set-user-id program in " + mountPoint);
  fs::create_directory(mountPoint + "/users");
  giveToAttacker(mountPoint + "/users");
}

// Owner, rights, size and the moment of the last change, whatever it was.
std::string lookAt(const fs::path& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return path.string() + " is gone";
  std::ostringstream line;
  line << path.string() << " " << std::oct << status.st_mode << std::dec << " " << status.st_uid << ":" << status.st_gid
       << " " << status.st_size << " " << status.st_ctim.tv_sec << "." << status.st_ctim.tv_nsec;
  return line.str();
}

void addTree(const fs::path& directory, std::set<std::string>& lines) {
  lines.insert(lookAt(directory));
  std::error_code error;
  for (const auto& entry : fs::recursive_directory_iterator(directory, error)) lines.insert(lookAt(entry.path()));
}

struct Mount {
  std::string path;
  std::string options;
};

Mount mountOf(const std::string& line) {
  std::istringstream fields(line);
  std::string skipped;
  Mount mount;
  fields >> skipped >> skipped >> skipped >> skipped >> mount.path >> mount.options;
  return mount;
}

bool isOfSnapshot(const Mount& mount) {
  return mount.path == attackedSnapshot || mount.path.starts_with(std::string(attackedSnapshot) + "/");
}

std::vector<std::string> mountLines() {
  return linesOf("/proc/self/mountinfo");
}

bool hasOption(const std::string& options, const std::string& option) {
  return ("," + options + ",").find("," + option + ",") != std::string::npos;
}

}  // namespace

AttackedPlace::AttackedPlace(const std::vector<std::string>& mountPoints)
    : m_firstMountPoint(mountPoints.at(0)),
      m_device("/dev/qm/dsk/dg1/" + fs::path(m_firstMountPoint).filename().string()),
      m_otherMountPoint(mountPoints.at(1)) {
  makeVictim();
  fs::create_directory(attackersHome);
  requireDone(::mount("attacker", attackersHome, "tmpfs", 0, "uid=1000,gid=1000,mode=755") == 0, "no tmpfs");
  fs::create_directories(attackedMountPoint);
  giveToAttacker(attackersPlace);
  giveToAttacker(attackedMountPoint);
  runProgram({"/bin/umount", m_firstMountPoint});
  mount();
  fillFileSystem(attackedMountPoint);
  fillFileSystem(m_otherMountPoint);
}

AttackedPlace::~AttackedPlace() {
  testbed_test::run({"/bin/umount", attackedMountPoint});
  umount2(attackersHome, MNT_DETACH);
  testbed_test::run({"/bin/mount", "-t", "qmfs", m_device, m_firstMountPoint});
}

void AttackedPlace::unmount() const {
  runProgram({"/bin/umount", attackedMountPoint});
}

void AttackedPlace::mount() const {
  struct stat node {};
  struct stat mounted {};
  if (stat(m_device.c_str(), &node) == 0 && stat(attackedMountPoint, &mounted) == 0 && node.st_rdev == mounted.st_dev) {
    return;
  }
  runProgram({"/bin/mount", "-t", "qmfs", m_device, attackedMountPoint});
}

std::set<std::string> AttackedPlace::state() const {
  std::set<std::string> lines;
  addTree(victimDirectory, lines);
  addTree(m_otherMountPoint, lines);
  for (const char* path : {"/", "/mnt", "/srv", "/etc", "/run", "/run/qmfi", "/run/qmfi/snapshots"}) {
    struct stat status {};
    if (stat(path, &status) != 0) continue;
    lines.insert(std::string(path) + " has mode " + std::to_string(status.st_mode) + " and owner " +
                 std::to_string(status.st_uid));
  }
  for (const std::string& line : mountLines()) {
    if (!isOfSnapshot(mountOf(line))) lines.insert(line);
  }
  return lines;
}

void AttackedPlace::expectAsBefore(Campaign& campaign) const {
  const std::set<std::string> now = state();
  std::vector<std::string> changed;
  std::set_symmetric_difference(m_before.begin(), m_before.end(), now.begin(), now.end(), std::back_inserter(changed));
  for (const std::string& line : changed) campaign.failed("touched: " + line);
}

void AttackedPlace::expectNothingOfRootsInHome(Campaign& campaign) const {
  struct stat home {};
  stat(attackersHome, &home);
  std::error_code error;
  for (fs::recursive_directory_iterator entry(attackersHome, error); entry != fs::recursive_directory_iterator();
       entry.increment(error)) {
    struct stat status {};
    if (lstat(entry->path().c_str(), &status) != 0) continue;
    if (status.st_dev != home.st_dev) {
      entry.disable_recursion_pending();
    } else if (status.st_uid != attackingUser) {
      campaign.failed("root has made " + entry->path().string());
    }
  }
}

void AttackedPlace::expectHarmlessSnapshot(Campaign& campaign) const {
  for (const std::string& line : mountLines()) {
    const Mount mount = mountOf(line);
    if (!isOfSnapshot(mount)) continue;
    for (const char* option : {"ro", "nosuid", "nodev"}) {
      campaign.expect(hasOption(mount.options, option), mount.path + " is mounted without " + option);
    }
    const std::string original = mount.path.substr(std::string(attackedSnapshot).size());
    campaign.expectEqual(original, textOf(mount.path + "/marker"), "what " + mount.path + " shows");
  }
  struct stat status {};
  if (lstat(attackedSnapshot, &status) != 0) return;
  campaign.expect(S_ISDIR(status.st_mode) && status.st_uid == 0 && (status.st_mode & 077) == 0,
                  std::string(attackedSnapshot) + " is not for root alone");
}

}  // namespace faults
