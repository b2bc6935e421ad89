// The time that commands get. The provider gives each ten minutes; the program takes the command pipe over and hands
// commands on with a time that a test can wait for.
#ifndef COMMAND_TIME_H
#define COMMAND_TIME_H

#include <chrono>

namespace faults {

// The time-out of every command from now on; the provider's own without one.
void setCommandTimeout(std::chrono::seconds timeout);
void useProvidersCommandTimeout();

}  // namespace faults

#endif
