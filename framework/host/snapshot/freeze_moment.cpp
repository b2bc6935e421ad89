// Moments of freezes.
#include "snapshot/freeze_moment.h"

#include <ctime>

#include "system/small_file.h"

namespace qmfi_host {

namespace {

// File systems are written out before they are frozen, which may take its time.
constexpr std::chrono::minutes untilFrozen(10);

}  // namespace

FreezeMoment presentMoment() {
  timespec sinceStart{};
  clock_gettime(CLOCK_BOOTTIME, &sinceStart);
  const auto time = std::chrono::seconds(sinceStart.tv_sec) + std::chrono::nanoseconds(sinceStart.tv_nsec);
  return {qmfi_system::readSmallFile("/proc/sys/kernel/random/boot_id").value_or(""),
          std::chrono::duration_cast<std::chrono::microseconds>(time)};
}

bool mayStillLast(const FreezeMoment& then, std::chrono::seconds kernelTimeout, const FreezeMoment& now) {
  if (then.bootId.empty() || then.bootId != now.bootId) return false;
  return kernelTimeout == std::chrono::seconds::zero() ||
         now.sinceStart < then.sinceStart + untilFrozen + kernelTimeout;
}

}  // namespace qmfi_host
