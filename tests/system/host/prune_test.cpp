// Which snapshots a retention rule leaves.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "host_fixture.h"

namespace host_test {
namespace {

using PruneTest = HostTest;

std::string line(const Snapshot& snapshot, const std::string& fate) {
  return "snapshot " + snapshot.id + " (" + snapshot.name + ") " + fate + "\n";
}

TEST_F(PruneTest, RemovesWhatNoRuleKeepsAndTouchesNoOtherName) {
  const Snapshot oldest = create({"/mnt/a"}, {"--name", "nightly-1"});
  const Snapshot other = create({"/mnt/a"}, {"--name", "weekly-1"});
  const Snapshot older = create({"/mnt/a"}, {"--name", "nightly-2"});
  const Snapshot newest = create({"/mnt/a"}, {"--name", "nightly-3"});
  const auto tried = qmfi({"snapshot", "prune", "nightly-*", "--keep-last", "2", "--dry-run"});
  EXPECT_EQ(tried.status, 0);
  EXPECT_EQ(tried.output, line(oldest, "would be deleted: no rule keeps it") + line(older, "kept: last") +
                              line(newest, "kept: last"));
  EXPECT_EQ(listedSnapshots().size(), 4U);
  const auto pruned = qmfi({"snapshot", "prune", "nightly-*", "--keep-last", "1"});
  EXPECT_EQ(pruned.status, 0);
  EXPECT_EQ(pruned.output, line(oldest, "deleted: no rule keeps it") + line(older, "deleted: no rule keeps it") +
                               line(newest, "kept: last"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "weekly-1", "nightly-3"}).status, 0);
}

TEST_F(PruneTest, WithoutARuleRemovesNothing) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  const auto outcome = qmfi({"snapshot", "prune", "*"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "qmfi: no rule says which snapshots are kept: --keep-last, --keep-hourly and others do\n");
  EXPECT_EQ(qmfi({"snapshot", "prune", "*", "--keep-last", "0"}).status, 2);
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(PruneTest, TellsProgramsOfEachSnapshot) {
  const Snapshot older = create({"/mnt/a"}, {"--name", "one"});
  const Snapshot newer = create({"/mnt/a"}, {"--name", "two"});
  const auto expected = [&](const std::string& fate) {
    return nlohmann::json{{{"id", older.id}, {"name", "one"}, {"outcome", fate}, {"reasons", {"no rule keeps it"}}},
                          {{"id", newer.id}, {"name", "two"}, {"outcome", "kept"}, {"reasons", {"last"}}}};
  };
  EXPECT_EQ(nlohmann::json::parse(qmfi({"snapshot", "prune", "*", "--keep-last", "1", "--dry-run", "--json"}).output),
            expected("would be deleted"));
  EXPECT_EQ(nlohmann::json::parse(qmfi({"snapshot", "prune", "*", "--keep-last", "1", "--json"}).output),
            expected("deleted"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "two"}).status, 0);
}

TEST_F(PruneTest, ThatIsInUseIsToldAndDoesNotKeepTheOthers) {
  const Snapshot used = create({"/mnt/a"}, {"--name", "one"});
  const Snapshot unused = create({"/mnt/b"}, {"--name", "two"});
  const Snapshot newest = create({"/mnt/a"}, {"--name", "three"});
  {
    HeldProgram program({"/bin/sh", "-c", "cd " + used.nodes[0].alternate + " && exec cat"}, HeldProgram::By::input);
    const auto pruned = qmfi({"snapshot", "prune", "*", "--keep-last", "1"});
    EXPECT_EQ(pruned.status, 3);
    EXPECT_THAT(pruned.output, testing::StartsWith("qmfi: the snapshot one is in use; "));
    EXPECT_THAT(pruned.output,
                testing::EndsWith(line(unused, "deleted: no rule keeps it") + line(newest, "kept: last")));
  }
  EXPECT_EQ(qmfi({"snapshot", "delete", "one", "three"}).status, 0);
}

TEST_F(PruneTest, ThatIsWorkedOnIsLeftAloneAndTold) {
  BackgroundQmfi background({"snapshot", "run", "/mnt/a", "--name", "lent", "--freeze-timeout", "20", "--", "/bin/sh",
                             "-c", "trap 'exit 7' TERM; while :; do sleep 0.1; done"});
  ASSERT_TRUE(waitForState("lent"));
  const std::string id = listedId();
  const Snapshot newest = create({"/mnt/a"}, {"--name", "newest"});
  const auto pruned = qmfi({"snapshot", "prune", "*", "--keep-last", "1"});
  EXPECT_EQ(pruned.status, 0);
  EXPECT_EQ(pruned.output,
            "snapshot " + id + " (lent) left alone: another qmfi works on it\n" + line(newest, "kept: last"));
  EXPECT_EQ(qmfi({"snapshot", "delete", "newest"}).status, 0);
  background.send(SIGTERM);
  background.wait();
}

TEST_F(PruneTest, ThatIsHeldStaysUntilItIsReleased) {
  const Snapshot held = create({"/mnt/a"}, {"--name", "held"});
  const Snapshot newest = create({"/mnt/a"}, {"--name", "newest"});
  const auto told = qmfi({"snapshot", "hold", "held", "none", "--reason", "for the audit"});
  EXPECT_EQ(told.status, 3);
  EXPECT_EQ(told.output, "snapshot held held\nqmfi: there is no snapshot \"none\"\n");
  EXPECT_THAT(qmfi({"snapshot", "show", "held"}).output, testing::HasSubstr("\nheld       for the audit\n"));
  EXPECT_THAT(qmfi({"snapshot", "list"}).output, testing::HasSubstr("  ready, held  "));
  EXPECT_EQ(nlohmann::json::parse(qmfi({"snapshot", "show", "held", "--json"}).output).at("held"), "for the audit");
  for (const auto& words : {std::vector<std::string>{"snapshot", "delete", "held"},
                            std::vector<std::string>{"snapshot", "delete", "--force", held.id}}) {
    const auto refused = qmfi(words);
    EXPECT_EQ(refused.status, 5);
    EXPECT_EQ(refused.output,
              "qmfi: the snapshot held is held (for the audit); \"qmfi snapshot release held\" lets it be removed\n");
  }
  const auto pruned = qmfi({"snapshot", "prune", "*", "--keep-last", "1"});
  EXPECT_EQ(pruned.status, 0);
  EXPECT_EQ(pruned.output, line(held, "left alone: it is held (for the audit)") + line(newest, "kept: last"));
  EXPECT_EQ(qmfi({"snapshot", "release", held.id}).output, "snapshot " + held.id + " released\n");
  EXPECT_EQ(qmfi({"snapshot", "delete", "held", "newest"}).status, 0);
}

TEST_F(PruneTest, HoldOutlivesTheDatabase) {
  const Snapshot held = create({"/mnt/a"}, {"--name", "held"});
  EXPECT_EQ(qmfi({"snapshot", "hold", "held"}).status, 0);
  std::filesystem::remove("/var/lib/qmfi/state.db");
  EXPECT_EQ(qmfi({"recover", "--rescan"}).output, "snapshot " + held.id + " found\n");
  EXPECT_EQ(
      qmfi({"snapshot", "delete", "held"}).output,
      "qmfi: the snapshot held is held (no reason was given); \"qmfi snapshot release held\" lets it be removed\n");
  EXPECT_EQ(qmfi({"snapshot", "release", "held"}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "delete", "held"}).status, 0);
}

}  // namespace
}  // namespace host_test
