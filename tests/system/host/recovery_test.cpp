// Which programs "qmfi recover" takes for those of a killed host, and waits for.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host_fixture.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using By = HeldProgram::By;

class RecoveryTest : public HostTest {
 protected:
  void SetUp() override {
    m_snapshot = create({"/mnt/a"});
    interrupt();
  }

  std::string alternate() const { return m_snapshot.nodes.at(0).alternate; }
  std::string snapshotDevice() const { return m_snapshot.nodes.at(0).snapshotDevice; }

  // Makes the directory of the alternate mount point when it is let go; the word is on its command line.
  std::vector<std::string> lateMaker(const std::string& word) const {
    return {"/bin/sh", "-c", "read line; mkdir -p " + alternate(), "sh", word};
  }

 private:
  // A deletion that finds something in the way leaves the snapshot as a killed host would.
  void interrupt() const {
    ASSERT_EQ(testbed_test::run({"/bin/umount", alternate()}).status, 0);
    std::ofstream(alternate() + "/file") << "in the way";
    ASSERT_EQ(qmfi({"snapshot", "delete", m_snapshot.id}).status, 1);
    fs::remove(alternate() + "/file");
    fs::remove(alternate());
    ASSERT_EQ(listedState(), "deleting");
  }

  Snapshot m_snapshot;
};

TEST_F(RecoveryTest, WaitsForAProgramThatWorksOnTheMountPoint) {
  HeldProgram late(lateMaker(alternate()), By::input);
  BackgroundQmfi recovery({"recover"});
  EXPECT_TRUE(recovery.waitUntilItPauses());
  EXPECT_EQ(late.letGo(), 0);
  EXPECT_EQ(recovery.wait(), 0);
  EXPECT_FALSE(fs::exists(alternate()));
}

TEST_F(RecoveryTest, LetsOthersWorkAndIsEndedByASignalWhileItWaits) {
  HeldProgram late(lateMaker(alternate()), By::input);
  {
    BackgroundQmfi recovery({"recover"});
    ASSERT_TRUE(recovery.waitUntilItPauses());
    EXPECT_EQ(testbed_test::run({"/usr/bin/flock", "--nonblock", "/var/lib/qmfi", "/bin/true"}).status, 0);
    recovery.send(SIGINT);
    EXPECT_EQ(recovery.wait(), 128 + SIGINT);
  }
  EXPECT_EQ(listedState(), "deleting");
  EXPECT_EQ(late.letGo(), 0);
  EXPECT_EQ(qmfi({"recover"}).status, 0);
}

TEST_F(RecoveryTest, WaitsForAProgramThatWorksOnTheDevice) {
  HeldProgram late(lateMaker(snapshotDevice()), By::input);
  BackgroundQmfi recovery({"recover"});
  EXPECT_TRUE(recovery.waitUntilItPauses());
  EXPECT_EQ(late.letGo(), 0);
  EXPECT_EQ(recovery.wait(), 0);
  EXPECT_FALSE(fs::exists(alternate()));
}

// A qmfi with its standard streams only is a child that has not become the program yet that the killed host wanted.
TEST_F(RecoveryTest, WaitsForAChildThatIsAboutToBecomeAnotherProgram) {
  HeldProgram child({"/usr/bin/qmfi", "--version"}, By::output);
  BackgroundQmfi recovery({"recover"});
  EXPECT_TRUE(recovery.waitUntilItPauses());
  EXPECT_EQ(child.letGo(), 0);
  EXPECT_EQ(recovery.wait(), 0);
}

TEST_F(RecoveryTest, WaitsSomeSecondsOnlyForAProgramThatHangs) {
  HeldProgram hanging({"/bin/cat", "-", alternate()}, By::input);
  EXPECT_EQ(qmfi({"recover"}).status, 0);
  EXPECT_EQ(hanging.letGo(), 1);
}

TEST_F(RecoveryTest, WaitsForNoStranger) {
  HeldProgram stranger(
      {"/bin/sh", "-c", "read line; exit 3", "sh", alternate() + "/file", "/mnt/a", snapshotDevice() + "x"}, By::input);
  BackgroundQmfi recovery({"recover"});
  EXPECT_FALSE(recovery.waitUntilItPauses());
  EXPECT_EQ(recovery.wait(), 0);
  EXPECT_EQ(stranger.letGo(), 3);
}

// It may be waiting for the lock that the recovery has.
TEST_F(RecoveryTest, WaitsForNoOtherCommandOfTheHost) {
  const qmfi_system::Descriptor lock(open("/dev/null", O_RDONLY | O_CLOEXEC));
  HeldProgram other({"/usr/bin/qmfi", "--version"}, By::output, lock.get());
  BackgroundQmfi recovery({"recover"});
  EXPECT_FALSE(recovery.waitUntilItPauses());
  EXPECT_EQ(recovery.wait(), 0);
  EXPECT_EQ(other.letGo(), 0);
}

}  // namespace
}  // namespace host_test
