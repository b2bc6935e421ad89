// What qmfi calls while file systems are frozen: nothing but what freezes, proves, splits and thaws.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include "host_fixture.h"
#include "support/supervision/frozen_calls.h"
#include "support/supervision/tracer.h"

namespace host_test {
namespace {

using testing::ElementsAre;

using WindowTest = HostTest;

// Creates a snapshot under supervision, and deletes it.
faults::FrozenCalls callsWhileFrozen(const std::vector<std::string>& mountPoints,
                                     const std::vector<std::string>& options = {}) {
  constexpr std::chrono::seconds limit(60);
  std::vector<std::string> words = {"/usr/bin/qmfi", "snapshot", "create", "--freeze-timeout", "20",
                                    "--name",        "watched"};
  words.insert(words.end(), mountPoints.begin(), mountPoints.end());
  words.insert(words.end(), options.begin(), options.end());
  faults::FrozenCalls frozen(static_cast<int>(mountPoints.size()));
  faults::Tracer tracer;
  const faults::Ended ended = tracer.run(words, &frozen, limit);
  EXPECT_EQ(ended.status, 0) << ended.errors;
  EXPECT_TRUE(tracer.waitForAll(limit).empty());
  EXPECT_EQ(qmfi({"snapshot", "delete", "watched"}).status, 0);
  return frozen;
}

// A second freeze proves the first. rt_sigprocmask keeps signals from the thaws; the descriptors are closed as they are
// thawed.
TEST_F(WindowTest, OfOneFileSystemHasNothingButFreezeProofSplitAndThaw) {
  const auto frozen = callsWhileFrozen({"/mnt/a"});
  EXPECT_THAT(frozen.calls(), ElementsAre("ioctl QM_FREEZE_ALL", "ioctl QM_FREEZE", "ioctl FICLONERANGE",
                                          "rt_sigprocmask", "ioctl QM_THAW"));
  EXPECT_EQ(frozen.pagesRead(), 0U);
}

TEST_F(WindowTest, IsSilentWhereEachStepIsTold) {
  for (const char* option : {"--verbose", "--progress=json"}) {
    EXPECT_THAT(
        callsWhileFrozen({"/mnt/a"}, {option}).calls(),
        ElementsAre("ioctl QM_FREEZE_ALL", "ioctl QM_FREEZE", "ioctl FICLONERANGE", "rt_sigprocmask", "ioctl QM_THAW"));
  }
}

TEST_F(WindowTest, OfThreeFileSystemsHasNothingButFreezeProofsSplitsAndThaws) {
  const auto frozen = callsWhileFrozen({"/mnt/a", "/mnt/b", "/mnt/c"});
  EXPECT_THAT(frozen.calls(),
              ElementsAre("ioctl QM_FREEZE_ALL", "ioctl QM_FREEZE", "ioctl QM_FREEZE", "ioctl QM_FREEZE",
                          "ioctl FICLONERANGE", "ioctl FICLONERANGE", "ioctl FICLONERANGE", "rt_sigprocmask",
                          "ioctl QM_THAW", "close", "ioctl QM_THAW", "close", "ioctl QM_THAW"));
  EXPECT_EQ(frozen.pagesRead(), 0U);
}

}  // namespace
}  // namespace host_test
