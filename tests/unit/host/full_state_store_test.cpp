// The state store on a disk without room: what makes room can be forgotten, and nothing is half done.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "full_disk.h"
#include "state/state_store.h"
#include "support/temporary_directory.h"

// In the place of the C library's.
extern "C" int fsync(int descriptor) {
  if (qmfi_host::errorOfFsync == 0) return static_cast<int>(syscall(SYS_fsync, descriptor));
  errno = qmfi_host::errorOfFsync;
  return -1;
}

namespace qmfi_host {
namespace {

class FullStateStoreTest : public testing::Test {
 protected:
  FullStateStoreTest() {
    m_snapshot.id = "0a";
    m_snapshot.name = "nightly";
    m_snapshot.nodes.emplace_back();
    m_snapshot.nodes.back().mountPoint = "/data";
    m_store.add(m_snapshot);
    m_store.save({"/data", "provider", "/dev/data", "state"});
  }

  TemporaryDirectory m_directory;
  StateStore m_store{m_directory.path()};
  Snapshot m_snapshot;
};

// A quota, and a journal that cannot be made at all, too.
TEST_F(FullStateStoreTest, ForgetsSnapshots) {
  struct Case {
    int result;
    int systemError;
  };
  for (const Case one : {Case{SQLITE_FULL, ENOSPC}, Case{SQLITE_CANTOPEN, ENOENT}, Case{SQLITE_IOERR_WRITE, EDQUOT},
                         Case{SQLITE_IOERR_FSYNC, ENOSPC}}) {
    {
      const FullDisk full(one.result, one.systemError);
      m_store.remove("0a");
    }
    EXPECT_FALSE(StateStore(m_directory.path()).find("0a")) << one.result;
    m_store.add(m_snapshot);
  }
}

TEST_F(FullStateStoreTest, ForgetsDisabledAccess) {
  const FullDisk full;
  m_store.removeDisabledAccess("/data");
  EXPECT_FALSE(StateStore(m_directory.path()).findDisabledAccess("/data"));
}

TEST_F(FullStateStoreTest, ChangesThePhaseOfASnapshot) {
  const FullDisk full;
  Snapshot changed = m_snapshot;
  changed.phase = Phase::unmounted;
  changed.name = "not written";
  m_store.updatePhase(changed);
  const auto known = StateStore(m_directory.path()).find("0a");
  ASSERT_TRUE(known);
  EXPECT_EQ(known->phase, Phase::unmounted);
  EXPECT_EQ(known->name, "nightly");
  EXPECT_EQ(known->nodes.size(), 1U);
}

TEST_F(FullStateStoreTest, KeepsWhatCannotBeChanged) {
  const FullDisk full;
  Snapshot changed = m_snapshot;
  changed.phase = Phase::deleting;
  EXPECT_THAT([&] { m_store.update(changed); },
              testing::ThrowsMessage<FullStorage>("the state store " + m_directory.file("state.db") +
                                                  " cannot be used: database or disk is full"));
  try {
    m_store.update(changed);
    FAIL() << "there is room";
  } catch (const FullStorage& error) {
    EXPECT_EQ(error.object(), m_directory.file("state.db"));
    EXPECT_EQ(error.cause(), "database or disk is full");
  }
  ASSERT_TRUE(m_store.find("0a"));
  EXPECT_EQ(m_store.find("0a")->phase, m_snapshot.phase);
}

TEST_F(FullStateStoreTest, OnABadDiskForgetsNothing) {
  {
    const FullDisk bad(SQLITE_IOERR_WRITE, EIO);
    EXPECT_THROW(m_store.remove("0a"), HostError);
  }
  EXPECT_TRUE(m_store.find("0a"));
}

// The database has no word for why.
TEST_F(FullStateStoreTest, ForgetsSnapshotsWhereTheDirectoryHasNoRoom) {
  {
    const FullDirectory full;
    m_store.remove("0a");
  }
  EXPECT_FALSE(StateStore(m_directory.path()).find("0a"));
}

TEST_F(FullStateStoreTest, DirectoryThatFailsOnceIsNotTakenForFull) {
  const FullDirectory failing(0);
  try {
    m_store.remove("0a");
    ADD_FAILURE() << "nothing was thrown";
  } catch (const FullStorage&) {
    ADD_FAILURE() << "it is taken for full";
  } catch (const HostError& error) {
    EXPECT_EQ(error.what(), "the state store " + m_directory.file("state.db") + " cannot be used: disk I/O error");
  }
}

TEST_F(FullStateStoreTest, ChangeStandsWhoseEndCouldNotBeWrittenOut) {
  for (const int error : {ENOSPC, 0}) {
    m_snapshot.phase = error == 0 ? Phase::deleting : Phase::unmounted;
    testing::internal::CaptureStderr();
    {
      const FullDirectory full(error);
      m_store.update(m_snapshot);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              error == 0 ? ""
                         : "qmfi: the directory of the state store " + m_directory.file("state.db") +
                               " could not be written out (No space left on device): a power cut may undo the last "
                               "change, and \"qmfi recover\" cleans up then\n");
    EXPECT_EQ(StateStore(m_directory.path()).find("0a")->phase, m_snapshot.phase);
  }
}

TEST_F(FullStateStoreTest, HasAJournalAgainAfterwards) {
  {
    const FullDisk full;
    m_store.remove("0a");
  }
  const FullDisk full;
  EXPECT_THROW(m_store.add(m_snapshot), FullStorage);
}

}  // namespace
}  // namespace qmfi_host
