// Work that a cancelled thread finishes before it ends.
#ifndef CANCELLATION_DISABLED_H
#define CANCELLATION_DISABLED_H

#include <pthread.h>

namespace qmfi_runtime {

// While it lives, its thread is not cancelled. A host may cancel a thread inside a call, and the end of one that is
// within a function which lets nothing pass would be the end of the process.
class CancellationDisabled {
 public:
  // Cancellation is disabled from here on.
  CancellationDisabled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
  CancellationDisabled(const CancellationDisabled&) = delete;
  CancellationDisabled& operator=(const CancellationDisabled&) = delete;
  ~CancellationDisabled() {
    int ignored = 0;
    pthread_setcancelstate(m_before, &ignored);
  }

 private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace qmfi_runtime

#endif
