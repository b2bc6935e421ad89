// What a snapshot could leave behind on the machine.
#pragma once

#include <ostream>
#include <set>
#include <string>

namespace demo {

// Mounts, mount points, devices, volume files and attached loop devices of the testbed, one line each.
using MachineState = std::set<std::string>;

MachineState machineState();

// The lines that one of the two has and the other has not.
std::string difference(const MachineState& before, const MachineState& after);

// What has changed since then. Another testbed of the machine that looks at a loop device keeps it attached until it
// has looked, so a difference counts only when it lasts.
std::string lastingDifference(const MachineState& before);

}  // namespace demo
