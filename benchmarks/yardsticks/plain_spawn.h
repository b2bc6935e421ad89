// Running a program by the shortest safe way.
#ifndef PLAIN_SPAWN_H
#define PLAIN_SPAWN_H

#include <chrono>
#include <string>
#include <vector>

namespace bench {

using Words = std::vector<std::string>;

// Runs programs, each named by its path in the first word and each reading what the one before prints, with
// posix_spawn, a pipe and a deadline; captures what the last one prints. Returns the last one's exit status, or -1 when
// it could not be run or did not end in time.
int spawnAndCapture(const std::vector<Words>& programs, std::string& output, std::chrono::milliseconds time);

}  // namespace bench

#endif
