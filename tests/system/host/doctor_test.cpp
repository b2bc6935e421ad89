// What "qmfi doctor" tells of a real machine. Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <filesystem>
#include <fstream>

#include "host_fixture.h"
#include "support/freeze_requests.h"
#include "support/writer.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

using testbed_test::OpenDirectory;

using DoctorTest = HostTest;

constexpr int longTimeout = 600;

TEST_F(DoctorTest, FindsNoProblemAndChangesNothing) {
  const std::string state = "/var/lib/qmfi-of-nobody";
  const auto outcome = qmfi({"--state-dir", state, "doctor"});
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_THAT(outcome.output, Not(HasSubstr("problem")));
  EXPECT_THAT(outcome.output, ContainsRegex("good     kernel +Linux "));
  EXPECT_THAT(outcome.output, HasSubstr("good     provider    qmfsfi 7.0.0.0 works; file systems: qmfs\n"));
  EXPECT_THAT(outcome.output, HasSubstr("good     splitter    reflink can be used\n"));
  EXPECT_THAT(outcome.output, HasSubstr("good     restore     rsync can copy files back\n"));
  EXPECT_FALSE(fs::exists(state));
}

TEST_F(DoctorTest, FindsASnapshotThatTheStateHasLost) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "lost"});
  const std::string state = "/var/lib/qmfi-of-nobody";
  const auto outcome = qmfi({"--state-dir", state, "doctor"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output,
              HasSubstr("belongs to the snapshot " + snapshot.id +
                        " (lost), which is not known\n                     -> qmfi recover --rescan\n"));
  EXPECT_THAT(outcome.output,
              HasSubstr("problem  mount       /run/qmfi/snapshots/lost/mnt/a is mounted, and belongs to no snapshot of "
                        "this state\n                     -> umount /run/qmfi/snapshots/lost/mnt/a\n"));
  const auto own = qmfi({"doctor"});
  EXPECT_EQ(own.status, 0) << own.output;
  EXPECT_THAT(own.output, HasSubstr("good     snapshot    1 known, and all as they should be\n"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "lost"}).status, 0);
}

TEST_F(DoctorTest, TellsWhatADamagedStateIsMendedBy) {
  const std::string state = "/var/lib/qmfi-damaged";
  fs::create_directory(state);
  fs::permissions(state, fs::perms::owner_all);
  std::ofstream(state + "/state.db") << "no database";
  const auto outcome = qmfi({"--state-dir", state, "doctor"});
  fs::remove_all(state);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, ContainsRegex("problem  state .*\n +-> qmfi recover --rescan\n"));
}

TEST_F(DoctorTest, NamesAProviderThatDoesNotWorkAndASettingThatNobodyReads) {
  const std::string directory = "/run/providers";
  fs::create_directory(directory);
  std::ofstream(directory + "/broken.provider") << "";
  std::ofstream(directory + "/libbroken.so") << "no library";
  const auto outcome = qmfi({"--provider-dir", directory, "doctor"}, {"QMFI_STATEDIR=/x"});
  fs::remove_all(directory);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, ContainsRegex("problem  provider    broken does not work: .*\n"));
  EXPECT_THAT(outcome.output, HasSubstr("notice   settings    nobody reads the variable QMFI_STATEDIR\n"));
}

TEST_F(DoctorTest, TellsTheSameToPrograms) {
  const auto outcome = qmfi({"doctor", "--json"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr(R"(  {
    "weight": "good",
    "subject": "splitter",
    "text": "reflink can be used",
    "mend": null
  },
)"));
}

// A writer that the freeze has halted cannot be killed: it is waited for after the thaw.
TEST_F(DoctorTest, NamesWhoeverAFrozenFileSystemHasHalted) {
  const OpenDirectory b("/mnt/b");
  testbed_test::Outcome outcome;
  {
    const testbed_test::Writer writer("/mnt/b/halted");
    const testbed_test::ThawAtEnd thaw({b.get()});
    ASSERT_EQ(testbed_test::freeze(b.get(), longTimeout), 0);
    ASSERT_TRUE(writer.waitUntilBlocked());
    outcome = qmfi({"doctor"});
  }
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, HasSubstr(") waits to change a file system, which is probably frozen\n"
                                        "                     -> qmfi thaw MOUNTPOINT\n"));
}

}  // namespace
}  // namespace host_test
