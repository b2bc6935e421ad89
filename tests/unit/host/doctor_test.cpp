// What the doctor finds in what it is shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doctor/machine_findings.h"
#include "doctor/provider_findings.h"
#include "doctor/state_findings.h"
#include "doctor/storage_findings.h"
#include "fake_provider.h"
#include "german_texts.h"
#include "settings/setting_table.h"
#include "state/snapshot_record.h"
#include "support/temporary_directory.h"

namespace qmfi_host {

// All that is told, in one line.
void PrintTo(const Finding& finding, std::ostream* out) {
  *out << weightName(finding.weight) << "|" << finding.subject << "|" << finding.text << "|" << finding.mend;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> linesOf(const Findings& findings) {
  std::vector<std::string> lines;
  for (const Finding& finding : findings) lines.push_back(testing::PrintToString(finding));
  return lines;
}

SnapshotStatus statusWith(const std::string& id, const std::string& name, const std::string& state) {
  SnapshotStatus status;
  status.snapshot.id = id;
  status.snapshot.name = name;
  status.snapshot.phase = Phase::deleting;
  status.state = state;
  status.snapshot.nodes.push_back({"/mnt/a",
                                   {"/dev/a", "/dev/a-" + id, "/pool/a", "/pool/a-" + id, ""},
                                   "/run/qmfi/snapshots/" + name + "/mnt/a",
                                   "",
                                   "",
                                   "sample"});
  return status;
}

TEST(Doctor, TellsWhatTheKernelCanSplit) {
  EXPECT_EQ(testing::PrintToString(kernelFinding("6.12.9-amd64")),
            "good|kernel|Linux 6.12.9-amd64 can split files behind loop devices and logical volumes|");
  EXPECT_EQ(testing::PrintToString(kernelFinding("6.1.0-40-amd64")),
            "notice|kernel|Linux 6.1.0-40-amd64 can split files behind loop devices; logical volumes need Linux 6.8 or "
            "later|");
}

TEST(Doctor, MissesThePrivilegeThatAContainerLacks) {
  EXPECT_EQ(privilegeFinding("Name:\tqmfi\nCapEff:\t000001ffffffffff\nSeccomp:\t0\n").weight, Weight::good);
  EXPECT_EQ(testing::PrintToString(privilegeFinding("Name:\tqmfi\nCapEff:\t00000000a80425fb\nSeccomp:\t0\n")),
            "problem|privileges|qmfi may neither freeze nor mount: it lacks CAP_SYS_ADMIN, as in a container|");
  EXPECT_EQ(privilegeFinding("").weight, Weight::problem);
}

TEST(Doctor, NamesProcessesThatStandStillOnAFrozenFileSystem) {
  const TemporaryDirectory processes;
  processes.makeDirectory("4711/task/4711");
  processes.makeDirectory("4711/task/4712");
  processes.write("4711/comm", "cp\n");
  processes.write("4711/task/4711/wchan", "0");
  processes.write("4711/task/4712/wchan", "percpu_rwsem_wait");
  processes.makeDirectory("12/task/12");
  processes.write("12/comm", "bash\n");
  processes.write("12/task/12/wchan", "do_wait");
  processes.makeDirectory("self/task/1");
  processes.write("self/task/1/wchan", "percpu_rwsem_wait");
  EXPECT_THAT(linesOf(haltedWriterFindings(processes.path())),
              ElementsAre("problem|freeze|process 4711 (cp) waits to change a file system, which is probably frozen|"
                          "qmfi thaw MOUNTPOINT"));
  EXPECT_THAT(haltedWriterFindings("/nonexistent"), IsEmpty());
}

TEST(Doctor, NamesSettingsThatNobodyReads) {
  EXPECT_THAT(
      linesOf(unreadVariableFindings({"PATH=/bin", "QMFI_STATE_DIR=/state", "QMFI_LOGDIR=/log", "QMFI_LOG_DIR="})),
      ElementsAre("notice|settings|nobody reads the variable QMFI_LOGDIR|unset QMFI_LOGDIR"));
}

TEST(Doctor, KnowsTheVariableOfEverySetting) {
  std::vector<std::string> variables = {"QMFI_CATALOG_DIR=/", "QMFI_CONF_DIR=/", "QMFI_CONFIG_DIR=/", "QMFI_LOG_DIR=/",
                                        "QMFI_TRACE_LEVEL=6"};
  for (const SettingEntry& entry : settingTable()) {
    for (const char* const variable : entry.variables) {
      if (variable != nullptr) variables.push_back(std::string(variable) + "=x");
    }
  }
  EXPECT_THAT(linesOf(unreadVariableFindings(variables)), IsEmpty());
}

TEST(Doctor, StartsEveryProvider) {
  Journal journal;
  FakeProvider fake(journal);
  Provider provider(fake.entryPoints(), "sample", "");
  GivenProviders providers;
  providers.add(provider);
  const Findings findings = providerFindings(providers, {"other", "sample"});
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(testing::PrintToString(findings[0]),
            "problem|provider|other does not work: there is no provider other|qmfi --provider other provider show");
  EXPECT_EQ(findings[1].weight, Weight::good);
}

TEST(Doctor, MissesProviders) {
  GivenProviders none;
  EXPECT_THAT(linesOf(providerFindings(none, {})),
              ElementsAre("problem|provider|no provider is installed, so no file system can be frozen|"));
}

TEST(Doctor, TellsWhyASplitterCannotBeUsed) {
  Journal journal;
  FakeSplitter usable(journal);
  usable.ownName = "usable";
  FakeSplitter broken(journal);
  broken.ownName = "broken";
  broken.failingCall = "use";
  EXPECT_THAT(linesOf(splitterFindings(Splitters({&usable, &broken}))),
              ElementsAre("good|splitter|usable can be used|", "notice|splitter|broken cannot be used: use failed|"));
}

TEST(Doctor, TellsWhatIsNearlyFull) {
  VolumeGroup group{4096, 0, {}};
  group.volumes["roomy"] = {"thin-pool", 1, "", "", 79.9, 79.9};
  group.volumes["pool"] = {"thin-pool", 1, "", "", 80, 95};
  group.volumes["thin"] = {"thin", 1, "pool", "", 100, 0};
  group.volumes["copy"] = {"linear", 1, "", "origin", 95.5, 0};
  group.volumes["young"] = {"linear", 1, "", "origin", 3, 0};
  EXPECT_THAT(linesOf(roomFindings("data", group)),
              ElementsAre("problem|room|the copy data/copy is 95% full; when it is full it is lost|"
                          "lvextend --extents +20%ORIGIN data/copy",
                          "notice|room|the pool data/pool is 80% full|lvextend --extents +20%LV data/pool",
                          "problem|room|the metadata of the pool data/pool are 95% full|"
                          "lvextend --poolmetadatasize +64M data/pool"));
}

TEST(Doctor, TellsWhatItFindsInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_THAT(linesOf(snapshotFindings({statusWith("00000003", "half", "interrupted")})),
              ElementsAre("problem|snapshot|der Snapshot 00000003 (half) wurde in der Phase \"deleting\" unterbrochen|"
                          "qmfi recover"));
  EXPECT_EQ(testing::PrintToString(kernelFinding("6.1.0")),
            "notice|kernel|Linux 6.1.0 kann Dateien hinter Loop-Geräten splitten; logische Volumes brauchen Linux 6.8 "
            "oder später|");
}

TEST(Doctor, FindsNothingWhereLvmIsNot) {
  EXPECT_THAT(roomFindings(LvmProgram("/nonexistent/lvm", [](const std::string&) {})), IsEmpty());
}

TEST(Doctor, RefusesADirectoryThatOthersCanChange) {
  EXPECT_EQ(testing::PrintToString(directoryFinding("state", "/")), "good|directory|/ (state) is root's alone|");
  const Finding refused = directoryFinding("state", "/tmp");
  EXPECT_EQ(refused.weight, Weight::problem);
  EXPECT_THAT(refused.text, testing::StartsWith("/tmp (state) is refused: "));
}

TEST(Doctor, TellsWhatBecameOfSnapshots) {
  SnapshotStatus damaged = statusWith("00000005", "00000005", "damaged");
  damaged.damage = "no phase";
  EXPECT_THAT(
      linesOf(snapshotFindings({statusWith("00000001", "sound", "ready"), statusWith("00000002", "away", "unmounted"),
                                statusWith("00000003", "half", "interrupted"), statusWith("00000004", "lost", "gone"),
                                damaged, statusWith("00000006", "busy", "working")})),
      ElementsAre("notice|snapshot|the snapshot 00000002 (away) is not mounted|qmfi snapshot mount 00000002",
                  "problem|snapshot|the snapshot 00000003 (half) was interrupted while deleting|qmfi recover",
                  "problem|snapshot|the snapshot 00000004 (lost) has lost a copy|qmfi snapshot delete 00000004",
                  "problem|snapshot|the snapshot 00000005 is damaged: no phase|qmfi snapshot delete 00000005"));
}

TEST(Doctor, IsContentWithSnapshotsThatAreAsTheyShouldBe) {
  EXPECT_THAT(linesOf(snapshotFindings({statusWith("00000001", "sound", "ready")})),
              ElementsAre("good|snapshot|1 known, and all as they should be|"));
}

TEST(Doctor, FindsCopiesOfSnapshotsThatAreNotKnown) {
  Journal journal;
  FakeSplitter splitter(journal);
  const SnapshotStatus known = statusWith("00000001", "known", "ready");
  const SnapshotStatus unknown = statusWith("00000002", "unknown", "ready");
  splitter.found = {{"/pool/a-00000001", recordOf(known.snapshot)},
                    {"/pool/a-00000002", recordOf(unknown.snapshot)},
                    {"/pool/b-00000002", recordOf(unknown.snapshot)},
                    {"/pool/c", "no record"}};
  const Findings findings = unknownSnapshotFindings({known}, Splitters({&splitter}));
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(testing::PrintToString(findings[0]),
            "problem|copy|/pool/a-00000002 belongs to the snapshot 00000002 (unknown), which is not known|"
            "qmfi recover --rescan");
  EXPECT_THAT(findings[1].text, testing::StartsWith("the record of /pool/c is of no use: "));
}

TEST(Doctor, FindsMountsThatBelongToNoSnapshot) {
  const std::vector<SnapshotStatus> known = {statusWith("00000001", "known", "ready")};
  constexpr std::string_view table =
      "22 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
      "30 22 7:1 / /run/qmfi/snapshots/known/mnt/a ro - xfs /dev/a-00000001 ro\n"
      "31 22 7:2 / /run/qmfi/snapshots/left\\040behind/mnt/a ro - xfs /dev/a-00000002 ro\n";
  EXPECT_THAT(
      linesOf(strangeMountFindings(known, table)),
      ElementsAre("problem|mount|/run/qmfi/snapshots/left behind/mnt/a is mounted, and belongs to no snapshot of "
                  "this state|umount '/run/qmfi/snapshots/left behind/mnt/a'"));
}

}  // namespace
}  // namespace qmfi_host
