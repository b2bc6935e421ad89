// Signals that wait until the host has put everything in order.
#include "system/deferred_signals.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
      std::raise(one.signal);
      EXPECT_EQ(delivered, 0);
      EXPECT_THAT([&] { signals.throwIfPending(); }, ThrowsMessage<HostError>(one.text));
    }
    EXPECT_EQ(delivered, one.signal);
    delivered = 0;
    std::signal(one.signal, before);
  }
}

TEST(DeferredSignals, AreDeliveredWhileNothingIsToBePutInOrder) {
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

}  // namespace
}  // namespace qmfi_host
