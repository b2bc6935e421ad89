// The locks of an entry point, and nothing else.
#ifndef ENTRY_POINT_LOCKS_H
#define ENTRY_POINT_LOCKS_H

#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

#include <cstddef>

namespace bench {

class EntryPointLocks {
 public:
  // Takes and gives back what a call must: the trace log's and twice the provider's singleton with the object's count,
  // each count again when the object is given back, and the lock of the delayed initialisation.
  void take();

 private:
  // Each lies apart as the mutexes of different objects do: how they share cache lines alone would decide over a fifth
  // of the time from two threads, and differ from run to run.
  static constexpr std::size_t cacheLine = 64;
  struct Singleton {
    alignas(cacheLine) ACE_Thread_Mutex instance;
    alignas(cacheLine) ACE_Thread_Mutex count;
  };

  static void get(Singleton& singleton);
  static void giveBack(Singleton& singleton);

  Singleton m_traceLog;
  Singleton m_provider;
  alignas(cacheLine) ACE_Recursive_Thread_Mutex m_delayedInit;
};

}  // namespace bench

#endif
