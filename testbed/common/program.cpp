// Programs with the caller's environment.
#include "common/program.h"

#include <utility>

#include "system/program.h"

namespace testbed {

int runProgram(const std::vector<std::string>& words) {
  return qmfi_system::runProgram({.words = words, .environment = qmfi_system::ownEnvironment()}).shellStatus();
}

std::string programOutput(const std::vector<std::string>& words, int& status) {
  auto end = qmfi_system::captureProgram({.words = words, .environment = qmfi_system::ownEnvironment()});
  status = end.shellStatus();
  return std::move(end.output);
}

}  // namespace testbed
