// qmfi, run as a user runs it.
#include "host_program.h"

#include <chrono>
#include <stdexcept>

namespace bench {

void runProgram(const Words& command) {
  constexpr std::chrono::minutes time(5);
  std::string output;
  if (spawnAndCapture({command}, output, time) == 0) return;
  throw std::runtime_error(command.front() + " " + command.back() + " failed: " + output);
}

void runHost(const Words& arguments) {
  Words command{"/usr/bin/qmfi", "--provider-dir", "/usr/lib/qmfi/linuxfs"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  runProgram(command);
}

void createSnapshot(const std::vector<std::string>& mountPoints, const std::string& name) {
  Words arguments{"snapshot", "create", "--name", name};
  arguments.insert(arguments.end(), mountPoints.begin(), mountPoints.end());
  runHost(arguments);
}

void deleteSnapshot(const std::string& name) {
  runHost({"snapshot", "delete", name});
}

}  // namespace bench
