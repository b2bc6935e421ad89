// The replaced mutex calls.
#include "mutex_failure.h"

#include <dlfcn.h>
#include <pthread.h>

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

using MutexCall = int (*)(pthread_mutex_t*);

MutexCall systemCall(const char* name) {
  return reinterpret_cast<MutexCall>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

MutexFailure::MutexFailure(Call call, int number, int error) {
  (call == Call::lock ? lockPlan : unlockPlan) = {number, error};
}

MutexFailure::~MutexFailure() {
  lockPlan = {};
  unlockPlan = {};
}

long mutexLocks() {
  return locks;
}

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const MutexCall lock = systemCall("pthread_mutex_lock");
  ++locks;
  const int error = lockPlan.next();
  return error != 0 ? error : lock(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static const MutexCall unlock = systemCall("pthread_mutex_unlock");
  const int error = unlockPlan.next();
  const int result = unlock(mutex);
  return error != 0 ? error : result;
}
}
