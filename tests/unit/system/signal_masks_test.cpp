// Signals that wait.
#include "system/signal_masks.h"

#include <gtest/gtest.h>

namespace qmfi_system {
namespace {

int delivered = 0;

bool isBlocked(int signal) {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, signal) == 1;
}

TEST(SignalMasks, NameSignals) {
  const sigset_t signals = signalSet({SIGINT, SIGTERM});
  EXPECT_EQ(sigismember(&signals, SIGINT), 1);
  EXPECT_EQ(sigismember(&signals, SIGTERM), 1);
  EXPECT_EQ(sigismember(&signals, SIGHUP), 0);
  const sigset_t none = signalSet({});
  EXPECT_EQ(sigisemptyset(&none), 1);
}

TEST(SignalMasks, NameEverySignal) {
  const sigset_t signals = allSignals();
  for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGCHLD, SIGTSTP, SIGRTMIN, SIGRTMAX}) {
    EXPECT_EQ(sigismember(&signals, signal), 1) << signal;
  }
}

TEST(BlockedSignals, AreDeliveredAtTheEnd) {
  const auto before = std::signal(SIGUSR1, [](int signal) { delivered = signal; });
  {
    const BlockedSignals blocked(signalSet({SIGUSR1}));
    std::raise(SIGUSR1);
    EXPECT_EQ(delivered, 0);
  }
  EXPECT_EQ(delivered, SIGUSR1);
  std::signal(SIGUSR1, before);
}

TEST(BlockedSignals, StayBlockedWhereTheyWereBefore) {
  const BlockedSignals outer(signalSet({SIGUSR1}));
  {
    const BlockedSignals inner(signalSet({SIGUSR1, SIGUSR2}));
    EXPECT_TRUE(isBlocked(SIGUSR2));
  }
  EXPECT_TRUE(isBlocked(SIGUSR1));
  EXPECT_FALSE(isBlocked(SIGUSR2));
}

}  // namespace
}  // namespace qmfi_system
