// Names, phases and output of snapshots.
#include "state/snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "cli/snapshot_metrics.h"
#include "cli/snapshot_output.h"
#include "cli/snapshot_table.h"
#include "failure/host_error.h"
#include "german_texts.h"
#include "support/environment.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

Snapshot makeSnapshot() {
  Snapshot snapshot;
  snapshot.id = "17b4f33e";
  snapshot.name = "nightly";
  snapshot.created = Snapshot::Time(std::chrono::seconds(1732147200));
  snapshot.frozen = std::chrono::microseconds(12345);
  snapshot.phase = Phase::ready;
  snapshot.nodes.resize(2);
  snapshot.nodes[0] = {"/mnt/a", {"/dev/a", "/dev/a-17b4f33e", "/pool/a", "/pool/a-17b4f33e"}, "/mnt/a_alt", "", "",
                       "sample"};
  snapshot.nodes[1] = {"/mnt/b", {"/dev/b", "/dev/b-17b4f33e", "/pool/b", "/pool/b-17b4f33e"}, "/mnt/b_alt", "", "",
                       "sample"};
  snapshot.nodes[1].volume.splitter = "lvm";
  return snapshot;
}

SnapshotStatus makeStatus() {
  const Snapshot snapshot = makeSnapshot();
  constexpr std::uint64_t mebibyte = 1 << 20;
  return {
      snapshot,
      "unmounted",
      {{{.bytes = 3 * mebibyte, .needs = 2 * mebibyte, .free = 5 * mebibyte}, true}, {{.bytes = mebibyte / 2}, false}},
      {}};
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

TEST(Snapshot, NameOfADirectoryIsNone) {
  for (const std::string name : {".", ".."}) {
    EXPECT_THAT([&] { requireSnapshotName(name); },
                ThrowsMessage<UsageError>("\"" + name + "\" cannot name a snapshot: it names a directory"));
  }
  EXPECT_NO_THROW(requireSnapshotName("..."));
}

TEST(Snapshot, NameIsNothingThatMayBeTheIdOfAnother) {
  for (const std::string name : {"17b4f33e", "DEADBEEF", "12345678"}) {
    EXPECT_THAT([&] { requireUsersSnapshotName(name); },
                ThrowsMessage<UsageError>(
                    "\"" + name + "\" cannot name a snapshot: eight hexadecimal digits are an id, perhaps another's"));
  }
  for (const char* name : {"17b4f33", "17b4f33e0", "17b4f33g"}) EXPECT_NO_THROW(requireUsersSnapshotName(name)) << name;
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
  EXPECT_EQ(json(makeStatus()), R"({
  "id": "17b4f33e",
  "name": "nightly",
  "state": "unmounted",
  "phase": "ready",
  "created": "2024-11-21T00:00:00Z",
  "frozen_us": 12345,
  "size": 3670016,
  "mounted": false,
  "receipt": null,
  "nodes": [
    {
      "mount_point": "/mnt/a",
      "device": "/dev/a",
      "snapshot_device": "/dev/a-17b4f33e",
      "alternate": "/mnt/a_alt",
      "provider": "sample",
      "splitter": "reflink",
      "size": 3145728,
      "mounted": true,
      "needs": 2097152,
      "free": 5242880
    },
    {
      "mount_point": "/mnt/b",
      "device": "/dev/b",
      "snapshot_device": "/dev/b-17b4f33e",
      "alternate": "/mnt/b_alt",
      "provider": "sample",
      "splitter": "lvm",
      "size": 524288,
      "mounted": false,
      "needs": 0,
      "free": 0
    }
  ]
}
)");
}

