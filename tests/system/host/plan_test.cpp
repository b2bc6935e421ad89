// What a snapshot would be, told before it is taken. Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>

#include "host_fixture.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using Json = nlohmann::json;
using testbed_test::Outcome;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;

using PlanTest = HostTest;

// A plan as JSON, or null where what is printed is none.
Json planned(const Outcome& outcome) {
  return Json::parse(outcome.output.substr(0, outcome.output.rfind("\n}\n") + 3), nullptr, false);
}

TEST_F(PlanTest, TellsWhatASnapshotWouldBeAndMakesNothing) {
  const std::string state = "/var/lib/qmfi-of-nobody";
  const Outcome outcome = qmfi(
      {"--state-dir", state, "snapshot", "plan", "/mnt/a", "/mnt/b", "--name", "nightly", "--freeze-timeout", "20"});
  EXPECT_EQ(outcome.status, 0);
  const std::string amounts = "     a full overwrite needs [0-9.]+ [KMG]iB of [0-9.]+ [KMG]iB free\n";
  EXPECT_THAT(outcome.output,
              MatchesRegex("snapshot nightly: nothing is in the way\n"
                           "/mnt/a \\(/dev/qm/dsk/dg1/a, qmfsfi\\), frozen for 20 s at most\n"
                           "  -> /run/qmfi/snapshots/nightly/mnt/a \\(/dev/qm/dsk/dg1/a-XXXXXXXX\\) by reflink\n" +
                           amounts +
                           "/mnt/b \\(/dev/qm/dsk/dg1/b, qmfsfi\\), frozen for 20 s at most\n"
                           "  -> /run/qmfi/snapshots/nightly/mnt/b \\(/dev/qm/dsk/dg1/b-XXXXXXXX\\) by reflink\n" +
                           amounts));
  EXPECT_FALSE(fs::exists(state));
}

TEST_F(PlanTest, SnapshotBecomesWhatWasPlanned) {
  const Json plan = planned(qmfi({"--json", "snapshot", "plan", "/mnt/a"}));
  const Snapshot snapshot = create({"/mnt/a"});
  const SnapshotNode& node = snapshot.nodes.front();
  const auto withId = [&](const std::string& text) {
    return std::regex_replace(text, std::regex("XXXXXXXX"), snapshot.id);
  };
  EXPECT_EQ(plan["possible"], true);
  EXPECT_EQ(plan["obstacles"], Json::array());
  EXPECT_EQ(withId(plan["name"]), snapshot.name);
  const Json& fileSystem = plan["file_systems"][0];
  EXPECT_EQ(fileSystem["mount_point"], node.mountPoint);
  EXPECT_EQ(fileSystem["device"], node.device);
  EXPECT_EQ(withId(fileSystem["snapshot_device"]), node.snapshotDevice);
  EXPECT_EQ(withId(fileSystem["alternate"]), node.alternate);
  EXPECT_EQ(fileSystem["provider"], "qmfsfi");
  EXPECT_EQ(fileSystem["splitter"], "reflink");
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
}

TEST_F(PlanTest, TellsAllThatIsInTheWayAtOnce) {
  create({"/mnt/c"}, {"--name", "nightly"});
  const Outcome outcome =
      qmfi({"snapshot", "plan", "/mnt/a", "/proc", "/run/qmfi/snapshots/nightly/mnt/c", "--name", "nightly"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, ContainsRegex("^snapshot nightly: cannot be taken\n"
                                            "  in the way: a snapshot \"nightly\" exists already\n"
                                            "/mnt/a\n"
                                            "  in the way: /run/qmfi/snapshots/nightly [^\n]*\n"
                                            "/proc\n"
                                            "  in the way: the provider qmfsfi does not claim /proc: no file system of "
                                            "its type is mounted there\n"
                                            "/run/qmfi/snapshots/nightly/mnt/c\n"
                                            "  in the way: [^\n]*nightly[^\n]*\n$"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(PlanTest, AStateThatWouldBeFrozenIsInTheWay) {
  const Outcome outcome = qmfi({"--state-dir", "/mnt/a/state", "snapshot", "plan", "/mnt/a"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(
      outcome.output,
      HasSubstr("  in the way: the state directory /mnt/a/state lies on the file system of /mnt/a, which is to be "
                "frozen; --state-dir names another one\n"));
  EXPECT_FALSE(fs::exists("/mnt/a/state"));
}

TEST_F(PlanTest, ProgramsAreToldWhatIsInTheWay) {
  const Outcome outcome = qmfi({"--json", "snapshot", "plan", "/proc"});
  EXPECT_EQ(outcome.status, 4);
  const Json plan = planned(outcome);
  EXPECT_EQ(plan["possible"], false);
  ASSERT_EQ(plan["file_systems"].size(), 1U);
  EXPECT_EQ(plan["file_systems"][0]["mount_point"], "/proc");
  EXPECT_EQ(plan["file_systems"][0]["obstacles"][0]["id"], "not_claimed");
}

TEST_F(PlanTest, OneFileSystemThatCannotBeSplitHidesNothingOfTheOthers) {
  const Outcome outcome = qmfi({"snapshot", "plan", "/mnt/a", "/mnt/b", "--splitter", "/mnt/b=lvm"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, ContainsRegex("/mnt/a \\(.*\\) by reflink\n"));
  EXPECT_THAT(outcome.output,
              HasSubstr("/mnt/b\n  in the way: the volume /dev/qm/dsk/dg1/b cannot be split by lvm: it is a "
                        "loop device, and no logical volume\n"));
}

TEST_F(PlanTest, WrongWordsAreWrongAsForASnapshot) {
  const Outcome outcome = qmfi({"snapshot", "plan", "/mnt/a", "/mnt/a"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "qmfi: /mnt/a is given twice\n");
}

TEST_F(PlanTest, GoesAsFarAsItsRightsAllow) {
  create({"/mnt/c"}, {"--name", "nightly"});
  const Outcome outcome = testbed_test::run({"/usr/bin/setpriv", "--reuid=1000", "--regid=1000", "--clear-groups", "--",
                                             "/usr/bin/qmfi", "snapshot", "plan", "/mnt/a", "/proc"});
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(
      outcome.output,
      "qmfi: the snapshots that there are cannot be looked at without root's rights: /var/lib/qmfi/state.db cannot "
      "be read: Permission denied\n"
      "snapshot XXXXXXXX: cannot be taken\n"
      "/mnt/a\n"
      "  in the way: the device /dev/qm/dsk/dg1/a cannot be read: Permission denied\n"
      "/proc\n"
      "  in the way: the provider qmfsfi does not claim /proc: no file system of its type is mounted there\n");
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

}  // namespace
}  // namespace host_test
