// The control: the same copies without a freeze.
#include <sys/stat.h>

#include <filesystem>
#include <list>

#include "acts.h"
#include "demo_error.h"
#include "ledger.h"
#include "machine_state.h"
#include "program.h"
#include "system/loop_device.h"
#include "writer_process.h"

namespace demo {

namespace fs = std::filesystem;

namespace {

// The file that the volume on a mount point consists of.
std::string volumeFile(const std::string& mountPoint) {
  struct stat status {};
  if (stat(mountPoint.c_str(), &status) != 0) throw DemoError(mountPoint + " is missing");
  std::string file = qmfi_system::backingFileName(status.st_dev);
  if (file.empty()) throw DemoError("no file behind " + mountPoint);
  return file;
}

// A mounted copy of a live file system, as somebody would make it who knows of no freeze.
class UnfrozenCopy {
 public:
  explicit UnfrozenCopy(const std::string& mountPoint)
      : m_file(volumeFile(mountPoint) + "-control"), m_directory(mountPoint + "_control") {
    mustRun({"/bin/cp", "--reflink=always", volumeFile(mountPoint), m_file});
  }
  UnfrozenCopy(const UnfrozenCopy&) = delete;
  UnfrozenCopy& operator=(const UnfrozenCopy&) = delete;
  ~UnfrozenCopy() {
    std::error_code ignored;
    if (m_mounted) runProgram({"/bin/umount", m_directory});
    fs::remove(m_directory, ignored);
    fs::remove(m_file, ignored);
  }

  // The tree of the copy.
  const std::string& mount() {
    std::string device = mustRun({"/sbin/losetup", "--find", "--show", m_file});
    device.pop_back();
    fs::create_directory(m_directory);
    m_mounted = runProgram({"/bin/mount", "-t", "qmfs", "-o", "ro", device, m_directory}).exitStatus == 0;
    mustRun({"/sbin/losetup", "--detach", device});  // once it is unmounted
    if (!m_mounted) throw DemoError("the copy " + m_file + " could not be mounted");
    return m_directory;
  }

 private:
  std::string m_file;
  std::string m_directory;
  bool m_mounted = false;
};

Numbers copyOneAfterAnother(WriterProcess& writer) {
  constexpr int numbersBetween = 3;
  std::list<UnfrozenCopy> copies;
  for (const std::string& mountPoint : ledgerMountPoints) {
    copies.emplace_back(mountPoint);
    writer.waitForNumbers(numbersBetween);
  }
  Numbers numbers{};
  std::size_t i = 0;
  for (UnfrozenCopy& copy : copies) numbers.at(i++) = readNumber(copy.mount());
  return numbers;
}

}  // namespace

void playControl(std::ostream& out) {
  const MachineState machine = machineState();
  WriterProcess writer;
  const Numbers numbers = copyOneAfterAnother(writer);
  out << "Without a freeze, copied one after another, the last entries are " << numbers[0] << ", " << numbers[1]
      << " and " << numbers[2] << ":";
  if (isOneMoment(numbers)) {
    out << "\n";
    throw DemoError("the check did not notice that there was no freeze");
  }
  out << " the same check finds the order broken.\n";
  const std::string left = lastingDifference(machine);
  if (!left.empty()) throw DemoError("the machine is not as before:\n" + left);
}

}  // namespace demo
