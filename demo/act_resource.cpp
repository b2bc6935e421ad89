// The second act: a storage resource from an empty device to a file system in use.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "acts.h"
#include "demo_error.h"
#include "machine_state.h"
#include "program.h"

namespace demo {

namespace fs = std::filesystem;

namespace {

constexpr const char* kQmfi = "/usr/bin/qmfi";
constexpr const char* kDevice = "/dev/qm/dsk/dg1/archive";
constexpr const char* kMountPoint = "/mnt/archive";
constexpr int kFiles = 64;

std::string fileName(int number) {
  return std::string(kMountPoint) + "/file" + std::to_string(number);
}

// Different in every file, and longer than a block.
std::string content(int number) {
  std::string text;
  while (text.size() < 10000)
    text += "line " + std::to_string(text.size()) + " of file " + std::to_string(number) + "\n";
  return text;
}

void writeFiles() {
  for (int number = 1; number <= kFiles; ++number) {
    std::ofstream file(fileName(number), std::ios::binary);
    if (!(file << content(number)).flush()) throw DemoError(fileName(number) + " could not be written");
  }
}

void compareFiles() {
  for (int number = 1; number <= kFiles; ++number) {
    std::ifstream stream(fileName(number), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (text != content(number)) throw DemoError(fileName(number) + " is not as it was written");
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
    runProgram({"/bin/umount", kMountPoint});
    fs::remove(kMountPoint, ignored);
  }
};

}  // namespace

void playResource(std::ostream& out) {
  const MachineState machine = machineState();
  {
    const UnmountAtEnd unmount;
    mustRun({kQmfi, "resource", "format", "--force", kDevice});
    mustRun({kQmfi, "resource", "online", kDevice, kMountPoint, "-o", "rw"});
    writeFiles();
    out << kDevice << " is formatted and mounted on " << kMountPoint << "; " << kFiles << " files are written.\n";
    mustRun({kQmfi, "access", "disable", kMountPoint});
    if (fs::exists(fileName(1))) throw DemoError(std::string(kMountPoint) + " is still mounted");
    out << "Access to " << kMountPoint << " is disabled: it is unmounted.\n";
    mustRun({kQmfi, "access", "enable", kMountPoint});
    compareFiles();
    out << "Access is enabled again, after a file system check: all files are as they were written.\n";
  }
  const std::string left = difference(machine, machineState());
  if (!left.empty()) throw DemoError("the machine is not as before:\n" + left);
}

}  // namespace demo
