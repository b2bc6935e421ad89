// Mutexes that fail on demand.
#include "support/mutex_faults.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

namespace {

struct Plan {
  MutexCall call = MutexCall::lock;
  std::uint64_t number = 0;
  int error = 0;
  std::uint64_t locks = 0;
  std::uint64_t unlocks = 0;
  bool happened = false;
};

thread_local constinit Plan plan;

LockFilter lockFilter = nullptr;
bool faultsAreShown = false;

}  // namespace

void countLocks(LockFilter filter) {
  lockFilter = filter;
}

bool isOfLibrary(const void* address, const char* pathPart) {
  Dl_info info{};
  return dladdr(address, &info) != 0 && info.dli_fname != nullptr &&
         std::string_view(info.dli_fname).find(pathPart) != std::string_view::npos;
}

void planMutexFault(std::uint64_t number) {
  plan = {.number = number, .error = EINVAL};
}

MutexFailure::MutexFailure(MutexCall call, int number, int error) {
  plan = {.call = call, .number = static_cast<std::uint64_t>(number), .error = error};
}

void forgetMutexFault() {
  plan.number = 0;
}

void showMutexFaults() {
  faultsAreShown = true;
}

std::uint64_t plannedLocks() {
  return plan.locks;
}

bool mutexFaultHappened() {
  return plan.happened;
}

#ifdef SUPPORT_SANITIZER_thread

bool locksAreTakenOver() {
  return false;
}

#else

bool locksAreTakenOver() {
  return true;
}

namespace {

using MutexFunction = int(pthread_mutex_t*);

MutexFunction* systemFunction(const char* name) {
  return reinterpret_cast<MutexFunction*>(dlsym(RTLD_NEXT, name));
}

void showStack() {
  std::array<void*, 40> frames;
  const int count = backtrace(frames.data(), frames.size());
  backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
}

// The error of the call that is being made, 0 for success.
int errorOf(MutexCall call) {
  const std::uint64_t count = call == MutexCall::lock ? ++plan.locks : ++plan.unlocks;
  if (call != plan.call || count != plan.number) return 0;
  plan.happened = true;
  if (faultsAreShown) showStack();
  return plan.error;
}

int lockFor(const void* caller, pthread_mutex_t* mutex) {
  static MutexFunction* const lock = systemFunction("pthread_mutex_lock");
  const int error = lockFilter == nullptr || lockFilter(caller) ? errorOf(MutexCall::lock) : 0;
  return error != 0 ? error : lock(mutex);
}

}  // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  return lockFor(__builtin_return_address(0), mutex);
}

// ACE_OS::mutex_lock, through which ACE's mutexes are locked: whoever calls it is the one who locks. NOLINTNEXTLINE
int lockOfAce(pthread_mutex_t* mutex) asm("_ZN6ACE_OS10mutex_lockEP15pthread_mutex_t");

int lockOfAce(pthread_mutex_t* mutex) {
  const int error = lockFor(__builtin_return_address(0), mutex);
  errno = error != 0 ? error : errno;
  return error != 0 ? -1 : 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static MutexFunction* const unlock = systemFunction("pthread_mutex_unlock");
  const int error = errorOf(MutexCall::unlock);
  const int result = unlock(mutex);
  return error != 0 ? error : result;
}
}

#endif
