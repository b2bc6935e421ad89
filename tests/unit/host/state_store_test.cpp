// What the host remembers between its runs.
#include "state/state_store.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "../runtime/temporary_directory.h"
#include "failure/host_error.h"
#include "state/database.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

SnapshotNode makeNode(const std::string& mountPoint) {
  SnapshotNode node;
  node.provider = "provider of " + mountPoint;
  node.thawRequest = 0x12345678;
  node.mountPoint = mountPoint;
  node.volume = {"device of " + mountPoint, "snapshot of " + mountPoint, "file of " + mountPoint,
                 "copy of " + mountPoint, "raw device of " + mountPoint};
  node.alternate = mountPoint + "_alt";
  node.state = "<MNT_OPTS>rw</MNT_OPTS>\n";
  node.alternateState = "<MNT_OPTS>ro</MNT_OPTS>\n";
  return node;
}

Snapshot makeSnapshot(const std::string& id, const std::string& name, int created) {
  Snapshot snapshot;
  snapshot.id = id;
  snapshot.name = name;
  snapshot.created = Snapshot::Time(std::chrono::microseconds(created));
  snapshot.frozen = std::chrono::microseconds(1234);
  snapshot.nodes = {makeNode("/b"), makeNode("/a")};
  return snapshot;
}

void expectEqual(const Snapshot& one, const Snapshot& other) {
  EXPECT_EQ(one.id, other.id);
  EXPECT_EQ(one.name, other.name);
  EXPECT_EQ(one.created, other.created);
  EXPECT_EQ(one.frozen, other.frozen);
  EXPECT_EQ(one.phase, other.phase);
  ASSERT_EQ(one.nodes.size(), other.nodes.size());
  for (std::size_t i = 0; i < one.nodes.size(); ++i) {
    EXPECT_EQ(one.nodes[i].provider, other.nodes[i].provider);
    EXPECT_EQ(one.nodes[i].thawRequest, other.nodes[i].thawRequest);
    EXPECT_EQ(one.nodes[i].volume.rawDevice, other.nodes[i].volume.rawDevice);
    EXPECT_EQ(one.nodes[i].mountPoint, other.nodes[i].mountPoint);
    EXPECT_EQ(one.nodes[i].volume.device, other.nodes[i].volume.device);
    EXPECT_EQ(one.nodes[i].volume.snapshotDevice, other.nodes[i].volume.snapshotDevice);
    EXPECT_EQ(one.nodes[i].volume.volumeFile, other.nodes[i].volume.volumeFile);
    EXPECT_EQ(one.nodes[i].volume.snapshotFile, other.nodes[i].volume.snapshotFile);
    EXPECT_EQ(one.nodes[i].alternate, other.nodes[i].alternate);
    EXPECT_EQ(one.nodes[i].state, other.nodes[i].state);
    EXPECT_EQ(one.nodes[i].alternateState, other.nodes[i].alternateState);
  }
}

std::vector<std::string> idsOf(const std::vector<Snapshot>& snapshots) {
  std::vector<std::string> ids;
  for (const Snapshot& snapshot : snapshots) ids.push_back(snapshot.id);
  return ids;
}

class StateStoreTest : public testing::Test {
 protected:
  TemporaryDirectory m_directory;
};

TEST_F(StateStoreTest, GivesBackInALaterProcessWhatWasAdded) {
  const Snapshot snapshot = makeSnapshot("0a", "first", 1);
  StateStore(m_directory.path()).add(snapshot);
  const auto found = StateStore(m_directory.path()).find("0a");
  ASSERT_TRUE(found);
  expectEqual(*found, snapshot);
}

TEST_F(StateStoreTest, KnowsASnapshotByItsNameToo) {
  StateStore store(m_directory.path());
  store.add(makeSnapshot("0a", "first", 1));
  EXPECT_EQ(store.find("first")->id, "0a");
  EXPECT_FALSE(store.find("second"));
  EXPECT_FALSE(store.find(""));
}

TEST_F(StateStoreTest, ListsTheOldestFirst) {
  StateStore store(m_directory.path());
  store.add(makeSnapshot("0a", "younger", 2));
  store.add(makeSnapshot("0b", "older", 1));
  EXPECT_THAT(idsOf(store.snapshots()), testing::ElementsAre("0b", "0a"));
}

