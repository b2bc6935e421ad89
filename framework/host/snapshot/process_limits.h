// What this process asks of the system so that a snapshot is not ended in its middle.
#ifndef PROCESS_LIMITS_H
#define PROCESS_LIMITS_H

#include <string>

#include "system/descriptor.h"

namespace qmfi_host {

// Lets the process have as many descriptors as it may: a snapshot of many file systems needs several for each.
void raiseDescriptorLimit() noexcept;

// Lets the files that the process writes be of any size, where it may lift that limit: a copy is as large as its
// volume.
void raiseFileSizeLimit() noexcept;

// While it lives, the process is the last that the kernel ends when memory runs out: what it froze would stay so. Where
// the system does not allow that, nothing changes.
class LastToBeEnded {
 public:
  // From here on. score: the kernel's file with the process's own adjustment.
  explicit LastToBeEnded(const char* score = "/proc/self/oom_score_adj");
  LastToBeEnded(const LastToBeEnded&) = delete;
  LastToBeEnded& operator=(const LastToBeEnded&) = delete;
  // From here on as before.
  ~LastToBeEnded();

 private:
  qmfi_system::Descriptor m_score;
  std::string m_before;
};

}  // namespace qmfi_host

#endif
