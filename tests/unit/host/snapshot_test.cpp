// Names, phases and output of snapshots.
#include "state/snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "../runtime/scoped_environment.h"
#include "cli/snapshot_output.h"
#include "failure/host_error.h"

namespace qmfi_host {
namespace {

Snapshot makeSnapshot() {
  Snapshot snapshot;
  snapshot.id = "17b4f33e";
  snapshot.name = "nightly";
  snapshot.created = Snapshot::Time(std::chrono::seconds(1732147200));
  snapshot.frozen = std::chrono::microseconds(12345);
  snapshot.phase = Phase::ready;
  snapshot.nodes.resize(2);
  snapshot.nodes[0] = {"/mnt/a", {"/dev/a", "/dev/a-17b4f33e", "/pool/a", "/pool/a-17b4f33e"}, "/mnt/a_alt", "", ""};
  snapshot.nodes[1] = {"/mnt/b", {"/dev/b", "/dev/b-17b4f33e", "/pool/b", "/pool/b-17b4f33e"}, "/mnt/b_alt", "", ""};
  return snapshot;
}

template <typename Snapshots>
std::string json(const Snapshots& snapshots) {
  std::ostringstream text;
  printJson(text, snapshots);
  return text.str();
}

TEST(Snapshot, IdIsEightHexadecimalDigitsAndNewEachTime) {
  const std::string id = newSnapshotId();
  EXPECT_EQ(id.size(), 8U);
  EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(newSnapshotId(), id);
}

TEST(Snapshot, NameIsAWord) {
  for (const char* name : {"a", "nightly-2026.11_21", "-"}) EXPECT_NO_THROW(requireSnapshotName(name)) << name;
  EXPECT_NO_THROW(requireSnapshotName(std::string(64, 'x')));
  for (const char* name : {"", "a b", "a/b", "a\nb", "\xc3\xa4", "$(reboot)"}) {
    EXPECT_THROW(requireSnapshotName(name), UsageError) << name;
  }
  EXPECT_THROW(requireSnapshotName(std::string(65, 'x')), UsageError);
}

TEST(Snapshot, PhaseIsFoundByItsName) {
  const std::pair<Phase, const char*> names[] = {
      {Phase::preparing, "preparing"}, {Phase::freezing, "freezing"},     {Phase::attaching, "attaching"},
      {Phase::mounting, "mounting"},   {Phase::ready, "ready"},           {Phase::unmounting, "unmounting"},
      {Phase::unmounted, "unmounted"}, {Phase::remounting, "remounting"}, {Phase::deleting, "deleting"},
  };
  for (const auto& [phase, name] : names) {
    EXPECT_EQ(phaseName(phase), name);
    EXPECT_EQ(phaseOfName(name), phase);
  }
  EXPECT_THROW(phaseOfName("sleeping"), HostError);
}

TEST(Snapshot, IsAtRestOnlyWhenItIsComplete) {
  for (int phase = 0; phase <= static_cast<int>(Phase::deleting); ++phase) {
    const auto one = static_cast<Phase>(phase);
    EXPECT_EQ(isAtRest(one), one == Phase::ready || one == Phase::unmounted) << phaseName(one);
  }
}

TEST(SnapshotOutput, JsonHasTheKeysThatProgramsReadInTheirOrder) {
  EXPECT_EQ(json(makeSnapshot()), R"({
  "id": "17b4f33e",
  "name": "nightly",
  "frozen_us": 12345,
  "nodes": [
    {
      "mount_point": "/mnt/a",
      "device": "/dev/a",
      "snapshot_device": "/dev/a-17b4f33e",
      "alternate": "/mnt/a_alt"
    },
    {
      "mount_point": "/mnt/b",
      "device": "/dev/b",
      "snapshot_device": "/dev/b-17b4f33e",
      "alternate": "/mnt/b_alt"
    }
  ]
}
)");
}

TEST(SnapshotOutput, JsonOfNoSnapshotsIsAnEmptyArray) {
  EXPECT_EQ(json(std::vector<Snapshot>()), "[]\n");
}

TEST(SnapshotOutput, JsonReplacesBytesThatAreNoText) {
  Snapshot snapshot = makeSnapshot();
  snapshot.nodes.resize(1);
  snapshot.nodes[0].mountPoint = "/mnt/\xff";
  EXPECT_THAT(json(snapshot), testing::HasSubstr("\"/mnt/\xef\xbf\xbd\""));
}

TEST(SnapshotOutput, MillisecondsHaveOneDecimal) {
  const struct {
    int microseconds;
    const char* text;
  } cases[] = {{0, "0.0 ms"}, {49, "0.0 ms"}, {51, "0.1 ms"}, {12345, "12.3 ms"}, {2000000, "2000.0 ms"}};
  for (const auto& one : cases) EXPECT_EQ(millisecondsText(std::chrono::microseconds(one.microseconds)), one.text);
}

TEST(SnapshotOutput, ListHasALineForEachSnapshot) {
  const ScopedEnvironment zone("TZ", "UTC");
  std::ostringstream text;
  printText(text, std::vector<Snapshot>{makeSnapshot()});
  EXPECT_EQ(text.str(),
            "ID        NAME     CREATED              FROZEN FOR  STATE       FILE SYSTEMS\n"
            "17b4f33e  nightly  2024-11-21 00:00:00  12.3 ms     ready       /mnt/a /mnt/b\n");
}

TEST(SnapshotOutput, OneSnapshotIsShownWithItsFileSystems) {
  const ScopedEnvironment zone("TZ", "UTC");
  std::ostringstream text;
  printText(text, makeSnapshot());
  EXPECT_EQ(text.str(),
            "snapshot   17b4f33e\n"
            "name       nightly\n"
            "created    2024-11-21 00:00:00\n"
            "frozen for 12.3 ms\n"
            "state      ready\n"
            "/mnt/a (/dev/a)\n"
            "  -> /mnt/a_alt (/dev/a-17b4f33e)\n"
            "/mnt/b (/dev/b)\n"
            "  -> /mnt/b_alt (/dev/b-17b4f33e)\n");
}

}  // namespace
}  // namespace qmfi_host
