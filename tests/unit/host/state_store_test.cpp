// What the host remembers between its runs.
#include "state/state_store.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "failure/host_error.h"
#include "state/database.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

SnapshotNode makeNode(const std::string& mountPoint) {
  SnapshotNode node;
  node.provider = "provider of " + mountPoint;
  node.thawRequest = 0x12345678;
  node.kernelTimeout = std::chrono::seconds(7);
  node.mountPoint = mountPoint;
  node.volume = {"device of " + mountPoint, "snapshot of " + mountPoint,   "file of " + mountPoint,
                 "copy of " + mountPoint,   "raw device of " + mountPoint, "splitter of " + mountPoint};
  node.alternate = mountPoint + "_alt";
  node.state = "<MNT_OPTS>rw</MNT_OPTS>\n";
  node.alternateState = "<MNT_OPTS>ro</MNT_OPTS>\n";
  return node;
}

FreezeReceipt makeReceipt() {
  using Moment = FreezeReceipt::Moment;
  FreezeReceipt receipt;
  receipt.begin = FreezeReceipt::Time(Moment(1000));
  receipt.end = FreezeReceipt::Time(Moment(1090));
  receipt.sinceStart = Moment(50);
  receipt.splitBegan = Moment(40);
  receipt.splitEnded = Moment(60);
  receipt.over = Moment(80);
  receipt.mayEnd = Moment(2000000);
  receipt.fileSystems = {{Moment(1), Moment(10), Moment(20), Moment(70), Moment(75), ThawAnswer::noFailure},
                         {Moment(2), Moment(11), std::nullopt, Moment(71), Moment(76), ThawAnswer::unknown}};
  return receipt;
}

Snapshot makeSnapshot(const std::string& id, const std::string& name, int created) {
  Snapshot snapshot;
  snapshot.id = id;
  snapshot.name = name;
  snapshot.created = Snapshot::Time(std::chrono::microseconds(created));
  snapshot.frozen = std::chrono::microseconds(1234);
  snapshot.freeze = {"run of the machine", std::chrono::microseconds(5678)};
  snapshot.held = "for the auditors";
  snapshot.receipt = makeReceipt();
  snapshot.nodes = {makeNode("/b"), makeNode("/a")};
  return snapshot;
}

void expectEqual(const FreezeReceipt& one, const FreezeReceipt& other) {
  EXPECT_EQ(one.begin, other.begin);
  EXPECT_EQ(one.end, other.end);
  for (const auto moment : {&FreezeReceipt::sinceStart, &FreezeReceipt::splitBegan, &FreezeReceipt::splitEnded,
                            &FreezeReceipt::over, &FreezeReceipt::mayEnd}) {
    EXPECT_EQ(one.*moment, other.*moment);
  }
  ASSERT_EQ(one.fileSystems.size(), other.fileSystems.size());
  for (std::size_t i = 0; i < one.fileSystems.size(); ++i) {
    EXPECT_EQ(one.fileSystems[i].freezeAsked, other.fileSystems[i].freezeAsked);
    EXPECT_EQ(one.fileSystems[i].frozen, other.fileSystems[i].frozen);
    EXPECT_EQ(one.fileSystems[i].proven, other.fileSystems[i].proven);
    EXPECT_EQ(one.fileSystems[i].thawAsked, other.fileSystems[i].thawAsked);
    EXPECT_EQ(one.fileSystems[i].thawed, other.fileSystems[i].thawed);
    EXPECT_EQ(one.fileSystems[i].thaw, other.fileSystems[i].thaw);
  }
}

