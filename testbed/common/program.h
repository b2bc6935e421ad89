// Runs another program and waits for it.
#ifndef PROGRAM_H
#define PROGRAM_H

#include <string>
#include <vector>

namespace testbed {

// Runs the program `words[0]` (an absolute path) with the caller's environment and standard streams, and waits for its
// end. Returns its status as a shell reports it, 127 when it could not be started. Thread-safe.
int runProgram(const std::vector<std::string>& words);

// As runProgram, but gives back what the program wrote to its standard output and error output; it reads nothing.
// `status`: receives the status.
std::string programOutput(const std::vector<std::string>& words, int& status);

}  // namespace testbed

#endif
