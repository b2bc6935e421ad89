// The driver stand-in: freezing and thawing, its errors and its time-outs.
// Volumes: "a" and "b" mounted on /mnt/a and /mnt/b.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "support/freeze_requests.h"
#include "support/mount_lines.h"
#include "support/program_run.h"
#include "support/writer.h"

namespace testbed_test {
namespace {

using testing::IsEmpty;
using Clock = std::chrono::steady_clock;

constexpr int longTime = 100;  // seconds: longer than any test

class DriverTest : public testing::Test {
 protected:
  const OpenDirectory m_a{"/mnt/a"};
  const OpenDirectory m_b{"/mnt/b"};
  const Writer m_writerA{"/mnt/a/file"};
  const Writer m_writerB{"/mnt/b/file"};
  const ThawAtEnd m_safety{{m_a.get(), m_b.get()}};
};

TEST_F(DriverTest, AFreezeStopsWritersAndAThawLetsThemGoOn) {
  ASSERT_EQ(freeze(m_a.get(), longTime), 0);
  EXPECT_TRUE(m_writerA.waitUntilBlocked());
  EXPECT_TRUE(m_writerB.waitForProgress());
  EXPECT_EQ(thaw(m_a.get()), 0);
  EXPECT_TRUE(m_writerA.waitForProgress());
}

TEST_F(DriverTest, AFreezeOfAllStopsEveryWriter) {
  ASSERT_EQ(freezeAll(m_a.get(), {m_a.get(), m_b.get()}, longTime), 0);
  EXPECT_TRUE(m_writerA.waitUntilBlocked());
  EXPECT_TRUE(m_writerB.waitUntilBlocked());
  EXPECT_EQ(thaw(m_a.get()), 0);
  EXPECT_TRUE(m_writerA.waitForProgress());
  EXPECT_TRUE(m_writerB.waitUntilBlocked());
  EXPECT_EQ(thaw(m_b.get()), 0);
  EXPECT_TRUE(m_writerB.waitForProgress());
}

TEST_F(DriverTest, ASecondFreezeIsBusy) {
  ASSERT_EQ(freeze(m_a.get(), longTime), 0);
  EXPECT_EQ(freeze(m_a.get(), longTime), EBUSY);
  EXPECT_EQ(thaw(m_a.get()), 0);
}

TEST_F(DriverTest, AFreezeOfAllIsAllOrNothing) {
  ASSERT_EQ(freeze(m_b.get(), longTime), 0);
  EXPECT_EQ(freezeAll(m_a.get(), {m_a.get(), m_b.get()}, longTime), EBUSY);
  EXPECT_TRUE(m_writerA.waitForProgress());
  EXPECT_EQ(thaw(m_a.get()), EINVAL);
  EXPECT_TRUE(m_writerB.waitUntilBlocked()) << "the one that was frozen before stays so";
  EXPECT_EQ(thaw(m_b.get()), 0);
}

TEST_F(DriverTest, OneFileSystemTwiceInAListIsBusy) {
  EXPECT_EQ(freezeAll(m_a.get(), {m_a.get(), m_b.get(), m_a.get()}, longTime), EBUSY);
  EXPECT_TRUE(m_writerA.waitForProgress());
  EXPECT_TRUE(m_writerB.waitForProgress());
}

TEST_F(DriverTest, AThawOfWhatIsNotFrozenIsInvalid) {
  EXPECT_EQ(thaw(m_a.get()), EINVAL);
}

TEST_F(DriverTest, ATimeoutBelowOneSecondIsInvalid) {
  for (const int timeout : {0, -1, -2147483647}) {
    EXPECT_EQ(freeze(m_a.get(), timeout), EINVAL) << timeout;
    EXPECT_EQ(freezeAll(m_a.get(), {m_a.get(), m_b.get()}, timeout), EINVAL) << timeout;
  }
}

TEST_F(DriverTest, AFreezeEndsByItselfAndTheThawLearnsOfIt) {
  const auto start = Clock::now();
  ASSERT_EQ(freezeAll(m_a.get(), {m_a.get(), m_b.get()}, 1), 0);
  EXPECT_TRUE(m_writerA.waitForProgress());
  EXPECT_TRUE(m_writerB.waitForProgress());
  EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(thaw(m_a.get()), ETIMEDOUT);
  EXPECT_EQ(thaw(m_b.get()), ETIMEDOUT);
  EXPECT_EQ(thaw(m_a.get()), EINVAL) << "it is said once";
}

TEST_F(DriverTest, AFreezeAfterATimeoutIsANewOne) {
  ASSERT_EQ(freeze(m_a.get(), 1), 0);
  EXPECT_TRUE(m_writerA.waitForProgress());
  ASSERT_EQ(freeze(m_a.get(), longTime), 0);
  EXPECT_EQ(thaw(m_a.get()), 0);
}

TEST_F(DriverTest, WrongDescriptorsAndAddressesAreRefused) {
  const OpenDirectory root("/");
  const OpenDirectory pool("/qmfs-pool");
  EXPECT_EQ(freeze(root.get(), longTime), ENOTTY);
  EXPECT_EQ(freeze(pool.get(), longTime), ENOTTY);
  EXPECT_EQ(thaw(root.get()), ENOTTY);
  EXPECT_EQ(freezeAll(m_a.get(), {m_a.get(), root.get()}, longTime), ENOTTY);
  EXPECT_EQ(freezeAll(m_a.get(), {m_a.get(), 9999}, longTime), EBADF);
  EXPECT_EQ(freezeAll(m_a.get(), {m_a.get(), -1}, longTime), EBADF);
  EXPECT_EQ(freeze(9999, longTime), EBADF);
  EXPECT_EQ(freezeAll(m_a.get(), {}, longTime), EINVAL);
  EXPECT_EQ(freezeAll(m_a.get(), std::vector<std::int32_t>(65537, m_a.get()), longTime), EINVAL);
  EXPECT_EQ(ioctl(m_a.get(), 0x514D4603UL, nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
  struct {
    std::int32_t count = 2;
    std::int32_t timeout = longTime;
    std::uint64_t descriptors = 8;
  } pointsNowhere;
  EXPECT_EQ(ioctl(m_a.get(), 0x514D4603UL, &pointsNowhere), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_TRUE(m_writerA.waitForProgress());
}

TEST_F(DriverTest, OtherRequestsReachTheKernel) {
  int bytes = -1;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  EXPECT_EQ(ioctl(ends[0], FIONREAD, &bytes), 0);
  EXPECT_EQ(bytes, 0);
  EXPECT_EQ(ioctl(m_a.get(), 0x514D4604UL, 0), -1);
  EXPECT_EQ(errno, ENOTTY);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(DriverTest, AnyThreadMayAsk) {
  int frozen = -1;
  std::thread([&] { frozen = freeze(m_a.get(), longTime); }).join();
  EXPECT_EQ(frozen, 0);
  EXPECT_EQ(thaw(m_a.get()), 0);
}

TEST_F(DriverTest, TheDeathOfTheOneWhoFrozeThawsNothing) {
  const pid_t child = fork();
  if (child == 0) _exit(freeze(m_a.get(), longTime));
  int status;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  EXPECT_TRUE(m_writerA.waitUntilBlocked());
  EXPECT_EQ(thaw(m_a.get()), 0);
}

TEST_F(DriverTest, AFrozenFileSystemIsNotUnmountedAndAThawedOneIs) {
  const std::string mountPoint = "/mnt/place";
  ASSERT_EQ(mkdir(mountPoint.c_str(), 0755), 0);
  ASSERT_EQ(run({"/sbin/mkfs", "-t", "qmfs", "/dev/qm/rdsk/dg1/spare"}).status, 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/spare", mountPoint}).status, 0);
  {
    const OpenDirectory directory(mountPoint);
    ASSERT_EQ(freeze(directory.get(), longTime), 0);
  }
  EXPECT_EQ(run({"/bin/umount", mountPoint}).status, 32);
  {
    const OpenDirectory directory(mountPoint);
    ASSERT_EQ(thaw(directory.get()), 0);
  }
  EXPECT_EQ(run({"/bin/umount", mountPoint}).status, 0) << "the driver keeps nothing open";
  EXPECT_THAT(mountLines(mountPoint), IsEmpty());
  rmdir(mountPoint.c_str());
}

void ignoreSignal(int) {}

TEST_F(DriverTest, ASignalDoesNotRepeatARequest) {
  struct sigaction action {};
  struct sigaction previous {};
  action.sa_handler = ignoreSignal;
  action.sa_flags = SA_RESTART;
  ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
  for (int round = 0; round < 20; ++round) {
    const pthread_t self = pthread_self();
    bool done = false;
    std::thread disturber([&] {
      while (!__atomic_load_n(&done, __ATOMIC_ACQUIRE)) pthread_kill(self, SIGUSR1);
    });
    const int frozen = freeze(m_a.get(), longTime);
    const int thawed = thaw(m_a.get());
    __atomic_store_n(&done, true, __ATOMIC_RELEASE);
    disturber.join();
    EXPECT_EQ(frozen, 0) << round;
    EXPECT_EQ(thawed, 0) << round;
  }
  sigaction(SIGUSR1, &previous, nullptr);
}

TEST_F(DriverTest, ManyAtOnceDoNotDisturbEachOther) {
  constexpr int rounds = 50;
  std::vector<std::thread> threads;
  std::vector<int> unexpected(4);
  for (std::size_t i = 0; i < unexpected.size(); ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        const int descriptor = i % 2 == 0 ? m_a.get() : m_b.get();
        const int frozen = freeze(descriptor, longTime);
        if (frozen == 0 && thaw(descriptor) != 0) ++unexpected[i];
        if (frozen != 0 && frozen != EBUSY) ++unexpected[i];
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(unexpected, testing::Each(0));
  EXPECT_TRUE(m_writerA.waitForProgress());
  EXPECT_TRUE(m_writerB.waitForProgress());
}

}  // namespace
}  // namespace testbed_test
