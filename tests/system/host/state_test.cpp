// What becomes of the state when it is asked for, lost, damaged, or cannot be written.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <sys/mount.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <sstream>

#include "host_fixture.h"
#include "state/database.h"
#include "state/state_store.h"
#include "support/mount_lines.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* stateDirectory = "/var/lib/qmfi";

void changeDatabase(const std::string& statement) {
  qmfi_host::Database(fs::path(stateDirectory) / "state.db").execute(statement.c_str());
}

// The state directory on a read-only file system.
class ReadOnlyState {
 public:
  ReadOnlyState() {
    EXPECT_EQ(mount(stateDirectory, stateDirectory, nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(mount(nullptr, stateDirectory, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
  }
  ReadOnlyState(const ReadOnlyState&) = delete;
  ReadOnlyState& operator=(const ReadOnlyState&) = delete;
  ~ReadOnlyState() { EXPECT_EQ(umount2(stateDirectory, 0), 0); }
};

// The state directory on a disk of its own, which can be filled.
class SmallState {
 public:
  SmallState() { EXPECT_EQ(mount("state", stateDirectory, "tmpfs", 0, "size=256k,mode=0700,nr_inodes=40"), 0); }
  SmallState(const SmallState&) = delete;
  SmallState& operator=(const SmallState&) = delete;
  ~SmallState() { EXPECT_EQ(umount2(stateDirectory, 0), 0); }

  void fill() const {
    std::ofstream file(fs::path(stateDirectory) / "filling");
    while (file << std::string(pageSize, 'x') << std::flush) {
    }
    EXPECT_EQ(fs::space(stateDirectory).available, 0U);
  }

  // There may be bytes, but no file can be made any more.
  void fillWithFiles() const {
    for (int number = 0; std::ofstream(fs::path(stateDirectory) / std::to_string(number)); ++number) continue;
    EXPECT_FALSE(std::ofstream(fs::path(stateDirectory) / "one more"));
  }

 private:
  static constexpr std::size_t pageSize = 4096;
};

using StateTest = HostTest;

std::string sortedLines(const std::string& text) {
  std::istringstream stream(text);
  std::set<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line + "\n");
  return std::accumulate(lines.begin(), lines.end(), std::string());
}

TEST_F(StateTest, IsNotMadeByAQuestion) {
  const std::string none = "/var/lib/qmfi-of-nobody";
  EXPECT_EQ(qmfi({"--state-dir", none, "snapshot", "list"}).output, emptyList);
  EXPECT_EQ(qmfi({"--state-dir", none, "snapshot", "list", "--json"}).output, "[]\n");
  EXPECT_EQ(qmfi({"--state-dir", none, "snapshot", "show", "nightly"}).output,
            "qmfi: there is no snapshot \"nightly\"\n");
  EXPECT_FALSE(fs::exists(none));
}

TEST_F(StateTest, ThatIsReadOnlyCanBeAsked) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  {
    const ReadOnlyState readOnly;
    EXPECT_THAT(qmfi({"snapshot", "list"}).output, HasSubstr(snapshot.id + "  nightly"));
    EXPECT_THAT(qmfi({"snapshot", "show", "nightly"}).output, StartsWith("snapshot   " + snapshot.id + "\n"));
    const auto refused = qmfi({"snapshot", "delete", "nightly"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, "qmfi: the file /var/lib/qmfi/lock cannot be written: Read-only file system\n");
  }
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(StateTest, OnAFullDiskLetsSnapshotsBeDeleted) {
  const SmallState small;
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"}, {"--name", "nightly"});
  small.fill();
  const auto deleted = qmfi({"snapshot", "delete", "nightly"});
  EXPECT_EQ(deleted.status, 0);
  EXPECT_EQ(deleted.output, "snapshot " + snapshot.id + " deleted\n");
  EXPECT_EQ(qmfi({"snapshot", "list"}).output, emptyList);
}

// Neither the journal of the database nor the word of who has the state can be written.
TEST_F(StateTest, WithoutAFileLeftLetsSnapshotsBeTakenAway) {
  const SmallState small;
  const Snapshot first = create({"/mnt/a"}, {"--name", "first"});
  const Snapshot second = create({"/mnt/b"}, {"--name", "second"});
  changeDatabase("UPDATE snapshot SET phase = 'unmounting' WHERE id = '" + second.id + "'");
  fs::remove(fs::path(stateDirectory) / "lock");
  small.fillWithFiles();
  EXPECT_EQ(qmfi({"snapshot", "unmount", "first"}).output, "snapshot " + first.id + " unmounted\n");
  EXPECT_EQ(qmfi({"recover"}).output, "snapshot " + second.id + " unmounted\n");
  EXPECT_EQ(testbed_test::snapshotsIn(qmfi({"snapshot", "list", "--json"}).output).at(1).phase, "unmounted");
  for (const Snapshot& snapshot : {first, second}) {
    EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).output, "snapshot " + snapshot.id + " deleted\n");
  }
  EXPECT_EQ(qmfi({"snapshot", "list"}).output, emptyList);
}

TEST_F(StateTest, OnAFullDiskLetsAccessBeEnabled) {
  const SmallState small;
  ASSERT_EQ(qmfi({"access", "disable", "/mnt/a"}).status, 0);
  small.fill();
  EXPECT_EQ(qmfi({"access", "enable", "/mnt/a"}).status, 0);
  EXPECT_EQ(qmfi({"access", "list"}).output, "");
}

// The pages that the killed process has written over are in the journal beside the database.
TEST_F(StateTest, ThatIsReadOnlyCanBeAskedAlsoAfterAKilledCommit) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  const fs::path database = fs::path(stateDirectory) / "state.db";
  {
    qmfi_host::Database writer(database);
    writer.execute("PRAGMA cache_size = 1; BEGIN; DELETE FROM snapshot; CREATE TABLE big (value)");
    for (int i = 0; i < 100; ++i) writer.execute("INSERT INTO big VALUES (randomblob(4000))");
    for (const char* end : {"", "-journal"}) {
      fs::copy_file(database.string() + end, std::string("/run/killed.db") + end);
    }
  }
  for (const char* end : {"", "-journal"}) {
    fs::copy_file(std::string("/run/killed.db") + end, database.string() + end, fs::copy_options::overwrite_existing);
    fs::remove(std::string("/run/killed.db") + end);
  }
  const std::set<fs::path> before(fs::directory_iterator("/run"), fs::directory_iterator());
  {
    const ReadOnlyState readOnly;
    EXPECT_THAT(qmfi({"snapshot", "list"}).output, HasSubstr(snapshot.id + "  nightly"));
  }
  EXPECT_EQ(std::set<fs::path>(fs::directory_iterator("/run"), fs::directory_iterator()), before);
  EXPECT_TRUE(fs::exists(database.string() + "-journal"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(StateTest, OfADamagedSnapshotSpoilsNoOtherAndCanBeDeleted) {
  const Snapshot bad = create({"/mnt/a", "/mnt/b"}, {"--name", "bad"});
  const Snapshot good = create({"/mnt/b"}, {"--name", "good"});
  changeDatabase("UPDATE snapshot SET created = 'yesterday' WHERE id = '" + bad.id + "'");
  const std::string told = "qmfi: the snapshot " + bad.id +
                           " is damaged (created is no number); \"qmfi snapshot delete " + bad.id +
                           "\" removes what can be found of it\n";
  EXPECT_THAT(qmfi({"snapshot", "list"}).output,
              MatchesRegex("ID .*\n" + good.id + "  good  .*  ready        yes      .*  qmfsfi    /mnt/b\n" + bad.id +
                           "  bad   *damaged  *created is no number\n"));
  for (const char* command : {"show", "mount", "unmount"}) {
    const auto outcome = qmfi({"snapshot", command, "bad"});
    EXPECT_EQ(outcome.status, 1) << command;
    EXPECT_EQ(outcome.output, told) << command;
  }
  const auto recovered = qmfi({"recover"});
  EXPECT_EQ(recovered.status, 1);
  EXPECT_EQ(recovered.output, told);
  const auto deleted = qmfi({"snapshot", "delete", "bad"});
  EXPECT_EQ(deleted.status, 0);
  EXPECT_EQ(deleted.output, "snapshot " + bad.id + " deleted\n");
  EXPECT_EQ(qmfi({"snapshot", "show", "good"}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "delete", "good"}).status, 0);
}

TEST_F(StateTest, OfADamagedSnapshotWithoutItsProviderIsTakenAwayAllTheSame) {
  const Snapshot bad = create({"/mnt/a"});
  ASSERT_EQ(testbed_test::run({"/bin/umount", bad.nodes.at(0).alternate}).status, 0);
  changeDatabase("UPDATE node SET provider = x'00'");
  const auto deleted = qmfi({"snapshot", "delete", bad.id});
  EXPECT_EQ(deleted.status, 0);
  EXPECT_THAT(deleted.output, HasSubstr("snapshot " + bad.id + " deleted\n"));
}

TEST_F(StateTest, OfADamagedSnapshotThatNamesForeignFilesLeavesThem) {
  const Snapshot bad = create({"/mnt/a"});
  const std::string copy = "/qmfs-pool/dg1/a-" + bad.id;
  changeDatabase("UPDATE node SET snapshot_file = '/qmfs-pool/dg1/b', state = x'00'");
  const auto deleted = qmfi({"snapshot", "delete", bad.id});
  EXPECT_EQ(deleted.status, 0);
  EXPECT_EQ(deleted.output, "qmfi: what belongs to the file system \"/mnt/a\" is not certain and is left: \"" +
                                bad.nodes.at(0).alternate + "\" \"" + bad.nodes.at(0).snapshotDevice +
                                "\" \"/qmfs-pool/dg1/b\"\nsnapshot " + bad.id + " deleted\n");
  EXPECT_TRUE(fs::exists("/qmfs-pool/dg1/b"));
  EXPECT_EQ(testbed_test::run({"/bin/umount", bad.nodes.at(0).alternate}).status, 0);
  fs::remove_all("/run/qmfi/snapshots/" + bad.id);
  for (const std::string& path :
       {copy, copy + ".qmfi", bad.nodes.at(0).snapshotDevice, "/dev/qm/rdsk/dg1/a-" + bad.id}) {
    EXPECT_TRUE(fs::remove(path)) << path;
  }
}

TEST_F(StateTest, OfADamagedAccessIsToldAndForgottenOnceTheFileSystemIsMountedByHand) {
  ASSERT_EQ(qmfi({"access", "disable", "/mnt/a", "/mnt/b"}).status, 0);
  changeDatabase("UPDATE disabled_access SET device = x'00' WHERE mount_point = '/mnt/a'");
  EXPECT_EQ(qmfi({"access", "list"}).output,
            "/mnt/a: damaged (device is no text)\n/mnt/b (/dev/qm/dsk/dg1/b) by qmfsfi\n");
  EXPECT_EQ(qmfi({"access", "list", "--json"}).output,
            "[\n  {\n    \"mount_point\": \"/mnt/a\",\n    \"device\": \"\",\n    \"provider\": \"qmfsfi\",\n"
            "    \"damage\": \"device is no text\"\n  },\n"
            "  {\n    \"mount_point\": \"/mnt/b\",\n    \"device\": \"/dev/qm/dsk/dg1/b\",\n"
            "    \"provider\": \"qmfsfi\"\n  }\n]\n");
  const auto refused = qmfi({"access", "enable", "/mnt/a"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.output,
            "qmfi: what is known of /mnt/a is damaged (device is no text); once it is mounted by hand, "
            "\"qmfi access enable /mnt/a\" forgets that\n");
  EXPECT_EQ(qmfi({"access", "enable", "/mnt/b"}).status, 0);
  ASSERT_EQ(testbed_test::run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/a", "/mnt/a"}).status, 0);
  EXPECT_EQ(qmfi({"access", "enable", "/mnt/a"}).output, "");
  EXPECT_EQ(qmfi({"access", "list"}).output, "");
}

// One that was killed before it had the directory, or before the machine was started anew.
TEST_F(StateTest, OfAKilledQmfiTakesNothingDownThatAnotherHasMountedUnderTheName) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  const fs::path another = "/root/state";
  fs::create_directory(another);
  qmfi_host::Snapshot killed = qmfi_host::StateStore(stateDirectory).snapshots().front();
  killed.id = "0badc0de";
  for (std::string* const path : {&killed.nodes[0].volume.snapshotDevice, &killed.nodes[0].volume.snapshotFile,
                                  &killed.nodes[0].volume.rawDevice}) {
    path->replace(path->find(snapshot.id), snapshot.id.size(), killed.id);
  }
  for (const auto phase : {qmfi_host::Phase::preparing, qmfi_host::Phase::mounting, qmfi_host::Phase::unmounting}) {
    killed.phase = phase;
    qmfi_host::StateStore(another).add(killed);
    const auto recovered = qmfi({"--state-dir", another, "recover"});
    EXPECT_EQ(recovered.status, 0);
    EXPECT_EQ(recovered.output,
              phase == qmfi_host::Phase::unmounting ? "snapshot 0badc0de unmounted\n" : "snapshot 0badc0de removed\n");
    EXPECT_EQ(listedSnapshots().at(0).state, "ready");
  }
  EXPECT_EQ(qmfi({"--state-dir", another, "snapshot", "delete", killed.id}).output, "snapshot 0badc0de deleted\n");
  EXPECT_EQ(listedSnapshots().at(0).state, "ready");
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).output, "snapshot " + snapshot.id + " deleted\n");
  fs::remove_all(another);
}

// The kernel's mount table is asked, not what the last command left.
TEST_F(StateTest, IsWhatIsThereNow) {
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"}, {"--name", "nightly"});
  const auto told = [] {
    return testbed_test::snapshotIn(qmfi({"snapshot", "show", "nightly", "--json"}).output).state;
  };
  EXPECT_EQ(told(), "ready");
  ASSERT_EQ(testbed_test::run({"/bin/umount", snapshot.nodes.at(0).alternate}).status, 0);
  EXPECT_EQ(told(), "unmounted");
  fs::rename("/qmfs-pool/dg1/b-" + snapshot.id, "/qmfs-pool/elsewhere");
  EXPECT_EQ(told(), "gone");
  fs::rename("/qmfs-pool/elsewhere", "/qmfs-pool/dg1/b-" + snapshot.id);
  EXPECT_EQ(told(), "unmounted");
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

// JSON, a member a line, without the sizes, which others change.
std::string withoutSizes(const std::string& json) {
  std::istringstream lines(json);
  std::string rest;
  constexpr std::array sizes = {"\"size\":", "\"needs\":", "\"free\":"};
  for (std::string line; std::getline(lines, line);) {
    const bool isSize =
        std::any_of(sizes.begin(), sizes.end(), [&](const char* size) { return line.find(size) != std::string::npos; });
    if (!isSize) rest += line + "\n";
  }
  return rest;
}

// What "show --json" tells of each.
std::vector<std::string> shown(const std::vector<Snapshot>& snapshots) {
  std::vector<std::string> texts;
  for (const Snapshot& snapshot : snapshots) {
    texts.push_back(withoutSizes(qmfi({"snapshot", "show", snapshot.id, "--json"}).output));
  }
  return texts;
}

class LostStateTest : public HostTest {
 protected:
  void SetUp() override {
    m_snapshots = {create({"/mnt/a", "/mnt/b"}, {"--name", "first"}), create({"/mnt/b"}, {"--name", "second"})};
    EXPECT_EQ(qmfi({"snapshot", "unmount", "second"}).status, 0);
    m_shown = shown(m_snapshots);
  }

  void TearDown() override {
    for (const Snapshot& snapshot : m_snapshots) {
      EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).output, "snapshot " + snapshot.id + " deleted\n");
    }
    HostTest::TearDown();
  }

  std::string foundLines() const {
    std::string lines;
    for (const std::string& id : std::set<std::string>{m_snapshots[0].id, m_snapshots[1].id}) {
      lines += "snapshot " + id + " found\n";
    }
    return lines;
  }

  // Every snapshot is known again, and can be mounted.
  void expectFoundAgain() const {
    EXPECT_EQ(qmfi({"snapshot", "mount", "second"}).status, 0);
    EXPECT_EQ(qmfi({"snapshot", "unmount", "second"}).status, 0);
    EXPECT_EQ(shown(m_snapshots), m_shown);
  }

  std::vector<Snapshot> m_snapshots;
  std::vector<std::string> m_shown;
};

TEST_F(LostStateTest, IsRebuiltFromTheRecordsBesideTheCopies) {
  for (const std::string& id : {m_snapshots[0].id, m_snapshots[1].id}) {
    EXPECT_EQ(fs::status("/qmfs-pool/dg1/b-" + id + ".qmfi").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
  }
  fs::remove("/var/lib/qmfi/state.db");
  const auto rescanned = qmfi({"recover", "--rescan"});
  EXPECT_EQ(rescanned.status, 0);
  EXPECT_EQ(sortedLines(rescanned.output), foundLines());
  expectFoundAgain();
}

TEST_F(LostStateTest, ThatIsDamagedIsMovedAsideAndRebuilt) {
  const fs::path database = "/var/lib/qmfi/state.db";
  fs::resize_file(database, fs::file_size(database) / 2);
  const auto refused = qmfi({"recover"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.output,
            "qmfi: the state store /var/lib/qmfi/state.db cannot be used: database disk image is malformed; "
            "\"qmfi recover --rescan\" makes a new one\n");
  const auto rescanned = qmfi({"recover", "--rescan"});
  EXPECT_EQ(rescanned.status, 0);
  const std::string moved = "qmfi: the state store is damaged; it is now /var/lib/qmfi/state.db.damaged-1\n";
  EXPECT_THAT(rescanned.output, StartsWith(moved));
  EXPECT_EQ(sortedLines(rescanned.output.substr(moved.size())), foundLines());
  EXPECT_TRUE(fs::remove("/var/lib/qmfi/state.db.damaged-1"));
  expectFoundAgain();
}

}  // namespace
}  // namespace host_test
