// Running other programs.
#ifndef PROGRAM_H
#define PROGRAM_H

#include <string>
#include <vector>

#include "system/program.h"

namespace demo {

// Runs words[0], an absolute path, with the given words and this process's environment, waits for its end and captures
// what it prints.
qmfi_system::ProgramEnd runProgram(const std::vector<std::string>& words);

// The same for a program that must succeed. Returns its output; throws DemoError with it otherwise.
std::string mustRun(const std::vector<std::string>& words);

}  // namespace demo

#endif
