// The locks of an entry point, and nothing else.
#pragma once

#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

namespace bench {

class EntryPointLocks {
 public:
  // Takes and gives back what a call must: the trace log's and twice the provider's singleton with the object's count,
  // each count again when the object is given back, and the lock of the delayed initialisation.
  void take();

 private:
  struct Singleton {
    ACE_Thread_Mutex instance;
    ACE_Thread_Mutex count;
  };

  static void get(Singleton& singleton);
  static void giveBack(Singleton& singleton);

  Singleton m_traceLog;
  Singleton m_provider;
  ACE_Recursive_Thread_Mutex m_delayedInit;
};

}  // namespace bench
