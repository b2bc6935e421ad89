// Links, pipes and names in place of directories, and attempts to get in.
#include "attackers_tricks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "attacked_place.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

const std::string place = attackersPlace;
const std::string inPlace = place + "/orders";
const std::string hostileDirectory = std::string(attackersHome) + "/here\nqmfi: forged\x1b[31m";

void makeOwnDirectory() {
  mkdir(place.c_str(), 0777);
  mkdir(inPlace.c_str(), 0777);
}

void linkPlace(const std::string& target) {
  symlink(target.c_str(), place.c_str());
}

// A directory of the attacker's own with a link where the mount point is looked for.
void linkInPlace(const std::string& target) {
  mkdir(place.c_str(), 0777);
  symlink(target.c_str(), inPlace.c_str());
}

void makeFile(const std::string& path) {
  const qmfi_system::Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

void reportIf(bool possible, const std::string& what, std::string& report) {
  if (possible) report += (report.empty() ? "" : "; ") + what;
}

void tryToOpen(const std::string& path, std::string& report) {
  const qmfi_system::Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  reportIf(file.valid(), path + " can be opened", report);
}

void tryToMake(const std::string& path, std::string& report) {
  const bool made = mkdir(path.c_str(), 0777) == 0;
  reportIf(made, path + " can be made", report);
  if (made) rmdir(path.c_str());
}

std::vector<fs::path> entriesOf(const char* directory) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  return entries;
}

void tryToReachSnapshot(std::string& report) {
  const std::string alternate = std::string(attackedSnapshot) + attackedMountPoint;
  for (const std::string& path : {std::string(attackedSnapshot), alternate, alternate + "/marker"}) {
    tryToOpen(path, report);
  }
  reportIf(access((alternate + "/program").c_str(), X_OK) == 0, "a program of the snapshot can be run", report);
  for (const char* directory : {"/dev/qm/dsk/dg1", "/dev/qm/rdsk/dg1", "/qmfs-pool/dg1"}) {
    for (const fs::path& entry : entriesOf(directory)) {
      if (entry.filename().string().find('-') != std::string::npos) tryToOpen(entry, report);
    }
  }
}

void tryToReachState(std::string& report) {
  for (const char* path : {"/var/lib/qmfi", "/var/lib/qmfi/state.db", "/var/lib/qmfi/lock"}) tryToOpen(path, report);
  for (const char* directory : {"/run/qmfi", "/run/qmfi/snapshots", "/var/lib/qmfi", "/var/log/qmfi", "/etc/qmfi",
                                "/usr/lib/qmfi/providers", "/dev/qm/dsk/dg1", "/qmfs-pool/dg1"}) {
    tryToMake(std::string(directory) + "/attackers", report);
  }
}

// Every other process of the testbed is root's.
void tryToReachProcesses(std::string& report) {
  const std::string own = std::to_string(getpid());
  for (const fs::path& process : entriesOf("/proc")) {
    const std::string name = process.filename();
    if (std::isdigit(static_cast<unsigned char>(name.front())) == 0 || name == own) continue;
    const pid_t pid = std::stoi(name);
    reportIf(kill(pid, 0) == 0, "process " + name + " gets signals", report);
    for (const char* file : {"/mem", "/fd", "/environ"}) tryToOpen(process.string() + file, report);
    reportIf(access((process.string() + "/root/").c_str(), F_OK) == 0, "the root of process " + name + " is reached",
             report);
  }
}

std::string breakIn() {
  std::string report;
  tryToReachSnapshot(report);
  tryToReachState(report);
  tryToReachProcesses(report);
  reportIf(setuid(0) == 0, "he is root", report);
  return report;
}

}  // namespace

std::string AttackersTricks::play(Trick trick) {
  if (trick == Trick::breaksIn) return breakIn();
  std::string report = putBack();
  if (trick == Trick::holdsFilesOpen) {
    holdFilesOpen();
  } else if (trick == Trick::plantsFiles) {
    plantFiles();
  } else if (rename(attackersPlace, attackersAway) == 0) {
    replacePlace(trick);
  } else {
    report += "he cannot rename his own directory";
  }
  return report;
}

void AttackersTricks::replacePlace(Trick trick) {
  switch (trick) {
    case Trick::linkToVictim:
      return linkPlace(victimDirectory);
    case Trick::linkToVictimsParent:
      return linkInPlace("/srv");
    case Trick::linkToRoot:
      return linkInPlace("/");
    case Trick::linkToOtherFileSystem:
      return linkInPlace(m_otherMountPoint);
    case Trick::linkToSnapshot:
      return linkInPlace(std::string(attackedSnapshot) + attackedMountPoint);
    case Trick::linkInACircle:
      return linkPlace(place);
    case Trick::linkToNothing:
      return linkPlace("/nowhere");
    case Trick::linkWithLineFeeds:
      mkdir(hostileDirectory.c_str(), 0777);
      mkdir((hostileDirectory + "/orders").c_str(), 0777);
      return linkPlace(hostileDirectory);
    case Trick::ownDirectory:
      makeOwnDirectory();
      return makeFile(inPlace + "/marker");
    case Trick::emptyDirectory:
      mkdir(place.c_str(), 0777);
      return;
    case Trick::file:
      return makeFile(place);
    case Trick::fifo:
      mkfifo(place.c_str(), 0666);
      return;
    case Trick::mountPointIsFifo:
      mkdir(place.c_str(), 0777);
      mkfifo(inPlace.c_str(), 0666);
      return;
    case Trick::mountPointIsFile:
      mkdir(place.c_str(), 0777);
      return makeFile(inPlace);
    default:
      return;
  }
}

void AttackersTricks::holdFilesOpen() {
  const std::string directory = inPlace + "/users";
  for (const std::string& path : {inPlace, directory}) m_held.emplace_back(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  m_held.emplace_back(open((directory + "/held").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  static_cast<void>(chdir(directory.c_str()));
}

void AttackersTricks::plantFiles() {
  for (const char* directory : {"/tmp", "/var/tmp", "/dev/shm"}) {
    for (const char* name : {"qmfi", "qmfsfi.log", "lock"}) {
      const std::string path = std::string(directory) + "/" + name;
      if (symlink("/etc/shadow", path.c_str()) == 0) m_planted.push_back(path);
    }
    for (const char* name : {"state.db", "state.db-journal", "mtab.tmp"}) {
      const std::string path = std::string(directory) + "/" + name;
      if (mkfifo(path.c_str(), 0666) == 0) m_planted.push_back(path);
    }
  }
}

std::string AttackersTricks::putBack() {
  m_held.clear();
  static_cast<void>(chdir("/"));
  for (const std::string& path : m_planted) unlink(path.c_str());
  m_planted.clear();
  struct stat status {};
  if (lstat(attackersAway, &status) != 0) return {};
  std::error_code error;
  fs::remove_all(attackersPlace, error);
  if (error) return "he cannot remove what he made himself: " + error.message();
  fs::remove_all(hostileDirectory, error);
  if (rename(attackersAway, attackersPlace) != 0) return "his own directory cannot be put back";
  return {};
}

}  // namespace faults
