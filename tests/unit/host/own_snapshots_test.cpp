// What counts as part of a snapshot.
#include "snapshot/own_snapshots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "failure/host_error.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

class OwnSnapshotsTest : public testing::Test {
 protected:
  OwnSnapshotsTest() {
    Snapshot snapshot;
    snapshot.id = "17b4f33e";
    snapshot.name = "nightly";
    snapshot.nodes = {
        {"/mnt/a", {"/dev/a", "/dev/a-1", "/pool/a", "/pool/a-1", "/raw/a-1"}, "/snapshots/nightly/mnt/a", "", ""}};
    m_store.add(snapshot);
  }

  TemporaryDirectory m_directory;
  StateStore m_store{m_directory.path()};
};

TEST_F(OwnSnapshotsTest, DirectoryAlternatesWhatIsInThemAndTheDevicesAreRefused) {
  for (const std::string path : {"/snapshots/nightly/mnt/a", "/snapshots/nightly/mnt/a/inner", "/snapshots/nightly",
                                 "/snapshots/nightly/mnt/ab", "/dev/a-1", "/raw/a-1"}) {
    EXPECT_THAT(
        [&] { requireNoSnapshot(m_store, path); },
        ThrowsMessage<HostError>(path + " is part of the snapshot nightly, which stays as it is; \"qmfi snapshot "
                                        "unmount\" and \"delete\" take it away"));
  }
}

TEST_F(OwnSnapshotsTest, FileSystemThatASnapshotIsOfIsNone) {
  for (const char* path : {"/mnt/a", "/dev/a", "/snapshots/nightly2/mnt/a", "/snapshots", "/proc", "", "/dev"}) {
    EXPECT_NO_THROW(requireNoSnapshot(m_store, path)) << path;
  }
}

}  // namespace
}  // namespace qmfi_host
