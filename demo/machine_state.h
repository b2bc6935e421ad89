// What a snapshot could leave behind on the machine.
#ifndef MACHINE_STATE_H
#define MACHINE_STATE_H

#include <chrono>
#include <ostream>
#include <set>
#include <string>

namespace demo {

// Mounts, mount points, devices, volume files and attached loop devices of the testbed, one line each.
using MachineState = std::set<std::string>;

// The state at this moment.
MachineState machineState();

// The lines that one of the two has and the other has not.
std::string difference(const MachineState& before, const MachineState& after);

// The state that `look` sees when it is as before, or else when the patience is at its end.
template <typename State, typename Look>
State settled(const State& before, std::chrono::seconds patience, Look look) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  State now = look();
  while (now != before && std::chrono::steady_clock::now() < deadline) now = look();
  return now;
}

// What has changed since then. Another testbed of the machine that looks at a loop device keeps it attached until it
// has looked, so a difference counts only when it lasts.
std::string lastingDifference(const MachineState& before);

}  // namespace demo

#endif
