// What a program calls between the freeze of its file systems and the last thaw.
#ifndef FROZEN_CALLS_H
#define FROZEN_CALLS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/supervision/tracer.h"

namespace faults {

// The driver's request for several file systems.
bool isFreezeAll(const SystemCall& call);
// The kernel's own for one.
bool isFreezeOfOne(const SystemCall& call);
// Either's for one.
bool isThaw(const SystemCall& call);

// Notes every call of the process that freezes, from the request to freeze until the return of the last thaw.
class FrozenCalls : public CallWatcher {
 public:
  // fileSystems: how many are thawed.
  explicit FrozenCalls(int fileSystems) : m_thawsLeft(fileSystems) {}

  Decision before(const SystemCall& call) override;
  void after(const SystemCall& call, std::int64_t result) override;

  // "ioctl QM_FREEZE_ALL" and the like; of other calls the name.
  const std::vector<std::string>& calls() const { return m_calls; }
  // Pages that the freezing process had to have read from a disk meanwhile.
  std::uint64_t pagesRead() const { return m_pagesRead; }

 private:
  int m_thawsLeft;
  bool m_frozen = false;
  pid_t m_freezer = -1;
  std::uint64_t m_pagesRead = 0;
  std::vector<std::string> m_calls;
};

}  // namespace faults

#endif
