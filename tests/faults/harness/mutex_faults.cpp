// Mutexes that fail on demand.
#include "mutex_faults.h"

#include <ace/OS_NS_Thread.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "allocation_faults.h"

namespace faults {

namespace {

struct Plan {
  bool active = false;
  bool happened = false;
  std::uint64_t number = 0;
  std::uint64_t count = 0;
};

thread_local constinit Plan plan;

bool faultsAreShown = false;

}  // namespace

void planMutexFault(std::uint64_t number) {
  plan = {.active = true, .number = number};
}

void forgetMutexFault() {
  plan.active = false;
}

void showMutexFaults() {
  faultsAreShown = true;
}

std::uint64_t plannedLocks() {
  return plan.count;
}

bool mutexFaultHappened() {
  return plan.happened;
}

#ifdef FAULTS_SANITIZER_thread

bool locksAreTakenOver() {
  return false;
}

}  // namespace faults

#else

bool locksAreTakenOver() {
  return true;
}

namespace {

void showStack() {
  const SoundRegion region;
  std::array<void*, 40> frames;
  const int count = backtrace(frames.data(), frames.size());
  backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
}

// Whether the caller is of the plug-in or its runtime library. ICU and ACE's configuration heap cannot bear that
// mutexes of their own fail, nobody who calls them can help it, and this program's mutexes are not under test.
bool answersForItsMutexes(const void* caller) {
  Dl_info info{};
  if (dladdr(caller, &info) == 0 || info.dli_fname == nullptr) return false;
  return std::string_view(info.dli_fname).find("/libqmf") != std::string_view::npos;
}

// Whether the lock that is asked for now is to fail.
bool isToFail(const void* caller) {
  if (!plan.active || !inFaultyRegion() || !answersForItsMutexes(caller)) return false;
  ++plan.count;
  const bool hit = plan.count == plan.number;
  plan.happened = plan.happened || hit;
  if (hit && faultsAreShown) showStack();
  return hit;
}

using LockFunction = int(pthread_mutex_t*);

}  // namespace

}  // namespace faults

// The way to ACE's mutexes.
int ACE_OS::mutex_lock(ACE_mutex_t* mutex) {
  using LockOfAce = int(ACE_mutex_t*);
  static auto* const real = reinterpret_cast<LockOfAce*>(dlsym(RTLD_NEXT, "_ZN6ACE_OS10mutex_lockEP15pthread_mutex_t"));
  if (faults::isToFail(__builtin_return_address(0))) {
    errno = EINVAL;
    return -1;
  }
  return real(mutex);
}

// The way to all others.
extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static auto* const real = reinterpret_cast<faults::LockFunction*>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  if (faults::isToFail(__builtin_return_address(0))) return EINVAL;
  return real(mutex);
}

#endif