void expectEqual(const Snapshot& one, const Snapshot& other) {
  EXPECT_EQ(one.held, other.held);
  ASSERT_EQ(one.receipt.has_value(), other.receipt.has_value());
  if (one.receipt) expectEqual(*one.receipt, *other.receipt);
  EXPECT_EQ(one.id, other.id);
  EXPECT_EQ(one.name, other.name);
  EXPECT_EQ(one.created, other.created);
  EXPECT_EQ(one.frozen, other.frozen);
  EXPECT_EQ(one.phase, other.phase);
  EXPECT_EQ(one.freeze.bootId, other.freeze.bootId);
  EXPECT_EQ(one.freeze.sinceStart, other.freeze.sinceStart);
  ASSERT_EQ(one.nodes.size(), other.nodes.size());
  for (std::size_t i = 0; i < one.nodes.size(); ++i) {
    EXPECT_EQ(one.nodes[i].provider, other.nodes[i].provider);
    EXPECT_EQ(one.nodes[i].thawRequest, other.nodes[i].thawRequest);
    EXPECT_EQ(one.nodes[i].kernelTimeout, other.nodes[i].kernelTimeout);
    EXPECT_EQ(one.nodes[i].volume.splitter, other.nodes[i].volume.splitter);
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

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) names.push_back(entry.path().filename());
  return names;
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
                ThrowsMessage<HostError>("a snapshot \"" + std::string(one.taken) + "\" exists already"));
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
  Database(m_directory.file("state.db")).execute("PRAGMA user_version = 6");
  EXPECT_THAT([&] { StateStore(m_directory.path()); },
              ThrowsMessage<HostError>("the state store " + m_directory.file("state.db") +
                                       " was made by a later version of qmfi"));
}

// As the first version left it: one provider for the whole of a snapshot.
void makeFirstVersion(const std::string& file) {
  Database(file).execute(R"(
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
}

std::int64_t versionOf(const std::string& file) {
  const Database database(file);
  Statement version(database, "PRAGMA user_version");
  version.step();
  return version.number();
}

TEST_F(StateStoreTest, OfTheFirstVersionIsBroughtUpToDate) {
  makeFirstVersion(m_directory.file("state.db"));
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
      EXPECT_EQ(node.volume.splitter, "reflink");
    }
    EXPECT_EQ(first->nodes[1].mountPoint, "/a");
    EXPECT_EQ(first->nodes[1].volume.snapshotFile, "ca");
    EXPECT_EQ(first->nodes[1].alternateState, "alternate a");
    EXPECT_EQ(store.find("other")->nodes.at(0).provider, "another");
    EXPECT_EQ(store.findDisabledAccess("/mnt")->device, "/dev/x");
  }
  StateStore(m_directory.path()).add(makeSnapshot("0c", "new", 3));
}

// As the second version left it: nothing of the moment of a freeze.
TEST_F(StateStoreTest, OfTheSecondVersionIsBroughtUpToDate) {
  Database(m_directory.file("state.db")).execute(R"(
    CREATE TABLE snapshot (
      id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, created INTEGER NOT NULL, frozen_us INTEGER NOT NULL,
      phase TEXT NOT NULL);
    CREATE TABLE node (
      snapshot TEXT NOT NULL REFERENCES snapshot (id) ON DELETE CASCADE, position INTEGER NOT NULL,
      mount_point TEXT NOT NULL, device TEXT NOT NULL, snapshot_device TEXT NOT NULL, volume_file TEXT NOT NULL,
      snapshot_file TEXT NOT NULL, alternate TEXT NOT NULL, state TEXT NOT NULL, alternate_state TEXT NOT NULL,
      provider TEXT NOT NULL, thaw_request INTEGER NOT NULL, raw_device TEXT NOT NULL, PRIMARY KEY (snapshot, position));
    CREATE TABLE disabled_access (
      mount_point TEXT PRIMARY KEY, provider TEXT NOT NULL, device TEXT NOT NULL, state TEXT NOT NULL);
    INSERT INTO snapshot VALUES ('0a', 'first', 1, 1234, 'freezing');
    INSERT INTO node VALUES ('0a', 0, '/b', 'db', 'sb', 'vb', 'cb', '/b_alt', '', '', 'sample', 77, 'rb');
    PRAGMA user_version = 2;
  )");
  for (int time = 0; time < 2; ++time) {
    const auto first = StateStore(m_directory.path()).find("first");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->phase, Phase::freezing);
    EXPECT_EQ(first->freeze.bootId, "");
    EXPECT_EQ(first->freeze.sinceStart.count(), 0);
    EXPECT_EQ(first->nodes.at(0).thawRequest, 77U);
    EXPECT_EQ(first->nodes.at(0).volume.rawDevice, "rb");
    EXPECT_EQ(first->nodes.at(0).kernelTimeout.count(), 0);
  }
  EXPECT_EQ(versionOf(m_directory.file("state.db.v2")), 2);
}

