// The inside of a testbed, from its private root to the command's end.
#ifndef SESSION_H
#define SESSION_H

#include "launcher/arguments.h"
#include "launcher/terminal.h"
#include "system/descriptor.h"

namespace testbed {

// A testbed that could not be set up ends with this status.
constexpr int setUpFailed = 125;

// Sets everything up, runs the command, answers its freeze requests and takes everything down: nothing is frozen and no
// process is left when it returns. To be called as process 1 of a PID namespace, which dies with it.
//  - `terminal`: the command has it, when it is ours, while it runs;
//  - `lifeline`: the reading end of a pipe; its end of file asks for the take-down at once;
//  - `watchdog`: the socket to the process that thaws if this one is killed;
//  - `poolImage`: the file for a pool of its own; none when the pool is a directory of the machine.
// Returns the command's status as a shell reports it. Throws std::exception when the testbed cannot be set up.
int runSession(const Arguments& arguments, const Terminal& terminal, const qmfi_system::Descriptor& lifeline,
               qmfi_system::Descriptor watchdog, qmfi_system::Descriptor poolImage);

}  // namespace testbed

#endif
