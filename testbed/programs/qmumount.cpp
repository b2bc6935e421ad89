// qmumount: unmounts a qmfs file system, by force if wanted.
#include <fcntl.h>
#include <sys/ioctl.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include "common/program.h"
#include "programs/mount_table.h"
#include "system/descriptor.h"

namespace testbed {

using qmfi_system::Descriptor;

namespace {

constexpr int wrongUsage = 1;
constexpr int notRun = 2;

// XFS_IOC_GOINGDOWN with its default: everything is written, then the file system answers every access with an error.
constexpr unsigned long goingDown = _IOR('X', 125, std::uint32_t);

// Whoever still uses the file system gets errors from now on; the mount is gone at once.
int forceOff(const std::string& directory) {
  std::uint32_t writeEverything = 0;
  const Descriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.valid()) ioctl(descriptor.get(), goingDown, &writeEverything);
  return runProgram({"/bin/umount", "-l", directory});
}

// A line that an earlier unmount left in the mount table goes, too.
int unmountForced(const std::string& directory) {
  int status = 0;
  programOutput({"/bin/umount", directory}, status);
  if (status != 0 && mountsOn(directory) > 0) status = forceOff(directory);
  return removeStaleLine(directory) ? 0 : status;
}

int qmumount(int count, char** words) {
  const bool forced = count == 4 && std::string(words[1]) == "-o" && std::string(words[2]) == "force";
  if (!forced && (count != 2 || words[1][0] == '-')) {
    std::fputs("usage: qmumount [-o force] MOUNTPOINT\n", stderr);
    return wrongUsage;
  }
  const std::string directory = words[count - 1];
  if (!forced) return runProgram({"/bin/umount", directory});
  try {
    return unmountForced(directory);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qmumount: %s\n", error.what());
    return notRun;
  }
}

}  // namespace

}  // namespace testbed

int main(int count, char** words) {
  return testbed::qmumount(count, words);
}
