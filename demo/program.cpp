// Programs, and what is said when one fails.
#include "program.h"

#include "demo_error.h"

namespace demo {

qmfi_system::ProgramEnd runProgram(const std::vector<std::string>& words) {
  return qmfi_system::captureProgram({.words = words, .environment = qmfi_system::ownEnvironment()});
}

std::string mustRun(const std::vector<std::string>& words) {
  qmfi_system::ProgramEnd end = runProgram(words);
  if (end.exitStatus == 0) return std::move(end.output);
  std::string line;
  for (const auto& word : words) line += word + " ";
  throw DemoError(line + "failed with status " + std::to_string(end.shellStatus()) + ":\n" + end.output);
}

}  // namespace demo
