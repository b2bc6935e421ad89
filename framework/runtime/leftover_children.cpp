// Keeping and reaping of children.
#include "leftover_children.h"

#include <mutex>

#include "lock_if_possible.h"
#include "system/thread_cancellation.h"

namespace qmfi_runtime {

namespace {

struct Leftovers {
  std::mutex mutex;
  std::list<KeptProgram> children;
};

Leftovers& leftovers() {
  static Leftovers instance;
  return instance;
}

}  // namespace

void reapLater(std::list<KeptProgram>& children) noexcept {
  Leftovers& left = leftovers();
  const auto guard = lockIfPossible(left.mutex);
  left.children.splice(left.children.end(), children);
}

void reapLeftovers() noexcept {
  const qmfi_system::CancellationDisabled whole;
  Leftovers& left = leftovers();
  const auto guard = lockIfPossible(left.mutex);
  left.children.remove_if([](KeptProgram& child) {
    int status = 0;
    return child.reap(status) != qmfi_system::ChildEnd::running;
  });
}

}  // namespace qmfi_runtime
