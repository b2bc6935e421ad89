// Looking at mounts, directories and loop devices.
#include "machine_state.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace demo {

namespace fs = std::filesystem;

namespace {

constexpr const char* poolDirectory = "/qmfs-pool/dg1";

void addLines(const std::string& file, MachineState& state) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) state.insert(std::string(file).append(": ").append(line));
}

void addEntries(const std::string& directory, MachineState& state) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error)) state.insert("entry " + entry.path().string());
}

// Other testbeds use the same names on the same machine; the file system of the file behind the device tells ours.
void addLoopDevices(MachineState& state) {
  struct stat pool {};
  if (stat(poolDirectory, &pool) != 0) return;
  for (const auto& entry : fs::directory_iterator("/sys/block")) {
    const std::string name = entry.path().filename();
    if (!name.starts_with("loop") || !fs::exists(entry.path() / "loop")) continue;
    const int node = open(("/dev/" + name).c_str(), O_RDONLY | O_CLOEXEC);
    loop_info64 loop{};
    if (ioctl(node, LOOP_GET_STATUS64, &loop) == 0 && loop.lo_device == pool.st_dev) {
      state.insert("loop device over inode " + std::to_string(loop.lo_inode));
    }
    close(node);
  }
}

}  // namespace

MachineState machineState() {
  MachineState state;
  addLines("/etc/mtab", state);
  addLines("/proc/self/mounts", state);
  for (const char* directory : {"/", "/mnt", "/dev/qm/dsk/dg1", "/dev/qm/rdsk/dg1", poolDirectory})
    addEntries(directory, state);
  addLoopDevices(state);
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
  constexpr std::chrono::seconds patience(5);
  return difference(before, settled(before, patience, machineState));
}

}  // namespace demo
