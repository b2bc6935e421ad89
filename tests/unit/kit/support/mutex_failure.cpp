// The replaced mutex calls.
#include "mutex_failure.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstring>

namespace {

struct Plan {
  int remaining = 0;  // 0: no call fails
  int error = 0;

  // The error of the call that is being made, 0 for success.
  int next() {
    if (remaining == 0 || --remaining != 0) {
      return 0;
    }
    return error;
  }
};

thread_local Plan lockPlan;
thread_local Plan unlockPlan;
thread_local long locks = 0;

// A part of the names of the libraries whose locks count.
const char* countedLibraries = "";

using MutexCall = int (*)(pthread_mutex_t*);

MutexCall systemCall(const char* name) {
  return reinterpret_cast<MutexCall>(::dlsym(RTLD_NEXT, name));
}

bool counts(const void* caller) {
  if (*countedLibraries == '\0') {
    return true;
  }
  Dl_info info{};
  return ::dladdr(caller, &info) != 0 && info.dli_fname != nullptr &&
         std::strstr(info.dli_fname, countedLibraries) != nullptr;
}

int lockFor(const void* caller, pthread_mutex_t* mutex) {
  static const MutexCall lock = systemCall("pthread_mutex_lock");
  if (!counts(caller)) {
    return lock(mutex);
  }
  ++locks;
  const int error = lockPlan.next();
  return error != 0 ? error : lock(mutex);
}

}  // namespace

MutexFailure::MutexFailure(Call call, int number, int error) {
  (call == Call::lock ? lockPlan : unlockPlan) = {number, error};
}

MutexFailure::~MutexFailure() {
  lockPlan = {};
  unlockPlan = {};
}

void countLocksOf(const char* libraries) {
  countedLibraries = libraries;
}

long mutexLocks() {
  return locks;
}

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
  static const MutexCall unlock = systemCall("pthread_mutex_unlock");
  const int error = unlockPlan.next();
  const int result = unlock(mutex);
  return error != 0 ? error : result;
}
}
