// Work that a cancelled thread finishes before it ends.
#ifndef SYSTEM_THREAD_CANCELLATION_H
#define SYSTEM_THREAD_CANCELLATION_H

#include <pthread.h>

namespace qmfi_system {

// While it lives, its thread is not cancelled. A host may cancel a thread inside a call, and the end of one that is
// within a function which lets nothing pass would be the end of the process. To be destroyed by the thread that made
// it; several may be nested.
class CancellationDisabled {
 public:
  // Cancellation is disabled from here on.
  CancellationDisabled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
  CancellationDisabled(const CancellationDisabled&) = delete;
  CancellationDisabled& operator=(const CancellationDisabled&) = delete;
  // From here on it is as it was before.
  ~CancellationDisabled() {
    int ignored = 0;
    pthread_setcancelstate(m_before, &ignored);
  }

 private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace qmfi_system

#endif
