// Runs another program and waits for it.
#pragma once

#include <string>
#include <vector>

namespace testbed {

// The exit status as a shell reports it: the program's own, or 128 + n when signal n ended it.
// `waitStatus`: as stored by waitpid.
int shellStatus(int waitStatus);

// Runs the program `words[0]` (an absolute path) with the caller's environment, standard streams and no blocked signal,
// and waits for its end. Returns its shellStatus, 127 when it could not be started. Thread-safe.
int runProgram(const std::vector<std::string>& words);

// As runProgram, but gives back what the program wrote to its standard output and error output.
// `status`: receives the shellStatus.
std::string programOutput(const std::vector<std::string>& words, int& status);

// Pointers to the words, ended by a null pointer, as the exec family wants them; valid as long as `words`.
std::vector<char*> argumentVector(const std::vector<std::string>& words);

}  // namespace testbed