TEST(SnapshotOutput, JsonOfADamagedSnapshotSaysWhatIsWrong) {
  Snapshot bad;
  bad.id = "0a0a0a0a";
  EXPECT_EQ(json(SnapshotStatus{bad, "damaged", {}, "created is no number"}), R"({
  "id": "0a0a0a0a",
  "name": "",
  "state": "damaged",
  "phase": "preparing",
  "created": "1970-01-01T00:00:00Z",
  "frozen_us": 0,
  "size": 0,
  "mounted": false,
  "damage": "created is no number",
  "receipt": null,
  "nodes": []
}
)");
}

TEST(SnapshotOutput, JsonOfNoSnapshotsIsAnEmptyArray) {
  EXPECT_EQ(json(std::vector<SnapshotStatus>()), "[]\n");
}

TEST(SnapshotOutput, JsonReplacesBytesThatAreNoText) {
  SnapshotStatus status = makeStatus();
  status.snapshot.nodes[0].mountPoint = "/mnt/\xff";
  EXPECT_THAT(json(status), testing::HasSubstr("\"/mnt/\xef\xbf\xbd\""));
}

TEST(SnapshotOutput, MillisecondsHaveOneDecimal) {
  const struct {
    int microseconds;
    const char* text;
  } cases[] = {{0, "0.0 ms"}, {49, "0.0 ms"}, {51, "0.1 ms"}, {12345, "12.3 ms"}, {2000000, "2000.0 ms"}};
  for (const auto& one : cases) EXPECT_EQ(millisecondsText(std::chrono::microseconds(one.microseconds)), one.text);
}

SnapshotStatus damagedStatus() {
  Snapshot bad;
  bad.id = "0a0a0a0a";
  bad.name = "a longer name";
  return {bad, "damaged", {}, "created is no number"};
}

// The list of two snapshots some time after the first was taken.
std::string table(const TableLooks& looks, std::chrono::seconds age = std::chrono::seconds(0)) {
  const EnvironmentVariable zone("TZ", "UTC");
  std::ostringstream text;
  printTable(text, {makeStatus(), damagedStatus()}, looks, makeSnapshot().created + age);
  return text.str();
}

std::string metrics(const std::vector<SnapshotStatus>& snapshots) {
  std::ostringstream text;
  printMetrics(text, snapshots);
  return text.str();
}

TEST(SnapshotMetrics, TellOfEachStateAndOfTheNewestOfEachFileSystem) {
  SnapshotStatus older = makeStatus();
  older.snapshot.created -= std::chrono::hours(1);
  older.snapshot.nodes.resize(1);
  older.nodes.resize(1);
  older.nodes[0].volume.needs = 1;
  EXPECT_EQ(metrics({makeStatus(), older, damagedStatus()}),
            "# HELP qmfi_snapshots Snapshots that are known.\n"
            "# TYPE qmfi_snapshots gauge\n"
            "qmfi_snapshots{state=\"ready\"} 0\n"
            "qmfi_snapshots{state=\"unmounted\"} 2\n"
            "qmfi_snapshots{state=\"gone\"} 0\n"
            "qmfi_snapshots{state=\"working\"} 0\n"
            "qmfi_snapshots{state=\"interrupted\"} 0\n"
            "qmfi_snapshots{state=\"damaged\"} 1\n"
            "# HELP qmfi_newest_snapshot_timestamp_seconds When the newest complete snapshot was taken.\n"
            "# TYPE qmfi_newest_snapshot_timestamp_seconds gauge\n"
            "qmfi_newest_snapshot_timestamp_seconds{mount_point=\"/mnt/a\"} 1732147200\n"
            "qmfi_newest_snapshot_timestamp_seconds{mount_point=\"/mnt/b\"} 1732147200\n"
            "# HELP qmfi_newest_snapshot_frozen_seconds How long the freeze for it lasted.\n"
            "# TYPE qmfi_newest_snapshot_frozen_seconds gauge\n"
            "qmfi_newest_snapshot_frozen_seconds{mount_point=\"/mnt/a\"} 0.012345\n"
            "qmfi_newest_snapshot_frozen_seconds{mount_point=\"/mnt/b\"} 0.012345\n"
            "# HELP qmfi_snapshot_bytes What the copies occupy, with the blocks that they share.\n"
            "# TYPE qmfi_snapshot_bytes gauge\n"
            "qmfi_snapshot_bytes{mount_point=\"/mnt/a\"} 6291456\n"
            "qmfi_snapshot_bytes{mount_point=\"/mnt/b\"} 524288\n"
            "# HELP qmfi_overwrite_needs_bytes What an overwrite of the whole volume takes of its storage.\n"
            "# TYPE qmfi_overwrite_needs_bytes gauge\n"
            "qmfi_overwrite_needs_bytes{mount_point=\"/mnt/a\"} 2097152\n"
            "qmfi_overwrite_needs_bytes{mount_point=\"/mnt/b\"} 0\n"
            "# HELP qmfi_storage_free_bytes What the storage of the volume has.\n"
            "# TYPE qmfi_storage_free_bytes gauge\n"
            "qmfi_storage_free_bytes{mount_point=\"/mnt/a\"} 5242880\n"
            "qmfi_storage_free_bytes{mount_point=\"/mnt/b\"} 0\n");
}