// As the third version left it: one splitter.
TEST_F(StateStoreTest, OfTheThirdVersionIsBroughtUpToDate) {
  Database(m_directory.file("state.db")).execute(R"(
    CREATE TABLE snapshot (
      id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, created INTEGER NOT NULL, frozen_us INTEGER NOT NULL,
      phase TEXT NOT NULL, boot_id TEXT NOT NULL DEFAULT '', freeze_since_start_us INTEGER NOT NULL DEFAULT 0);
    CREATE TABLE node (
      snapshot TEXT NOT NULL REFERENCES snapshot (id) ON DELETE CASCADE, position INTEGER NOT NULL,
      mount_point TEXT NOT NULL, device TEXT NOT NULL, snapshot_device TEXT NOT NULL, volume_file TEXT NOT NULL,
      snapshot_file TEXT NOT NULL, alternate TEXT NOT NULL, state TEXT NOT NULL, alternate_state TEXT NOT NULL,
      provider TEXT NOT NULL, thaw_request INTEGER NOT NULL, raw_device TEXT NOT NULL,
      kernel_timeout_s INTEGER NOT NULL DEFAULT 0, PRIMARY KEY (snapshot, position));
    CREATE TABLE disabled_access (
      mount_point TEXT PRIMARY KEY, provider TEXT NOT NULL, device TEXT NOT NULL, state TEXT NOT NULL);
    INSERT INTO snapshot VALUES ('0a', 'first', 1, 1234, 'ready', 'a run', 5);
    INSERT INTO node VALUES ('0a', 0, '/b', 'db', 'sb', 'vb', 'cb', '/b_alt', '', '', 'sample', 77, 'rb', 9);
    PRAGMA user_version = 3;
  )");
  for (int time = 0; time < 2; ++time) {
    const auto first = StateStore(m_directory.path()).find("first");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->freeze.bootId, "a run");
    EXPECT_EQ(first->nodes.at(0).kernelTimeout, std::chrono::seconds(9));
    EXPECT_EQ(first->nodes.at(0).volume.splitter, "reflink");
  }
  EXPECT_EQ(versionOf(m_directory.file("state.db.v3")), 3);
}

// As the fourth version left it: nothing but the moment of a freeze.
TEST_F(StateStoreTest, OfTheFourthVersionIsBroughtUpToDate) {
  Database(m_directory.file("state.db")).execute(R"(
    CREATE TABLE snapshot (
      id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, created INTEGER NOT NULL, frozen_us INTEGER NOT NULL,
      phase TEXT NOT NULL, boot_id TEXT NOT NULL DEFAULT '', freeze_since_start_us INTEGER NOT NULL DEFAULT 0);
    CREATE TABLE node (
      snapshot TEXT NOT NULL REFERENCES snapshot (id) ON DELETE CASCADE, position INTEGER NOT NULL,
      mount_point TEXT NOT NULL, device TEXT NOT NULL, snapshot_device TEXT NOT NULL, volume_file TEXT NOT NULL,
      snapshot_file TEXT NOT NULL, alternate TEXT NOT NULL, state TEXT NOT NULL, alternate_state TEXT NOT NULL,
      provider TEXT NOT NULL, thaw_request INTEGER NOT NULL, raw_device TEXT NOT NULL,
      kernel_timeout_s INTEGER NOT NULL DEFAULT 0, splitter TEXT NOT NULL DEFAULT 'reflink',
      PRIMARY KEY (snapshot, position));
    CREATE TABLE disabled_access (
      mount_point TEXT PRIMARY KEY, provider TEXT NOT NULL, device TEXT NOT NULL, state TEXT NOT NULL);
    INSERT INTO snapshot VALUES ('0a', 'first', 1, 1234, 'ready', 'a run', 5);
    INSERT INTO node VALUES ('0a', 0, '/b', 'db', 'sb', 'vb', 'cb', '/b_alt', '', '', 'sample', 77, 'rb', 9, 'lvm');
    PRAGMA user_version = 4;
  )");
  for (int time = 0; time < 2; ++time) {
    const auto first = StateStore(m_directory.path()).find("first");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->held, "");
    EXPECT_FALSE(first->receipt);
    EXPECT_EQ(first->nodes.at(0).volume.splitter, "lvm");
  }
  EXPECT_EQ(versionOf(m_directory.file("state.db.v4")), 4);
  StateStore(m_directory.path()).add(makeSnapshot("0b", "new", 2));
}