TEST_F(StateStoreTest, RefusesAnIdOrNameThatNamesAnotherSnapshot) {
  StateStore store(m_directory.path());
  store.add(makeSnapshot("0a", "first", 1));
  const struct {
    const char* id;
    const char* name;
    const char* taken;
  } cases[] = {{"0b", "first", "first"}, {"0a", "second", "0a"}, {"0b", "0a", "0a"}, {"first", "second", "first"}};
  for (const auto& one : cases) {
    EXPECT_THAT([&] { store.add(makeSnapshot(one.id, one.name, 2)); },
                ThrowsMessage<UsageError>("a snapshot \"" + std::string(one.taken) + "\" exists already"));
  }
  EXPECT_THAT(idsOf(store.snapshots()), testing::ElementsAre("0a"));
}

TEST_F(StateStoreTest, KeepsEveryPhase) {
  StateStore store(m_directory.path());
  Snapshot snapshot = makeSnapshot("0a", "first", 1);
  store.add(snapshot);
  for (int phase = 0; phase <= static_cast<int>(Phase::deleting); ++phase) {
    snapshot.phase = static_cast<Phase>(phase);
    store.update(snapshot);
    EXPECT_EQ(store.find("0a")->phase, snapshot.phase) << phase;
  }
}

TEST_F(StateStoreTest, ReplacesASnapshotByAnUpdate) {
  StateStore store(m_directory.path());
  Snapshot snapshot = makeSnapshot("0a", "first", 1);
  store.add(snapshot);
  snapshot.nodes = {makeNode("/c")};
  snapshot.frozen = std::chrono::microseconds(99);
  store.update(snapshot);
  ASSERT_EQ(store.snapshots().size(), 1U);
  expectEqual(store.snapshots().front(), snapshot);
}

TEST_F(StateStoreTest, ForgetsARemovedSnapshotWithItsNodes) {
  StateStore store(m_directory.path());
  store.add(makeSnapshot("0a", "first", 1));
  store.remove("0a");
  EXPECT_FALSE(store.find("0a"));
  Database database(m_directory.file("state.db"));
  Statement count(database, "SELECT count(*) FROM node");
  count.step();
  EXPECT_EQ(count.number(), 0);
}