TEST(SnapshotMetrics, NamesAreQuotedAsTheirReadersKnow) {
  SnapshotStatus status = makeStatus();
  status.snapshot.nodes[0].mountPoint = "/a\"b\\c";
  status.snapshot.nodes[1].mountPoint = "/a\nb";
  const std::string text = metrics({status});
  EXPECT_THAT(text, testing::HasSubstr("qmfi_snapshot_bytes{mount_point=\"/a\\\"b\\\\c\"} "));
  EXPECT_THAT(text, testing::HasSubstr("qmfi_snapshot_bytes{mount_point=\"/a%0Ab\"} "));
}

TEST(SnapshotTable, HasALineForEachSnapshot) {
  EXPECT_EQ(
      table({usualColumns()}),
      "ID        NAME           CREATED              FROZEN FOR  STATE        MOUNTED  SIZE     PROVIDER  FILE "
      "SYSTEMS\n"
      "17b4f33e  nightly        2024-11-21 00:00:00  12.3 ms     unmounted    no       3.5 MiB  sample    /mnt/a "
      "/mnt/b\n"
      "0a0a0a0a  a longer name                                   damaged                                  created "
      "is no number\n");
}

TEST(SnapshotTable, HasTheColumnsThatAreChosenInTheirOrder) {
  EXPECT_EQ(table({columnsOf("splitter,proof,age,name")}, std::chrono::minutes(3)),
            "SPLITTER     PROOF  AGE    NAME\n"
            "reflink lvm         3 min  nightly\n"
            "                           a longer name\n");
}

TEST(SnapshotTable, HasNoHeadingsWhereNoneAreWanted) {
  EXPECT_EQ(table({columnsOf("id,state"), false}), "17b4f33e  unmounted\n0a0a0a0a  damaged\n");
}

TEST(SnapshotTable, TellsTheDirectoryOfWhatIsMounted) {
  SnapshotStatus status = makeStatus();
  status.nodes[1].mounted = true;
  status.snapshot.nodes[0].alternate = "/run/qmfi/snapshots/nightly/mnt/a";
  status.snapshot.nodes[1].alternate = "/run/qmfi/snapshots/nightly/mnt/b";
  std::ostringstream text;
  printTable(text, {status}, {{"directory"}, false}, status.snapshot.created);
  EXPECT_EQ(text.str(), "/run/qmfi/snapshots/nightly\n");
}

TEST(SnapshotTable, WidthOfNamesIsThatOfTheirCharacters) {
  SnapshotStatus longer = makeStatus();
  longer.snapshot.held = "f\xc3\xbcr Anna";
  SnapshotStatus shorter = makeStatus();
  shorter.snapshot.held = "-";
  std::ostringstream text;
  printTable(text, {longer, shorter}, {{"held", "id"}, false}, longer.snapshot.created);
  EXPECT_EQ(text.str(), "f\xc3\xbcr Anna  17b4f33e\n-         17b4f33e\n");
}

