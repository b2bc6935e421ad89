// From records to the state store.
#include "snapshot/snapshot_rescan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_provider.h"
#include "state/snapshot_record.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SnapshotRescanTest : public testing::Test {
 protected:
  static Snapshot makeSnapshot(const std::string& id, const std::string& name, Phase phase) {
    Snapshot snapshot;
    snapshot.id = id;
    snapshot.name = name;
    snapshot.phase = phase;
    for (const std::string part : {"a", "b"}) {
      const std::string suffix = "-" + id;
      snapshot.nodes.push_back(
          {"/mnt/" + part,
           {"/dev/" + part, "/dev/" + part + suffix, "/pool/" + part, "/pool/" + part + suffix, ""},
           "/alternates/" + part + suffix,
           "",
           "",
           "sample"});
    }
    return snapshot;
  }

  // A record beside one of the copies.
  void keep(const Snapshot& snapshot, std::size_t node) {
    m_splitter.found.push_back({snapshot.nodes[node].volume.snapshotFile, recordOf(snapshot)});
  }

  bool rescan() {
    return qmfi_host::rescan(m_store, m_splitters, [&](const std::string& id) { m_found.push_back(id); });
  }

  TemporaryDirectory m_directory;
  Journal m_journal;
  FakeSplitter m_splitter{m_journal};
  Splitters m_splitters{{&m_splitter}};
  StateStore m_store{m_directory.path()};
  std::vector<std::string> m_found;
};

TEST_F(SnapshotRescanTest, EntersWhatTheStoreDoesNotKnow) {
  const Snapshot lost = makeSnapshot("0a", "lost", Phase::ready);
  const Snapshot known = makeSnapshot("0b", "known", Phase::unmounted);
  m_store.add(known);
  for (const std::size_t node : {0U, 1U}) {
    keep(lost, node);
    keep(known, node);
  }
  EXPECT_TRUE(rescan());
  EXPECT_THAT(m_found, ElementsAre("0a"));
  EXPECT_EQ(recordOf(*m_store.find("0a")), recordOf(lost));
  EXPECT_EQ(m_store.find("0b")->phase, Phase::unmounted);
  m_found.clear();
  EXPECT_TRUE(rescan());
  EXPECT_THAT(m_found, IsEmpty());
}

TEST_F(SnapshotRescanTest, RepairsADamagedSnapshot) {
  const Snapshot snapshot = makeSnapshot("0a", "nightly", Phase::ready);
  m_store.add(snapshot);
  keep(snapshot, 0);
  Database(m_directory.file("state.db")).execute("UPDATE node SET state = x'00'");
  EXPECT_TRUE(rescan());
  EXPECT_THAT(m_found, ElementsAre("0a"));
  EXPECT_EQ(recordOf(*m_store.find("0a")), recordOf(snapshot));
}

TEST_F(SnapshotRescanTest, TakesTheRecordOfTheCompleteSnapshotWhereTheyDiffer) {
  keep(makeSnapshot("0a", "nightly", Phase::freezing), 0);
  keep(makeSnapshot("0a", "nightly", Phase::ready), 1);
  EXPECT_TRUE(rescan());
  EXPECT_EQ(m_store.find("0a")->phase, Phase::ready);
}

TEST_F(SnapshotRescanTest, RecordThatIsOfNoUseKeepsNoOther) {
  const Snapshot taken = makeSnapshot("0a", "nightly", Phase::ready);
  Snapshot elsewhere = makeSnapshot("0c", "moved", Phase::ready);
  m_splitter.found.push_back({"/pool/x-0b", "no record"});
  m_splitter.found.push_back({"/other/a-0c", recordOf(elsewhere)});
  keep(taken, 0);
  keep(makeSnapshot("0d", "nightly", Phase::ready), 0);
  keep(makeSnapshot("0e", "good", Phase::ready), 0);
  testing::internal::CaptureStderr();
  EXPECT_FALSE(rescan());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::MatchesRegex("qmfi: the record of /pool/x-0b is of no use: [^\n]*\n"
                                    "qmfi: the record of /other/a-0c is of no use: it tells of other files\n"
                                    "qmfi: a snapshot \"nightly\" exists already\n"));
  EXPECT_THAT(m_found, ElementsAre("0a", "0e"));
}

}  // namespace
}  // namespace qmfi_host
