// Signals that wait until the host has put everything in order.
#include "failure/deferred_signals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>

#include "failure/host_error.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

TEST(DeferredSignals, AreReportedWhenTheyHaveComeAndDeliveredAtTheEnd) {
  const struct {
    int signal;
    const char* text;
  } cases[] = {{SIGINT, "interrupted by SIGINT"},
               {SIGTERM, "interrupted by SIGTERM"},
               {SIGHUP, "interrupted by SIGHUP"},
               {SIGQUIT, "interrupted by SIGQUIT"}};
  static int delivered = 0;
  for (const auto& one : cases) {
    const auto before = std::signal(one.signal, [](int signal) { delivered = signal; });
    {
      const DeferredSignals signals;
      EXPECT_NO_THROW(signals.throwIfPending());
      EXPECT_EQ(signals.pending(), std::nullopt);
      std::raise(one.signal);
      EXPECT_EQ(delivered, 0);
      EXPECT_EQ("interrupted by " + signals.pending().value_or(""), one.text);
      EXPECT_THAT([&] { signals.throwIfPending(); }, ThrowsMessage<HostError>(one.text));
    }
    EXPECT_EQ(delivered, one.signal);
    delivered = 0;
    std::signal(one.signal, before);
  }
}

TEST(DeferredSignals, AreDeliveredWhileNothingIsToBeUndone) {
  static int delivered = 0;
  const auto before = std::signal(SIGINT, [](int signal) { delivered = signal; });
  {
    const DeferredSignals signals;
    signals.deliverDuring([] { std::raise(SIGINT); });
    EXPECT_EQ(delivered, SIGINT);
    delivered = 0;
    std::raise(SIGINT);
    EXPECT_EQ(delivered, 0);
  }
  std::signal(SIGINT, before);
}

TEST(DeferredSignals, AreDeliveredToWhatLastsASecondAndNotToWhatIsOverBefore) {
  static std::atomic<int> delivered = 0;
  const auto before = std::signal(SIGINT, [](int signal) {
    delivered = signal;
    delivered.notify_one();
  });
  {
    const DeferredSignals signals;
    signals.deliverDuringLong([] {
      kill(getpid(), SIGINT);
      delivered.wait(0);
    });
    EXPECT_EQ(delivered, SIGINT);
    delivered = 0;
    signals.deliverDuringLong([] { kill(getpid(), SIGINT); });
    EXPECT_EQ(delivered, 0);
    EXPECT_EQ(signals.pending(), "SIGINT");
  }
  EXPECT_EQ(delivered, SIGINT);
  std::signal(SIGINT, before);
}

}  // namespace
}  // namespace qmfi_host
