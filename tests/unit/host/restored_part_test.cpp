// What of a snapshot is restored.
#include "snapshot/restored_part.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

Snapshot snapshotOf(const std::vector<std::string>& mountPoints) {
  Snapshot snapshot;
  snapshot.name = "nightly";
  for (const std::string& mountPoint : mountPoints) {
    SnapshotNode node;
    node.mountPoint = mountPoint;
    snapshot.nodes.push_back(node);
  }
  return snapshot;
}

// "PATH = MOUNTPOINT + INSIDE" of each.
std::vector<std::string> chosen(const std::vector<std::string>& mountPoints, const std::vector<std::string>& paths) {
  std::vector<std::string> texts;
  for (const RestoredPart& part : partsOf(snapshotOf(mountPoints), paths)) {
    texts.push_back(part.path + " = " + part.node.mountPoint + " + " + part.inside);
  }
  return texts;
}

TEST(RestoredParts, WithoutPathsAreAllFileSystemsThoseWithinOthersBehindThese) {
  EXPECT_THAT(chosen({"/mnt/a/inner", "/mnt/a", "/mnt/b"}, {}),
              ElementsAre("/mnt/a = /mnt/a + ", "/mnt/b = /mnt/b + ", "/mnt/a/inner = /mnt/a/inner + "));
}

TEST(RestoredParts, LieInTheInnermostFileSystemAboveThem) {
  EXPECT_THAT(chosen({"/mnt/a/inner", "/mnt/a", "/mnt/ab"},
                     {"/mnt/a/inner/x/y", "/mnt/a/innermost", "/mnt/ab", "/mnt/a/x", "/mnt/a/inner"}),
              ElementsAre("/mnt/a/inner/x/y = /mnt/a/inner + x/y", "/mnt/a/innermost = /mnt/a + innermost",
                          "/mnt/ab = /mnt/ab + ", "/mnt/a/x = /mnt/a + x", "/mnt/a/inner = /mnt/a/inner + "));
  EXPECT_THAT(chosen({"/"}, {"/", "/etc"}), ElementsAre("/ = / + ", "/etc = / + etc"));
}

TEST(RestoredParts, AreNamedWithoutNeedlessSlashes) {
  EXPECT_THAT(chosen({"/mnt/a"}, {"//mnt///a/./x//", "/mnt/a/"}),
              ElementsAre("/mnt/a/x = /mnt/a + x", "/mnt/a = /mnt/a + "));
}

TEST(RestoredParts, KeepNamesThatAreNoText) {
  EXPECT_THAT(chosen({"/mnt/a"}, {"/mnt/a/-x:*\n\xff"}), ElementsAre("/mnt/a/-x:*\n\xff = /mnt/a + -x:*\n\xff"));
}

TEST(RestoredParts, PathInNoFileSystemOfTheSnapshotIsNotFound) {
  for (const std::string path : {"/mnt", "/mnt/abc", "/srv/x"}) {
    try {
      partsOf(snapshotOf({"/mnt/a", "/mnt/ab"}), {path});
      FAIL() << path;
    } catch (const HostError& error) {
      EXPECT_EQ(error.what(), "the snapshot nightly has no " + path);
      EXPECT_EQ(error.exitStatus(), ExitStatus::notFound);
      EXPECT_EQ(error.object(), path);
    }
  }
}

TEST(RestoredParts, PathThatCanBeMeantInSeveralWaysIsRefused) {
  const auto choose = [](const std::vector<std::string>& paths) { partsOf(snapshotOf({"/mnt/a"}), paths); };
  EXPECT_THAT([&] { choose({"mnt/a"}); },
              ThrowsMessage<UsageError>("\"mnt/a\" is no absolute path; what is restored is named by one"));
  EXPECT_THAT([&] { choose({""}); },
              ThrowsMessage<UsageError>("\"\" is no absolute path; what is restored is named by one"));
  EXPECT_THAT([&] { choose({"/mnt/a/../b"}); },
              ThrowsMessage<UsageError>("\"/mnt/a/../b\" has \"..\" in it; name the path without"));
  EXPECT_THAT([&] { choose({"/mnt/a/x", "/mnt/a//x/"}); }, ThrowsMessage<UsageError>("/mnt/a/x is given twice"));
}

}  // namespace
}  // namespace qmfi_host
