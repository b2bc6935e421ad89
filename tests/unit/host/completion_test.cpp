// What a shell offers for the words of qmfi.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "cli/command_line.h"

namespace qmfi_host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// The words that are offered in place of the last one, a line for each.
std::string offered(std::vector<const char*> words) {
  words.insert(words.begin(), {"qmfi", "complete"});
  std::ostringstream out;
  std::ostringstream errors;
  EXPECT_EQ(runCommandLine(static_cast<int>(words.size()), words.data(), out, errors), 0);
  EXPECT_EQ(errors.str(), "");
  return out.str();
}

TEST(Completion, OffersTheCommandsThatBeginSo) {
  EXPECT_EQ(offered({"sn"}), "snapshot\n");
  EXPECT_EQ(offered({"access", ""}), "disable\nenable\nlist\n");
  EXPECT_EQ(offered({"access", "nonsense"}), "");
  EXPECT_THAT(offered({}), HasSubstr("thaw\n"));
}

TEST(Completion, OffersTheOptionsOfTheCommandAndOfAll) {
  EXPECT_EQ(offered({"snapshot", "create", "--n"}), "--name\n--no-hooks\n");
  EXPECT_EQ(offered({"snapshot", "create", "--prov"}), "--provider\n--provider-dir\n");
  EXPECT_THAT(offered({"snapshot", "list", "--"}), AllOf(HasSubstr("--json\n"), Not(HasSubstr("--name\n"))));
}

TEST(Completion, StepsOverTheValuesOfOptions) {
  EXPECT_EQ(offered({"--provider", "snapshot", "acc"}), "access\n");
  EXPECT_EQ(offered({"--json", "acc"}), "access\n");
  EXPECT_EQ(offered({"--provider=snapshot", "acc"}), "access\n");
}

TEST(Completion, LeavesTheValuesOfOptionsToTheShell) {
  EXPECT_EQ(offered({"--state-dir", ""}), "");
  EXPECT_EQ(offered({"snapshot", "create", "--name", "s"}), "");
}

TEST(Completion, OffersMountPointsOfDevicesOnly) {
  EXPECT_THAT(offered({"snapshot", "create", ""}), Not(HasSubstr("/proc\n")));
}

TEST(Completion, LeavesPathsBehindASnapshotToTheShell) {
  EXPECT_EQ(offered({"snapshot", "restore", "nightly", ""}), "");
  EXPECT_EQ(offered({"snapshot", "restore", "nightly", "--to", ""}), "");
  EXPECT_EQ(offered({"snapshot", "restore", "nightly", "--i"}), "--in-place\n");
}

TEST(Completion, OffersNoSnapshotsWhereNoneAreKnown) {
  EXPECT_EQ(offered({"--state-dir", "/nonexistent", "snapshot", "show", "zzz"}), "");
}

}  // namespace
}  // namespace qmfi_host
