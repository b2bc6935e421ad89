// Running other programs.
#pragma once

#include <string>
#include <vector>

namespace demo {

struct Outcome {
  int status;          // as a shell reports it
  std::string output;  // of both kinds
};

// Runs words[0], an absolute path, with the given words and this process's environment, and waits for its end.
Outcome runProgram(const std::vector<std::string>& words);

// The same for a program that must succeed. Returns its output; throws DemoError with it otherwise.
std::string mustRun(const std::vector<std::string>& words);

}  // namespace demo
