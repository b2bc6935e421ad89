// Makes mutexes fail, which in earnest happens to damaged ones only.
#ifndef TESTS_UNIT_KIT_SUPPORT_MUTEX_FAILURE_H
#define TESTS_UNIT_KIT_SUPPORT_MUTEX_FAILURE_H

// While it lives, one lock or unlock of this thread fails. Linked into a program, its source replaces
// pthread_mutex_lock and pthread_mutex_unlock there.
class MutexFailure {
 public:
  enum class Call { lock, unlock };

  // The call with that number, counted from 1 and from now, answers the error. An unlock takes effect nevertheless.
  MutexFailure(Call call, int number, int error);
  MutexFailure(const MutexFailure&) = delete;
  MutexFailure& operator=(const MutexFailure&) = delete;
  ~MutexFailure();
};

// From now on only the locks that libraries with this text in their path ask for themselves fail and count; all do by
// default. The text is not copied.
void countLocksOf(const char* libraries);
// How many locks this thread has asked for so far.
long mutexLocks();

#endif
