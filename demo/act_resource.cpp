// The second act: a storage resource from an empty device to a file system in use.
#include <filesystem>
#include <fstream>

#include "acts.h"
#include "demo_error.h"
#include "machine_state.h"
#include "program.h"
#include "system/small_file.h"

namespace demo {

namespace fs = std::filesystem;

namespace {

constexpr const char* qmfiProgram = "/usr/bin/qmfi";
constexpr const char* archiveDevice = "/dev/qm/dsk/dg1/archive";
constexpr const char* mountPoint = "/mnt/archive";
constexpr int fileCount = 64;

std::string fileName(int number) {
  return std::string(mountPoint) + "/file" + std::to_string(number);
}

// Different in every file, and longer than a block.
std::string content(int number) {
  std::string text;
  while (text.size() < 10000) {
    text += "line " + std::to_string(text.size()) + " of file " + std::to_string(number) + "\n";
  }
  return text;
}

void writeFiles() {
  for (int number = 1; number <= fileCount; ++number) {
    std::ofstream file(fileName(number), std::ios::binary);
    if (!(file << content(number)).flush()) throw DemoError(fileName(number) + " could not be written");
  }
}

void compareFiles() {
  for (int number = 1; number <= fileCount; ++number) {
    if (qmfi_system::readSmallFile(fileName(number)) != content(number)) {
      throw DemoError(fileName(number) + " is not as it was written");
    }
  }
}

// Leaves the device blank and unmounted, also when something failed.
class UnmountAtEnd {
 public:
  UnmountAtEnd() = default;
  UnmountAtEnd(const UnmountAtEnd&) = delete;
  UnmountAtEnd& operator=(const UnmountAtEnd&) = delete;
  ~UnmountAtEnd() {
    std::error_code ignored;
    runProgram({"/bin/umount", mountPoint});
    fs::remove(mountPoint, ignored);
  }
};

}  // namespace

void playResource(std::ostream& out) {
  const MachineState machine = machineState();
  {
    const UnmountAtEnd unmount;
    mustRun({qmfiProgram, "resource", "format", "--force", archiveDevice});
    mustRun({qmfiProgram, "resource", "online", archiveDevice, mountPoint, "-o", "rw"});
    writeFiles();
    out << archiveDevice << " is formatted and mounted on " << mountPoint << "; " << fileCount
        << " files are written.\n";
    mustRun({qmfiProgram, "access", "disable", mountPoint});
    if (fs::exists(fileName(1))) throw DemoError(std::string(mountPoint) + " is still mounted");
    out << "Access to " << mountPoint << " is disabled: it is unmounted.\n";
    mustRun({qmfiProgram, "access", "enable", mountPoint});
    compareFiles();
    out << "Access is enabled again, after a file system check: all files are as they were written.\n";
  }
  const std::string left = lastingDifference(machine);
  if (!left.empty()) throw DemoError("the machine is not as before:\n" + left);
}

}  // namespace demo
