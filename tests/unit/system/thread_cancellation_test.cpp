// Threads that are cancelled during a piece of work.
#include "system/thread_cancellation.h"

#include <gtest/gtest.h>

// AddressSanitizer does not see a cancelled thread's frames unwound. Where it keeps their variables elsewhere, the
// guards that it has put around these do not stay on the stack.
extern "C" const char* __asan_default_options() {
  return "detect_stack_use_after_return=1";
}

namespace qmfi_system {
namespace {

int reached = 0;

void* cancelItself(void* /*unused*/) {
  {
    const CancellationDisabled whole;
    const CancellationDisabled nested;
    pthread_cancel(pthread_self());
    pthread_testcancel();
    reached = 1;
  }
  pthread_testcancel();
  reached = 2;
  return nullptr;
}

TEST(CancellationDisabled, LetsAThreadFinishTheWorkAndNoMore) {
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, cancelItself, nullptr), 0);
  void* result = nullptr;
  pthread_join(thread, &result);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_EQ(reached, 1);
}

TEST(CancellationDisabled, LeavesDisabledWhatWasDisabledBefore) {
  int before = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
  { const CancellationDisabled whole; }
  int after = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(before, &after);
  EXPECT_EQ(after, PTHREAD_CANCEL_DISABLE);
}

}  // namespace
}  // namespace qmfi_system