TEST(SnapshotTable, AgeIsInTheLargestUnitOfWhichThereAreTwo) {
  const struct {
    int seconds;
    const char* text;
  } cases[] = {{-5, "0 s\n"},   {119, "119 s\n"},          {120, "2 min\n"},     {7199, "119 min\n"},
               {7200, "2 h\n"}, {2 * 86400 - 1, "47 h\n"}, {2 * 86400, "2 d\n"}, {400 * 86400, "400 d\n"}};
  for (const auto& one : cases) {
    EXPECT_EQ(table({{"age"}, false}, std::chrono::seconds(one.seconds)),
              one.text + std::string("created is no number\n"));
  }
}

TEST(SnapshotTable, HasHeadingsInTheUsersLanguageAndStatesForPrograms) {
  const GermanTexts german;
  std::ostringstream text;
  printTable(text, {makeStatus()}, {{"id", "mounted", "size", "state"}, true}, {});
  EXPECT_EQ(text.str(),
            "KENNUNG   EINGEHÄNGT  GRÖSSE   ZUSTAND\n"
            "17b4f33e  no          3.5 MiB  unmounted\n");
}

TEST(SnapshotTable, UnknownColumnIsRefusedWithThoseThatThereAre) {
  const std::string all =
      "id, name, created, age, frozen, proof, state, mounted, size, provider, splitter, held, directory, mount_points";
  EXPECT_THAT([] { columnsOf("id,colour"); },
              ThrowsMessage<UsageError>("there is no column \"colour\"; there are " + all));
  EXPECT_THAT([] { columnsOf(""); }, ThrowsMessage<UsageError>("no column is named; there are " + all));
}

TEST(SnapshotOutput, OneSnapshotIsShownWithItsFileSystems) {
  const EnvironmentVariable zone("TZ", "UTC");
  std::ostringstream text;
  printText(text, makeStatus());
  EXPECT_EQ(text.str(),
            "snapshot   17b4f33e\n"
            "name       nightly\n"
            "created    2024-11-21 00:00:00\n"
            "frozen for 12.3 ms\n"
            "state      unmounted\n"
            "mounted    no\n"
            "size       3.5 MiB\n"
            "/mnt/a (/dev/a, sample)\n"
            "  -> /mnt/a_alt (/dev/a-17b4f33e), mounted, 3.0 MiB by reflink\n"
            "     a full overwrite needs 2.0 MiB of 5.0 MiB free\n"
            "/mnt/b (/dev/b, sample)\n"
            "  -> /mnt/b_alt (/dev/b-17b4f33e), not mounted, 512.0 KiB by lvm\n"
            "     a full overwrite needs 0.0 KiB of 0.0 KiB free\n");
}

SnapshotStatus statusWithReceipt() {
  using Moment = FreezeReceipt::Moment;
  SnapshotStatus status = makeStatus();
  status.snapshot.receipt = {
      FreezeReceipt::Time(std::chrono::seconds(1732147200) + Moment(7)),
      FreezeReceipt::Time(std::chrono::seconds(1732147200) + Moment(12400)),
      Moment(50),
      Moment(4000),
      Moment(8000),
      Moment(12345),
      Moment(2000000),
      {{Moment(0), Moment(1000), Moment(3000), Moment(11000), Moment(12345), ThawAnswer::noFailure},
       {Moment(1000), Moment(2000), Moment(3500), Moment(8000), Moment(11000), ThawAnswer::noFailure}}};
  return status;
}

