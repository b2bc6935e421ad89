// Unmounts of a busy device tried again, with a command pipe and pauses that the test answers.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "unmount_machinery.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* plainly = "/bin/umount  /mnt/a";

class UnmountRetry : public UnmountMachinery {
 protected:
  // What a retry throws.
  std::optional<EFiExecPipe> thrownByRetry(int retries, int sleepSeconds) {
    try {
      m_plugin.umountRetry(plainly, retries, sleepSeconds);
    } catch (const EFiExecPipe& error) {
      return error;
    }
    return std::nullopt;
  }
};

TEST_F(UnmountRetry, WithoutAttemptsThrowsAtOnceWithoutRunningTheCommand) {
  for (const int retries : {0, -1}) {
    const auto error = thrownByRetry(retries, 2);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), KFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(error->getText(), "");
  }
  EXPECT_THAT(m_commands.events(), IsEmpty());
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(UnmountRetry, SleepsBeforeEveryAttemptAndTwiceAsLongEachTime) {
  m_commands.answerNext({11, 1, {"busy"}, {}});
  m_commands.answerNext({11, 1, {"busy"}, {}});
  m_commands.answerNext({11, 1, {"busy"}, {}});
  EXPECT_EQ(m_plugin.umountRetry(plainly, 3, 5), 32);
  EXPECT_THAT(m_commands.events(), ElementsAre("sleep 5", plainly, "sleep 10", plainly, "sleep 20", plainly));
}

TEST_F(UnmountRetry, StartsEveryAttemptWithEmptyOutputAndTheUsualTime) {
  m_commands.answerNext({11, 1, {"busy", "and more"}, {}});
  m_commands.answerNext({11, 1, {"something else"}, {}});
  const auto error = thrownByRetry(2, 0);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getText(), "something else");
  for (const RecordedCommand& command : m_commands.commands()) {
    EXPECT_EQ(command.timeoutSeconds, 600);
    EXPECT_EQ(command.reserved, "");
    EXPECT_EQ(command.linesBefore, 0U);
  }
}

TEST_F(UnmountRetry, RunsAllAttemptsInOnePipe) {
  m_commands.answerNext({11, 1, {"busy 1"}, {}});
  m_commands.answerNext({11, 1, {"busy 2"}, {}});
  m_commands.answerNext({11, 1, {"busy 3"}, {}});
  EXPECT_EQ(m_plugin.umountRetry(plainly, 3, 0), 32);
  ASSERT_EQ(m_commands.commands().size(), 3U);
  EXPECT_EQ(m_commands.commands()[0].textBefore, "");
  EXPECT_EQ(m_commands.commands()[1].textBefore, "busy 1");
  EXPECT_EQ(m_commands.commands()[2].textBefore, "busy 2");
}

TEST_F(UnmountRetry, ThatRunsOutOfTimeIsTriedAgainAndThrowsTheLastError) {
  m_commands.answerNext({5, 0, {}, {}});
  m_commands.answerNext({5, 0, {"late"}, {}});
  const auto error = thrownByRetry(2, 1);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getCode(), KFI_EXEC_PIPE_READ_TIMEOUT);
  EXPECT_THAT(trace(), ElementsAre("L3 Retrying umount... slept time '1' sec and retry attempt '1'.",
                                   "L2 Exec Pipe failed with error code [5]",
                                   "L2 Command [/bin/umount  /mnt/a] failed with error code [0] and output []",
                                   "L3 Retrying umount... slept time '2' sec and retry attempt '2'.",
                                   "L2 Exec Pipe failed with error code [5]",
                                   "L2 Command [/bin/umount  /mnt/a] failed with error code [0] and output [late]"));
}

TEST_F(UnmountRetry, SleepsOnWhenASignalEndsASleepEarly) {
  m_commands.interruptNextSleep(3);
  EXPECT_EQ(m_plugin.umountRetry(plainly, 1, 5), 0);
  EXPECT_THAT(m_commands.events(), ElementsAre("sleep 5", "sleep 3", plainly));
  EXPECT_THAT(trace(), ElementsAre("L3 Retrying umount... slept time '5' sec and retry attempt '1'.",
                                   "L3 umount is successful."));
}

TEST_F(UnmountRetry, WaitsNoLongerThanTheLongestPauseThereIs) {
  constexpr int retries = 40;
  constexpr std::int64_t longest = std::numeric_limits<int>::max();
  std::vector<std::string> expected;
  std::int64_t pause = 2;
  for (int i = 0; i < retries; ++i) {
    m_commands.answerNext({11, 1, {"busy"}, {}});
    expected.push_back("sleep " + std::to_string(pause));
    expected.push_back(plainly);
    pause = std::min(2 * pause, longest);
  }
  EXPECT_EQ(m_plugin.umountRetry(plainly, retries, 2), 32);
  EXPECT_THAT(m_commands.events(), ElementsAreArray(expected));
}

}  // namespace