TEST_F(StateStoreTest, OfAnEarlierVersionIsKeptBesideTheNewOne) {
  const std::string kept = m_directory.file("state.db.v1");
  makeFirstVersion(m_directory.file("state.db"));
  m_directory.write("state.db.v1", "of an earlier time, which ended half-way");
  { const StateStore store(m_directory.path()); }
  EXPECT_EQ(versionOf(kept), 1);
  EXPECT_EQ(StateStore::readFrom(m_directory.path()).find("first")->id, "0a");
  struct stat status {};
  ASSERT_EQ(stat(kept.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  std::filesystem::rename(kept, m_directory.file("state.db"));
  EXPECT_EQ(StateStore(m_directory.path()).find("first")->nodes.at(0).provider, "sample");
}

TEST_F(StateStoreTest, OfAnEarlierVersionIsReadWithoutBeingChanged) {
  makeFirstVersion(m_directory.file("state.db"));
  const std::string before = m_directory.read("state.db");
  EXPECT_EQ(StateStore::readFrom(m_directory.path()).find("first")->nodes.at(1).provider, "sample");
  EXPECT_EQ(m_directory.read("state.db"), before);
  EXPECT_THAT(namesIn(m_directory.path()), testing::ElementsAre("state.db"));
}

TEST_F(StateStoreTest, ReadingMakesNothing) {
  const StateStore none = StateStore::readFrom(m_directory.file("none"));
  EXPECT_THAT(none.snapshots(), testing::IsEmpty());
  EXPECT_FALSE(none.findDisabledAccess("/mnt"));
  EXPECT_THAT(StateStore::readFrom(m_directory.path()).snapshots(), testing::IsEmpty());
  EXPECT_THAT(namesIn(m_directory.path()), testing::IsEmpty());
}

TEST_F(StateStoreTest, WhatIsReadIsACopy) {
  StateStore(m_directory.path()).add(makeSnapshot("0a", "first", 1));
  StateStore copy = StateStore::readFrom(m_directory.path());
  copy.remove("0a");
  EXPECT_FALSE(copy.find("0a"));
  EXPECT_TRUE(StateStore::readFrom(m_directory.path()).find("0a"));
}

// The pages that a big change has written over are in the journal beside the database.
TEST_F(StateStoreTest, ReadingUndoesWhatAKilledProcessHadBegun) {
  const std::string killed = m_directory.makeDirectory("killed");
  StateStore(m_directory.path()).add(makeSnapshot("0a", "first", 1));
  {
    Database writer(m_directory.file("state.db"));
    writer.execute("PRAGMA cache_size = 1; BEGIN; DELETE FROM snapshot; CREATE TABLE big (value)");
    for (int i = 0; i < 100; ++i) writer.execute("INSERT INTO big VALUES (randomblob(4000))");
    for (const char* name : {"/state.db", "/state.db-journal"}) {
      ASSERT_TRUE(std::filesystem::copy_file(m_directory.path() + name, killed + name));
    }
  }
  EXPECT_TRUE(StateStore::readFrom(killed).find("0a"));
}

// One damaged value each; the snapshot beside it is not to suffer.
TEST_F(StateStoreTest, SnapshotThatIsDamagedSpoilsOnlyItself) {
  const struct {
    const char* change;
    const char* damage;
  } cases[] = {
      {"UPDATE snapshot SET phase = 'sleeping' WHERE id = '0a'",
       "the state store holds a snapshot in the unknown phase sleeping"},
      {"UPDATE snapshot SET name = x'ff' WHERE id = '0a'", "name is no text"},
      {"UPDATE snapshot SET created = 'yesterday' WHERE id = '0a'", "created is no number"},
      {"UPDATE snapshot SET frozen_us = x'00' WHERE id = '0a'", "frozen_us is no number"},
      {"UPDATE snapshot SET held = x'00' WHERE id = '0a'", "held is no text"},
      {"UPDATE snapshot SET receipt = replace(receipt, 'no_failure', 'maybe') WHERE id = '0a'",
       "the receipt knows no thaw \"maybe\""},
      {"UPDATE node SET snapshot_file = x'2f' WHERE snapshot = '0a' AND position = 1", "snapshot_file is no text"},
      {"UPDATE node SET thaw_request = 'none' WHERE snapshot = '0a'", "thaw_request is no number"},
      {"UPDATE node SET raw_device = x'' WHERE snapshot = '0a'", "raw_device is no text"},
      {"DELETE FROM node WHERE snapshot = '0a'", "it has no file system"},
  };
  for (const auto& one : cases) {
    StateStore store(m_directory.path());
    store.add(makeSnapshot("0a", "bad", 1));
    store.add(makeSnapshot("0b", "good", 2));
    Database(m_directory.file("state.db")).execute(one.change);
    EXPECT_THAT(idsOf(store.snapshots()), testing::ElementsAre("0b")) << one.change;
    EXPECT_FALSE(store.find("0a")) << one.change;
    ASSERT_EQ(store.damagedSnapshots().size(), 1U) << one.change;
    ASSERT_TRUE(store.findDamaged("0a")) << one.change;
    EXPECT_EQ(store.findDamaged("0a")->damage, one.damage);
    EXPECT_THAT([&] { store.add(makeSnapshot("0a", "new", 3)); }, testing::Throws<HostError>()) << one.change;
    store.remove("0a");
    EXPECT_THAT(store.damagedSnapshots(), testing::IsEmpty()) << one.change;
    store.remove("0b");
  }
}

TEST_F(StateStoreTest, SnapshotWithAReceiptThatCannotBeReadIsDamaged) {
  for (const char* receipt : {"no JSON", "7", "{}", "[]"}) {
    StateStore store(m_directory.path());
    store.add(makeSnapshot("0a", "bad", 1));
    Database(m_directory.file("state.db"))
        .execute(("UPDATE snapshot SET receipt = '" + std::string(receipt) + "'").c_str());
    ASSERT_TRUE(store.findDamaged("0a")) << receipt;
    EXPECT_THAT(store.findDamaged("0a")->damage, testing::StartsWith("the receipt makes no sense: ")) << receipt;
    store.remove("0a");
  }
}

TEST_F(StateStoreTest, TellsOfSoundAndDamagedOnesTogether) {
  StateStore store(m_directory.path());
  store.add(makeSnapshot("0a", "bad", 1));
  store.add(makeSnapshot("0b", "good", 2));
  Database(m_directory.file("state.db")).execute("UPDATE snapshot SET frozen_us = x'00' WHERE id = '0a'");
  const std::vector<DamagedSnapshot> all = store.allSnapshots();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].snapshot.id, "0a");
  EXPECT_EQ(all[0].damage, "frozen_us is no number");
  expectEqual(all[1].snapshot, makeSnapshot("0b", "good", 2));
  EXPECT_EQ(all[1].damage, "");
}

