// What the test's own process has open and has started.
#ifndef SUPPORT_PROCESS_STATE_H
#define SUPPORT_PROCESS_STATE_H

#include <string>
#include <vector>

// "number path" of every open descriptor but the one that lists them, sorted.
std::vector<std::string> openDescriptors();
// Those that are open on a path.
std::vector<int> descriptorsOf(const std::string& path);

// Whether a child process is left. One that has ended is reaped.
bool hasChild();

#endif
