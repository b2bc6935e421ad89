// Work that a cancelled thread finishes before it ends.
#ifndef CANCELLATION_HELD_OFF_H
#define CANCELLATION_HELD_OFF_H

#include <pthread.h>

namespace qmfi_runtime {

// While it lives, its thread is not cancelled. A host may cancel a thread inside a call, and the end of one that is
// within a function which lets nothing pass would be the end of the process.
class CancellationHeldOff {
 public:
  CancellationHeldOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
  CancellationHeldOff(const CancellationHeldOff&) = delete;
  CancellationHeldOff& operator=(const CancellationHeldOff&) = delete;
  ~CancellationHeldOff() {
    int ignored = 0;
    pthread_setcancelstate(m_before, &ignored);
  }

 private:
  int m_before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace qmfi_runtime

#endif
