// Running a program in a copy of the process.
#ifndef PLAIN_FORK_H
#define PLAIN_FORK_H

#include <string>
#include <vector>

namespace bench {

// Runs a program, named by its path in the first word, and captures what it prints. Returns its exit status, or -1 when
// it could not be run.
int forkAndCapture(const std::vector<std::string>& words, std::string& output);

}  // namespace bench

#endif
