// fsck.qmfs: replays the log of a qmfs file system and repairs it. fsck looks at the device whatever type it is told,
// and sees the type below qmfs, so that this program stands in the place of fsck.xfs too.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/program.h"
#include "programs/device_probe.h"

namespace testbed {

namespace {

constexpr int operationalError = 8;
constexpr int wrongUsage = 16;
constexpr int logNotReplayed = 2;  // of xfs_repair

const std::string repair = "/sbin/xfs_repair";

// Mounting is what replays a log; a snapshot of a frozen file system always has one to be replayed.
bool replayLog(const std::string& device) {
  char directory[] = "/tmp/fsck.qmfs.XXXXXX";
  if (mkdtemp(directory) == nullptr) return false;
  const bool replayed = runProgram({"/bin/mount", "-i", "-t", "xfs", "-o", "nouuid", device, directory}) == 0 &&
                        runProgram({"/bin/umount", "-i", directory}) == 0;
  rmdir(directory);
  return replayed;
}

int repairDevice(const std::string& device) {
  int status = runProgram({repair, device});
  if (status != logNotReplayed) return status;
  status = replayLog(device) ? runProgram({repair, device}) : runProgram({repair, "-L", device});
  return status;
}

int fsckQmfs(int count, char** words) {
  bool mayRepair = false;
  for (int option; (option = getopt(count, words, "aynpfC:")) != -1;) {
    if (option == '?') return wrongUsage;
    if (option == 'a' || option == 'y' || option == 'p') mayRepair = true;
  }
  if (optind + 1 != count) {
    std::fputs("usage: fsck.qmfs [-y | -n] DEVICE\n", stderr);
    return wrongUsage;
  }
  const std::string device = words[optind];
  // As the system's fsck.xfs: there is nothing to do for a plain one.
  if (std::string(program_invocation_short_name) == "fsck.xfs" && fileSystemType(device) != "qmfs") return 0;
  const int status = mayRepair ? repairDevice(device) : runProgram({repair, "-n", device});
  return status == 0 ? 0 : operationalError;
}

}  // namespace

}  // namespace testbed

int main(int count, char** words) {
  return testbed::fsckQmfs(count, words);
}