TEST(SnapshotOutput, JsonHasTheReceipt) {
  EXPECT_THAT(json(statusWithReceipt()), testing::HasSubstr(R"(  "receipt": {
    "level": "group",
    "begin": "2024-11-21T00:00:00.000007Z",
    "end": "2024-11-21T00:00:00.012400Z",
    "since_start_us": 50,
    "split_began_us": 4000,
    "split_ended_us": 8000,
    "over_us": 12345,
    "may_end_us": 2000000,
    "file_systems": [
      {
        "mount_point": "/mnt/a",
        "freeze_asked_us": 0,
        "frozen_us": 1000,
        "proven_us": 3000,
        "thaw_asked_us": 11000,
        "thawed_us": 12345,
        "thaw": "no_failure",
        "longest_stall_us": 12345
      },
      {
        "mount_point": "/mnt/b",
        "freeze_asked_us": 1000,
        "frozen_us": 2000,
        "proven_us": 3500,
        "thaw_asked_us": 8000,
        "thawed_us": 11000,
        "thaw": "no_failure",
        "longest_stall_us": 10000
      }
    ]
  },
)"));
}

TEST(SnapshotOutput, OneSnapshotIsShownWithItsReceipt) {
  std::ostringstream text;
  SnapshotStatus status = statusWithReceipt();
  status.snapshot.receipt->fileSystems[1].thaw = ThawAnswer::unknown;
  printText(text, status);
  EXPECT_THAT(text.str(), testing::HasSubstr("\nfrozen for 12.3 ms\nproven     none\nstate      unmounted\n"));
  EXPECT_THAT(text.str(), testing::HasSubstr("MiB free\n     frozen from 1.0 ms to 11.0 ms, proven at 3.0 ms; writes "
                                             "waited 12.3 ms at most\n/mnt/b "));
  EXPECT_THAT(text.str(), testing::EndsWith("\n     frozen from 2.0 ms to 8.0 ms, proven at 3.5 ms, thawed nobody "
                                            "knows when; writes waited 10.0 ms at most\n"));
}

TEST(SnapshotOutput, OneSnapshotIsShownInTheUsersLanguage) {
  const EnvironmentVariable zone("TZ", "UTC");
  const GermanTexts german;
  std::ostringstream text;
  SnapshotStatus status = statusWithReceipt();
  status.snapshot.receipt->fileSystems[1].thaw = ThawAnswer::unknown;
  printText(text, status);
  EXPECT_EQ(text.str(),
            "Snapshot    17b4f33e\n"
            "Name        nightly\n"
            "erstellt    2024-11-21 00:00:00\n"
            "eingefroren 12.3 ms\n"
            "bewiesen    none\n"
            "Zustand     unmounted\n"
            "eingehängt  nein\n"
            "Größe       3.5 MiB\n"
            "/mnt/a (/dev/a, sample)\n"
            "  -> /mnt/a_alt (/dev/a-17b4f33e), eingehängt, 3.0 MiB durch reflink\n"
            "     vollständiges Überschreiben braucht 2.0 MiB von 5.0 MiB freien\n"
            "     eingefroren von 1.0 ms bis 11.0 ms, bewiesen bei 3.0 ms; Schreibvorgänge warteten höchstens 12.3 ms\n"
            "/mnt/b (/dev/b, sample)\n"
            "  -> /mnt/b_alt (/dev/b-17b4f33e), nicht eingehängt, 512.0 KiB durch lvm\n"
            "     vollständiges Überschreiben braucht 0.0 KiB von 0.0 KiB freien\n"
            "     eingefroren von 2.0 ms bis 8.0 ms, bewiesen bei 3.5 ms, aufgetaut zu unbekannter Zeit; "
            "Schreibvorgänge warteten höchstens 10.0 ms\n");
}

TEST(SnapshotOutput, InterruptedSnapshotIsShownWithItsPhase) {
  std::ostringstream text;
  SnapshotStatus status = makeStatus();
  status.state = "interrupted";
  status.snapshot.phase = Phase::deleting;
  printText(text, status);
  EXPECT_THAT(text.str(), testing::HasSubstr("\nstate      interrupted (deleting)\n"));
}

}  // namespace
}  // namespace qmfi_host