TEST_F(StateStoreTest, OfADamagedSnapshotEverythingElseIsRead) {
  StateStore store(m_directory.path());
  store.add(makeSnapshot("0a", "bad", 1));
  Database(m_directory.file("state.db"))
      .execute("UPDATE snapshot SET phase = 'sleeping'; UPDATE node SET state = x'00', provider = x'00'");
  const Snapshot read = store.findDamaged("bad")->snapshot;
  EXPECT_EQ(read.id, "0a");
  EXPECT_EQ(read.created.time_since_epoch().count(), 1);
  ASSERT_EQ(read.nodes.size(), 2U);
  EXPECT_EQ(read.nodes[0].volume.snapshotFile, "copy of /b");
  EXPECT_EQ(read.nodes[0].provider, "");
  EXPECT_EQ(read.nodes[1].volume.rawDevice, "raw device of /a");
}

TEST_F(StateStoreTest, DamagedIdIsNoBarToRemoval) {
  StateStore store(m_directory.path());
  store.add(makeSnapshot("0a", "bad", 1));
  Database(m_directory.file("state.db"))
      .execute("DELETE FROM node; UPDATE snapshot SET id = x'78', phase = 'sleeping'");
  ASSERT_EQ(store.damagedSnapshots().size(), 1U);
  const std::string id = store.damagedSnapshots().front().snapshot.id;
  EXPECT_EQ(id, "x");
  store.remove(id);
  EXPECT_THAT(store.damagedSnapshots(), testing::IsEmpty());
}

