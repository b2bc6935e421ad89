// ppoll with what is left of the time.
#include "system/poll_until.h"

#include <algorithm>
#include <cerrno>

namespace qmfi_system {

bool pollUntil(std::span<pollfd> set, std::chrono::steady_clock::time_point deadline) {
  using namespace std::chrono_literals;
  for (;;) {
    const auto now = std::chrono::steady_clock::now();
    const auto left = std::max(std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - now), 0ns).count();
    const timespec timeout{left / 1'000'000'000, left % 1'000'000'000};
    const int ready = ppoll(set.data(), set.size(), &timeout, nullptr);
    if (ready > 0) return true;
    if (ready == 0 && left == 0) return false;
    if (ready < 0 && errno != EINTR) return false;
  }
}

}  // namespace qmfi_system
