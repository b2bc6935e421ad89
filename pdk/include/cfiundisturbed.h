// What a thread does without being disturbed.
#ifndef CFIUNDISTURBED_H
#define CFIUNDISTURBED_H

#include <pthread.h>
#include <signal.h>

namespace qmfi_pdk_4_4 {

// Keeps cancellation from its thread for as long as it lives.
class CFiNotCancelled {
 public:
  // Cancellation waits from here on.
  CFiNotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancellation); }
  CFiNotCancelled(const CFiNotCancelled&) = delete;
  CFiNotCancelled& operator=(const CFiNotCancelled&) = delete;
  ~CFiNotCancelled() { pthread_setcancelstate(m_cancellation, nullptr); }

 private:
  int m_cancellation = PTHREAD_CANCEL_ENABLE;
};

// Keeps signals from its thread as well. A handler of the host's that interrupted a thaw, or the thread's end between
// two, would leave file systems frozen until their time-out.
class CFiUndisturbed {
 public:
  // Signals and cancellation wait from here on.
  CFiUndisturbed() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_signals);
  }
  CFiUndisturbed(const CFiUndisturbed&) = delete;
  CFiUndisturbed& operator=(const CFiUndisturbed&) = delete;
  ~CFiUndisturbed() { pthread_sigmask(SIG_SETMASK, &m_signals, nullptr); }

 private:
  sigset_t m_signals;
  const CFiNotCancelled m_notCancelled;
};

}  // namespace qmfi_pdk_4_4

#endif
