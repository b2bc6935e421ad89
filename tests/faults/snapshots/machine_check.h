// Whether a snapshot has left anything behind in the testbed.
#ifndef MACHINE_CHECK_H
#define MACHINE_CHECK_H

#include <string>
#include <utility>
#include <vector>

#include "campaign.h"
#include "machine_state.h"

namespace faults {

// Compares the machine with what it was when it was remembered last.
class MachineCheck {
 public:
  // thawRequest: the ioctl request that ends a freeze of the file systems.
  MachineCheck(std::vector<std::string> mountPoints, unsigned long thawRequest)
      : m_mountPoints(std::move(mountPoints)), m_thawRequest(thawRequest) {}

  void remember() { m_before = state(); }

  // Counts a failure for every difference: mounts, mount points, devices, volume files, loop devices, processes, the
  // state directory. No file system may be frozen.
  void expectAsBefore(Campaign& campaign);

  // The same for every file system that is frozen, and thaws it.
  void expectNothingFrozen(Campaign& campaign) const;

  // Thaws every file system. Returns those that were frozen.
  std::vector<std::string> thaw() const;

 private:
  static demo::MachineState state();
  demo::MachineState settledState() const;

  std::vector<std::string> m_mountPoints;
  unsigned long m_thawRequest;
  demo::MachineState m_before;
};

}  // namespace faults

#endif
