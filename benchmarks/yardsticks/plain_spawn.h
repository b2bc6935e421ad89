// Running a program by the shortest safe way.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace bench {

// Runs a program, named by its path in the first word, and captures what it prints, with posix_spawn, a pipe and a
// deadline. Returns its exit status, or -1 when it could not be run or did not end in time.
int spawnAndCapture(const std::vector<std::string>& words, std::string& output, std::chrono::milliseconds time);

}  // namespace bench
