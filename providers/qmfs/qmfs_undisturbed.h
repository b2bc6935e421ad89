// What a thread does without being disturbed.
#ifndef QMFS_UNDISTURBED_H
#define QMFS_UNDISTURBED_H

#include <pthread.h>
#include <signal.h>

// Keeps cancellation from its thread for as long as it lives.
class CQmFSNotCancelled {
 public:
  CQmFSNotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancellation); }
  CQmFSNotCancelled(const CQmFSNotCancelled&) = delete;
  CQmFSNotCancelled& operator=(const CQmFSNotCancelled&) = delete;
  ~CQmFSNotCancelled() { pthread_setcancelstate(m_cancellation, nullptr); }

 private:
  int m_cancellation = PTHREAD_CANCEL_ENABLE;
};

// Keeps signals from its thread as well. A handler of the host's that interrupted a thaw, or the thread's end between
// two, would leave file systems frozen until their time-out.
class CQmFSUndisturbed {
 public:
  CQmFSUndisturbed() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_signals);
  }
  CQmFSUndisturbed(const CQmFSUndisturbed&) = delete;
  CQmFSUndisturbed& operator=(const CQmFSUndisturbed&) = delete;
  ~CQmFSUndisturbed() { pthread_sigmask(SIG_SETMASK, &m_signals, nullptr); }

 private:
  sigset_t m_signals;
  const CQmFSNotCancelled m_notCancelled;
};

#endif
