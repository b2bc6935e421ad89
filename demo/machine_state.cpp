// Looking at mounts, directories and loop devices.
#include "machine_state.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "ledger.h"
#include "system/loop_device.h"
#include "system/small_file.h"

namespace demo {

namespace fs = std::filesystem;

namespace {

constexpr const char* testbedPool = "/qmfs-pool/dg1";

// Where the volumes' files lie: in the testbed's pool, or beside that of the demonstration's first file system. Empty
// where there are none.
fs::path poolDirectory() {
  if (fs::exists(testbedPool)) return testbedPool;
  struct stat volume {};
  if (stat(ledgerMountPoints.front().c_str(), &volume) != 0) return {};
  return fs::path(qmfi_system::backingFileName(volume.st_dev)).parent_path();
}

void addLines(const std::string& file, MachineState& state) {
  std::istringstream lines(qmfi_system::readSmallFile(file).value_or(""));
  for (std::string line; std::getline(lines, line);) state.insert(std::string(file).append(": ").append(line));
}

void addEntries(const std::string& directory, MachineState& state) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error)) state.insert("entry " + entry.path().string());
}

// Other testbeds use the same names on the same machine; the file system of the file behind the device tells ours.
void addLoopDevices(const fs::path& directory, MachineState& state) {
  struct stat pool {};
  if (stat(directory.c_str(), &pool) != 0) return;
  for (const int number : qmfi_system::attachedLoopDevices()) {
    const auto loop = qmfi_system::loopBacking("/dev/loop" + std::to_string(number));
    if (loop && loop->fileSystem == pool.st_dev) state.insert("loop device over inode " + std::to_string(loop->inode));
  }
}

}  // namespace

MachineState machineState() {
  MachineState state;
  addLines("/etc/mtab", state);
  addLines("/proc/self/mounts", state);
  const fs::path pool = poolDirectory();
  for (const std::string& directory :
       {std::string("/"), std::string("/mnt"), std::string("/run/qmfi/snapshots"), std::string("/dev/qm/dsk/dg1"),
        std::string("/dev/qm/rdsk/dg1"), pool.string()}) {
    addEntries(directory, state);
  }
  addLoopDevices(pool, state);
  return state;
}

std::string difference(const MachineState& before, const MachineState& after) {
  std::set<std::string> lines;
  std::set_symmetric_difference(before.begin(), before.end(), after.begin(), after.end(),
                                std::inserter(lines, lines.end()));
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

std::string lastingDifference(const MachineState& before) {
  constexpr std::chrono::seconds patience(20);
  return difference(before, settled(before, patience, machineState));
}

}  // namespace demo
