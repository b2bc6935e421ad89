// Looking at the machine.
#include "machine_check.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <sstream>

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds patience(10);
constexpr const char* stateDirectory = "/var/lib/qmfi";

// Whatever is in the state directory, with its mode. The journal that a killed host left stays until the next change,
// its word of a claim until the next recovery.
void addState(demo::MachineState& state) {
  std::error_code error;
  std::vector<std::string> paths = {stateDirectory};
  for (const auto& entry : fs::directory_iterator(stateDirectory, error)) paths.push_back(entry.path().string());
  for (const std::string& path : paths) {
    struct stat status {};
    if (path.ends_with("-journal") || path.find("/lock-") != std::string::npos) continue;
    if (stat(path.c_str(), &status) != 0) continue;
    std::ostringstream line;
    line << path << " has mode " << std::oct << (status.st_mode & 07777);
    state.insert(line.str());
  }
}

void addProcesses(demo::MachineState& state) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/proc", error)) {
    const std::string name = entry.path().filename().string();
    if (std::isdigit(static_cast<unsigned char>(name.front())) == 0) continue;
    const fs::path program = fs::read_symlink(entry.path() / "exe", error);
    state.insert("process " + name + " runs " + program.string());
  }
}

}  // namespace

demo::MachineState MachineCheck::state() {
  demo::MachineState state = demo::machineState();
  addState(state);
  addProcesses(state);
  return state;
}

std::vector<std::string> MachineCheck::thaw() const {
  std::vector<std::string> frozen;
  for (const std::string& mountPoint : m_mountPoints) {
    const int directory = open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (ioctl(directory, m_thawRequest, 0) == 0 || errno != EINVAL) frozen.push_back(mountPoint);
    close(directory);
  }
  return frozen;
}

// Another testbed of the machine that looks at a loop device keeps it attached until it has looked.
demo::MachineState MachineCheck::settledState() const {
  return demo::settled(m_before, patience, state);
}

void MachineCheck::expectNothingFrozen(Campaign& campaign) const {
  for (const std::string& mountPoint : thaw()) campaign.failed(mountPoint + " was still frozen");
}

void MachineCheck::expectAsBefore(Campaign& campaign) {
  expectNothingFrozen(campaign);
  const demo::MachineState now = settledState();
  if (now == m_before) return;
  std::istringstream lines(demo::difference(m_before, now));
  for (std::string line; std::getline(lines, line);) campaign.failed("changed: " + line);
  // What one case has changed is not the fault of all that follow.
  m_before = now;
}

}  // namespace faults
