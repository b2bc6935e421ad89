// A second provider made with the kit, when mutexes fail: its entry points answer their status or 6.
#include <gtest/gtest.h>

#include <cerrno>

#include "forwardings.h"
#include "support/mutex_faults.h"
#include "tiny_fixture.h"

// What cannot give its count back is kept for ever, also beyond its library, so the program is not looked at for leaks.
extern "C" int __lsan_is_turned_off() {
  return 1;
}

namespace {

// The status of a call, of whose locks the one with that number fails; and whether it had so many.
struct Outcome {
  int status;
  bool failed;
};

template <typename Call>
Outcome withFailure(int number, const Call& call) {
  const MutexFailure failure(MutexCall::lock, number, EINVAL);
  const int status = call();
  return {status, mutexFaultHappened()};
}

class EntryPointMutexes : public TinyProvider, public testing::WithParamInterface<Forwarding> {};

TEST_P(EntryPointMutexes, ThatFailEndACallWithItsStatusOrSix) {
  const Forwarding& forwarding = GetParam();
  control().status = anyStatus;
  int sixes = 0;
  Outcome outcome{0, true};
  for (int number = 1; outcome.failed; ++number) {
    outcome = withFailure(number, [&] { return forwarding.call(*m_plugin); });
    const int usual = forwarding.answers ? anyStatus : 0;
    EXPECT_TRUE(outcome.status == usual || (outcome.failed && outcome.status == 6)) << number;
    sixes += outcome.status == 6 ? 1 : 0;
    EXPECT_EQ(forwarding.call(*m_plugin), usual) << number;
  }
  EXPECT_EQ(sixes > 0, forwarding.answers);
}

INSTANTIATE_TEST_SUITE_P(All, EntryPointMutexes, testing::ValuesIn(FORWARDINGS));

TEST_F(TinyProvider, StartAndStopOutliveEachMutexThatFails) {
  int sixes = 0;
  Outcome start{0, true};
  Outcome stop{0, true};
  for (int number = 1; start.failed || stop.failed; ++number) {
    start = withFailure(number, [this] { return init(); });
    EXPECT_TRUE(start.status == 0 || start.status == 6) << number;
    sixes += start.status == 6 ? 1 : 0;
    stop = withFailure(number, [this] {
      m_plugin->fi_pgn_fini();
      return 0;
    });
  }
  EXPECT_GT(sixes, 0);
}

}  // namespace
