// Records of snapshots.
#include "state/snapshot_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "failure/host_error.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

Snapshot makeSnapshot() {
  Snapshot snapshot;
  snapshot.id = "17b4f33e";
  snapshot.name = "nightly";
  snapshot.created = Snapshot::Time(std::chrono::microseconds(1732147200000001));
  snapshot.frozen = std::chrono::microseconds(12345);
  snapshot.phase = Phase::ready;
  snapshot.freeze = {"a-run-of-the-machine\n", std::chrono::microseconds(77)};
  snapshot.held = "until\nmay";
  using Moment = FreezeReceipt::Moment;
  snapshot.receipt = {FreezeReceipt::Time(Moment(1000)),
                      FreezeReceipt::Time(Moment(1090)),
                      Moment(50),
                      Moment(40),
                      Moment(60),
                      Moment(80),
                      Moment(2000000),
                      {{Moment(1), Moment(10), Moment(20), Moment(70), Moment(75), ThawAnswer::noFailure}}};
  snapshot.nodes.resize(1);
  snapshot.nodes[0] = {"/mnt/\xff 100%",
                       {"/dev/a", "/dev/a-17b4f33e", "/pool/a", "/pool/a-17b4f33e", "/raw/a-17b4f33e", "lvm"},
                       "/mnt/a_alt",
                       "<MNT_OPTS>rw</MNT_OPTS>\n",
                       "<MNT_OPTS>ro</MNT_OPTS>\n",
                       "sample",
                       0x12345678,
                       std::chrono::seconds(20)};
  return snapshot;
}

constexpr const char* record = R"({
  "record_version": 1,
  "id": "17b4f33e",
  "name": "nightly",
  "created_us": 1732147200000001,
  "frozen_us": 12345,
  "boot_id": "a-run-of-the-machine%0A",
  "freeze_since_start_us": 77,
  "phase": "ready",
  "held": "until%0Amay",
  "receipt": {
    "begin_us": 1000,
    "end_us": 1090,
    "since_start_us": 50,
    "split_began_us": 40,
    "split_ended_us": 60,
    "over_us": 80,
    "may_end_us": 2000000,
    "file_systems": [
      {
        "freeze_asked_us": 1,
        "frozen_us": 10,
        "proven_us": 20,
        "thaw_asked_us": 70,
        "thawed_us": 75,
        "thaw": "no_failure"
      }
    ]
  },
  "nodes": [
    {
      "mount_point": "/mnt/%FF 100%25",
      "device": "/dev/a",
      "snapshot_device": "/dev/a-17b4f33e",
      "volume_file": "/pool/a",
      "snapshot_file": "/pool/a-17b4f33e",
      "raw_device": "/raw/a-17b4f33e",
      "alternate": "/mnt/a_alt",
      "state": "<MNT_OPTS>rw</MNT_OPTS>%0A",
      "alternate_state": "<MNT_OPTS>ro</MNT_OPTS>%0A",
      "provider": "sample",
      "splitter": "lvm",
      "thaw_request": 305419896,
      "kernel_timeout_s": 20
    }
  ]
}
)";

// The record with one text of it replaced.
std::string recordWith(const std::string& from, const std::string& to) {
  std::string text = record;
  return text.replace(text.find(from), from.size(), to);
}

TEST(SnapshotRecord, HoldsAllThatIsKnown) {
  EXPECT_EQ(recordOf(makeSnapshot()), record);
}

TEST(SnapshotRecord, GivesBackTheSnapshotByteForByte) {
  const Snapshot snapshot = snapshotOfRecord(record);
  EXPECT_EQ(snapshot.id, "17b4f33e");
  EXPECT_EQ(snapshot.created, makeSnapshot().created);
  ASSERT_EQ(snapshot.nodes.size(), 1U);
  EXPECT_EQ(snapshot.nodes[0].mountPoint, "/mnt/\xff 100%");
  EXPECT_EQ(snapshot.nodes[0].state, "<MNT_OPTS>rw</MNT_OPTS>\n");
  EXPECT_EQ(snapshot.nodes[0].volume.splitter, "lvm");
  EXPECT_EQ(snapshot.nodes[0].thawRequest, 0x12345678U);
  EXPECT_EQ(snapshot.freeze.bootId, "a-run-of-the-machine\n");
  EXPECT_EQ(snapshot.nodes[0].kernelTimeout, std::chrono::seconds(20));
  EXPECT_EQ(recordOf(snapshot), record);
}

TEST(SnapshotRecord, OfTheTimeBeforeThereWereSeveralSplittersIsTheFirstOnes) {
  EXPECT_EQ(snapshotOfRecord(recordWith("      \"splitter\": \"lvm\",\n", "")).nodes[0].volume.splitter, "reflink");
}

TEST(SnapshotRecord, OfTheTimeBeforeThereWereReceiptsHasNone) {
  std::string text = record;
  const std::size_t begin = text.find("  \"held\"");
  text.erase(begin, text.find("  \"nodes\"") - begin);
  const Snapshot snapshot = snapshotOfRecord(text);
  EXPECT_EQ(snapshot.held, "");
  EXPECT_FALSE(snapshot.receipt);
}

TEST(SnapshotRecord, OfASnapshotThatIsNotFrozenYetHasNoReceipt) {
  Snapshot snapshot = makeSnapshot();
  snapshot.receipt.reset();
  EXPECT_THAT(recordOf(snapshot), HasSubstr("\n  \"receipt\": null,\n"));
  EXPECT_FALSE(snapshotOfRecord(recordOf(snapshot)).receipt);
}

TEST(SnapshotRecord, ThatMakesNoSenseIsAFailureThatSaysWhy) {
  const struct {
    std::string text;
    const char* reason;
  } cases[] = {
      {"", "parse error"},
      {std::string(record).substr(0, 100), "parse error"},
      {"[]", "cannot use at() with array"},
      {recordWith("\"id\"", "\"other\""), "key 'id' not found"},
      {recordWith("\"17b4f33e\"", "\"../evil\""), "cannot name a snapshot"},
      {recordWith("\"nightly\"", "7"), "type must be string"},
      {recordWith("\"phase\": \"ready\"", "\"phase\": \"sleeping\""), "sleeping"},
      {recordWith("\"record_version\": 1", "\"record_version\": 2"), "it is of a later version"},
      {recordWith("\"no_failure\"", "\"maybe\""), "the receipt knows no thaw"},
      {recordWith("\"split_ended_us\": 60", "\"split_ended_us\": true"), "the receipt makes no sense"},
      {recordWith("%FF", "%F"), "holds a % that begins no byte"},
      {recordWith("%0A\",\n      \"alternate_state\"", "%\",\n      \"alternate_state\""), "begins no byte"},
  };
  for (const auto& one : cases) {
    EXPECT_THAT([&] { snapshotOfRecord(one.text); }, ThrowsMessage<HostError>(HasSubstr(one.reason))) << one.text;
  }
}

}  // namespace
}  // namespace qmfi_host
