// mount.qmfs: mounts a qmfs file system as the type below it and enters it in /etc/mtab.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "common/program.h"
#include "programs/device_probe.h"
#include "programs/mount_options.h"
#include "programs/mount_table.h"

namespace testbed {

namespace {

constexpr int wrongUsage = 1;
constexpr int tableFailed = 16;
constexpr int mountFailed = 32;

struct Invocation {
  std::string device;
  std::string directory;
  std::string options;
  std::vector<std::string> switches;  // handed on: -n, -s, -v and the like
  bool fake = false;                  // -f: everything but the mount
};

// mount calls its helpers as DEVICE DIRECTORY [-sfnv] [-N namespace] [-o options] [-t type].
bool parse(int count, char** words, Invocation& invocation) {
  if (count < 3) return false;
  invocation.device = words[1];
  invocation.directory = words[2];
  optind = 3;
  for (int option; (option = getopt(count, words, "sfnvN:o:t:")) != -1;) {
    if (option == '?') return false;
    if (option == 'o') invocation.options += (invocation.options.empty() ? "" : ",") + std::string(optarg);
    if (option == 'f') invocation.fake = true;
    if (std::strchr("snv", option) != nullptr) invocation.switches.push_back({'-', static_cast<char>(option)});
  }
  return optind == count;
}

int enter(const Invocation& invocation, const MountOptions& options) {
  try {
    if (options.remount) {
      changeMountOptions(invocation.directory, options.table);
    } else {
      addMount({invocation.device, invocation.directory, options.table});
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mount.qmfs: %s\n", error.what());
    if (!options.remount) runProgram({"/bin/umount", "-i", invocation.directory});
    return tableFailed;
  }
}

// A program that failed in the end may have mounted all the same; that is undone, since nobody would know of it.
int mountBelow(const std::vector<std::string>& command, const Invocation& invocation) {
  try {
    const std::size_t before = mountsOn(invocation.directory);
    const int status = runProgram(command);
    if (status != 0 && mountsOn(invocation.directory) > before) runProgram({"/bin/umount", "-i", invocation.directory});
    return status;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "mount.qmfs: %s\n", error.what());
    return tableFailed;
  }
}

int mountQmfs(int count, char** words) {
  Invocation invocation;
  if (!parse(count, words, invocation)) {
    std::fputs("usage: mount.qmfs DEVICE DIRECTORY [-sfnv] [-o OPTIONS]\n", stderr);
    return wrongUsage;
  }
  MountOptions options = sortMountOptions(invocation.options);
  if (options.table.empty()) options.table = "rw";
  if (fileSystemType(invocation.device) != "qmfs") {
    std::fprintf(stderr, "mount.qmfs: %s holds no qmfs file system\n", invocation.device.c_str());
    return mountFailed;
  }
  if (invocation.fake) return 0;
  // A snapshot has the identity of its origin, and both may be mounted.
  std::vector<std::string> command = {"/bin/mount", "-i", "-t", "xfs", "-o", "nouuid"};
  if (!options.below.empty()) command.back() += "," + options.below;
  command.insert(command.end(), invocation.switches.begin(), invocation.switches.end());
  command.insert(command.end(), {invocation.device, invocation.directory});
  const int status = mountBelow(command, invocation);
  return status == 0 ? enter(invocation, options) : status;
}

}  // namespace

}  // namespace testbed

int main(int count, char** words) {
  return testbed::mountQmfs(count, words);
}