TEST_F(StateStoreTest, IsNotReadableForOthers) {
  const mode_t before = umask(0);
  StateStore(m_directory.path()).add(makeSnapshot("0a", "first", 1));
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(m_directory.file("state.db").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(StateStoreTest, OfALaterVersionIsRefused) {
  { const StateStore store(m_directory.path()); }
  Database(m_directory.file("state.db")).execute("PRAGMA user_version = 3");
  EXPECT_THAT([&] { StateStore(m_directory.path()); },
              ThrowsMessage<HostError>("the state store was made by a later version of qmfi"));
}

// As the first version left it: one provider for the whole of a snapshot.
TEST_F(StateStoreTest, OfTheFirstVersionIsBroughtUpToDate) {
  Database(m_directory.file("state.db")).execute(R"(
    CREATE TABLE snapshot (
      id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, provider TEXT NOT NULL, created INTEGER NOT NULL,
      frozen_us INTEGER NOT NULL, phase TEXT NOT NULL);
    CREATE TABLE node (
      snapshot TEXT NOT NULL REFERENCES snapshot (id) ON DELETE CASCADE, position INTEGER NOT NULL,
      mount_point TEXT NOT NULL, device TEXT NOT NULL, snapshot_device TEXT NOT NULL, volume_file TEXT NOT NULL,
      snapshot_file TEXT NOT NULL, alternate TEXT NOT NULL, state TEXT NOT NULL, alternate_state TEXT NOT NULL,
      PRIMARY KEY (snapshot, position));
    CREATE TABLE disabled_access (
      mount_point TEXT PRIMARY KEY, provider TEXT NOT NULL, device TEXT NOT NULL, state TEXT NOT NULL);
    INSERT INTO snapshot VALUES ('0a', 'first', 'sample', 1, 1234, 'ready'), ('0b', 'other', 'another', 2, 9, 'unmounted');
    INSERT INTO node VALUES
      ('0a', 0, '/b', 'db', 'sb', 'vb', 'cb', '/b_alt', 'state b', 'alternate b'),
      ('0a', 1, '/a', 'da', 'sa', 'va', 'ca', '/a_alt', 'state a', 'alternate a'),
      ('0b', 0, '/c', 'dc', 'sc', 'vc', 'cc', '/c_alt', 'state c', 'alternate c');
    INSERT INTO disabled_access VALUES ('/mnt', 'sample', '/dev/x', 'state');
    PRAGMA user_version = 1;
  )");
  for (int time = 0; time < 2; ++time) {
    const StateStore store(m_directory.path());
    const auto first = store.find("first");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->id, "0a");
    EXPECT_EQ(first->frozen.count(), 1234);
    EXPECT_EQ(first->phase, Phase::ready);
    ASSERT_EQ(first->nodes.size(), 2U);
    for (const SnapshotNode& node : first->nodes) {
      EXPECT_EQ(node.provider, "sample");
      EXPECT_EQ(node.thawRequest, static_cast<unsigned long>(FITHAW));
      EXPECT_EQ(node.volume.rawDevice, "");
    }
    EXPECT_EQ(first->nodes[1].mountPoint, "/a");
    EXPECT_EQ(first->nodes[1].volume.snapshotFile, "ca");
    EXPECT_EQ(first->nodes[1].alternateState, "alternate a");
    EXPECT_EQ(store.find("other")->nodes.at(0).provider, "another");
    EXPECT_EQ(store.findDisabledAccess("/mnt")->device, "/dev/x");
  }
  StateStore(m_directory.path()).add(makeSnapshot("0c", "new", 3));
}

TEST_F(StateStoreTest, ThatIsNoDatabaseIsAFailure) {
  m_directory.write("state.db", std::string(4096, 'x'));
  EXPECT_THAT([&] { StateStore(m_directory.path()); },
              ThrowsMessage<HostError>(HasSubstr("the state store cannot be used: ")));
}

TEST_F(StateStoreTest, BehindASymbolicLinkIsRefused) {
  m_directory.write("elsewhere", "");
  std::filesystem::create_symlink("elsewhere", m_directory.file("state.db"));
  EXPECT_THROW(StateStore(m_directory.path()), HostError);
}

TEST_F(StateStoreTest, BelowASymbolicLinkIsOpened) {
  std::filesystem::create_directory(m_directory.file("real"));
  std::filesystem::create_directory_symlink("real", m_directory.file("link"));
  StateStore(m_directory.file("link")).add(makeSnapshot("0a", "first", 1));
  EXPECT_TRUE(StateStore(m_directory.file("real")).find("0a"));
}

TEST_F(StateStoreTest, InADirectoryThatIsMissingIsAFailureThatNamesIt) {
  EXPECT_THAT([] { StateStore("/nonexistent/directory"); },
              ThrowsMessage<HostError>(
                  "the state store /nonexistent/directory/state.db cannot be opened: No such file or directory"));
}

TEST_F(StateStoreTest, WritesTheDirectoryOutWithEveryTransaction) {
  constexpr std::int64_t extra = 3;
  const Database database(m_directory.file("state.db"));
  Statement synchronous(database, "PRAGMA synchronous");
  synchronous.step();
  EXPECT_EQ(synchronous.number(), extra);
}

TEST_F(StateStoreTest, RemembersDisabledAccessUntilItIsRemoved) {
  StateStore store(m_directory.path());
  store.save({"/mnt", "sample", "/dev/x", "state"});
  store.save({"/mnt", "sample", "/dev/y", "new state"});
  const auto access = store.findDisabledAccess("/mnt");
  ASSERT_TRUE(access);
  EXPECT_EQ(access->provider, "sample");
  EXPECT_EQ(access->device, "/dev/y");
  EXPECT_EQ(access->state, "new state");
  EXPECT_FALSE(store.findDisabledAccess("/mnt/other"));
  store.removeDisabledAccess("/mnt");
  EXPECT_FALSE(store.findDisabledAccess("/mnt"));
}

}  // namespace
}  // namespace qmfi_host