TEST_F(StateStoreTest, ThatIsNoDatabaseIsAFailure) {
  m_directory.write("state.db", std::string(4096, 'x'));
  EXPECT_THAT([&] { StateStore(m_directory.path()); },
              ThrowsMessage<DamagedDatabase>("the state store " + m_directory.file("state.db") +
                                             " cannot be used: file is not a database; \"qmfi recover --rescan\" "
                                             "makes a new one"));
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

TEST_F(StateStoreTest, DisabledAccessThatIsDamagedSpoilsOnlyItself) {
  StateStore store(m_directory.path());
  for (const char* mountPoint : {"/mnt/a", "/mnt/b", "/mnt/c"}) store.save({mountPoint, "sample", "/dev/x", "state"});
  Database(m_directory.file("state.db"))
      .execute(
          "UPDATE disabled_access SET device = x'07' WHERE mount_point = '/mnt/a';"
          " UPDATE disabled_access SET mount_point = CAST(mount_point AS BLOB), state = x'00'"
          " WHERE mount_point = '/mnt/b'");
  const std::vector<DisabledAccess> accesses = store.disabledAccesses();
  ASSERT_EQ(accesses.size(), 3U);
  EXPECT_EQ(accesses[0].mountPoint, "/mnt/a");
  EXPECT_EQ(accesses[0].provider, "sample");
  EXPECT_EQ(accesses[0].damage, "device is no text");
  EXPECT_EQ(accesses[1].mountPoint, "/mnt/b");
  EXPECT_EQ(accesses[1].damage, "state is no text");
  EXPECT_EQ(accesses[2].damage, "");
  EXPECT_EQ(accesses[2].device, "/dev/x");
  for (const char* mountPoint : {"/mnt/a", "/mnt/b"}) {
    ASSERT_TRUE(store.findDisabledAccess(mountPoint)) << mountPoint;
    store.removeDisabledAccess(mountPoint);
    EXPECT_FALSE(store.findDisabledAccess(mountPoint)) << mountPoint;
  }
  EXPECT_EQ(store.disabledAccesses().size(), 1U);
}

TEST_F(StateStoreTest, ListsDisabledAccessByMountPoint) {
  StateStore store(m_directory.path());
  store.save({"/mnt/b", "sample", "/dev/b", "state"});
  store.save({"/mnt/a", "sample", "/dev/a", "state"});
  const std::vector<DisabledAccess> accesses = store.disabledAccesses();
  ASSERT_EQ(accesses.size(), 2U);
  EXPECT_EQ(accesses[0].mountPoint, "/mnt/a");
  EXPECT_EQ(accesses[0].device, "/dev/a");
  EXPECT_EQ(accesses[1].mountPoint, "/mnt/b");
}

}  // namespace
}  // namespace qmfi_host
