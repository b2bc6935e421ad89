// qmfi, run as a user runs it.
#ifndef HOST_PROGRAM_H
#define HOST_PROGRAM_H

#include <string>
#include <vector>

#include "yardsticks/plain_spawn.h"

namespace bench {

// Runs a program and throws std::runtime_error with what it printed unless it succeeds.
void runProgram(const Words& command);

// The same with qmfi, which has the provider for ordinary file systems.
void runHost(const Words& arguments);

// Takes a snapshot of them all, and deletes it. As above.
void createSnapshot(const std::vector<std::string>& mountPoints, const std::string& name = "bench");
void deleteSnapshot(const std::string& name = "bench");

}  // namespace bench

#endif
