// Snapshots of logical volumes, with a stand-in for lvm that notes what it is told.
#include "volume/lvm_splitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <vector>

#include "failure/host_error.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr auto noDeadline = std::chrono::steady_clock::time_point::max();

// Without a word it is the shell: a line a command.
constexpr const char* standIn = R"script(
made() {
  [[ $1 =~ --name\ ([^ ]+) ]]
  echo "  Logical volume \"${BASH_REMATCH[1]}\" created."
}
while [[ $# == 0 ]]; do
  read -r line || exit 0
  echo "$line" >> shell
  case $line in
    qmfi-end) echo "  No such command 'qmfi-end'.  Try 'help'." >&2 ;;
    "lvcreate --test "*) [[ -e untried ]] && cat untried >&2 || made "$line" ;;
    lvcreate*)
      [[ -p gate ]] && read -r < gate
      [[ -e unlucky && $line == *"$(cat unlucky)" ]] && echo '  Failed to suspend it.' >&2 || made "$line"
      ;;
  esac
done
echo "$*" >> calls
if [[ -e fails ]]; then
  echo '  It cannot.' >&2
  exit 5
fi
case $* in
  lvs*/dev/*) cat names ;;
  lvs*)
    echo '  WARNING: something {odd.' >&2
    cat report
    ;;
  lvmconfig*) echo 'locking_dir="/proc/none/of/it"' ;;
esac
exit 0
)script";

// The snapshots of these are the two of the report.
const SplitPlan thin{"/dev/mapper/vg-orders", "/dev/vg/orders-0a", "/dev/vg/orders", "/dev/vg/orders-0a", {}, "lvm"};
const SplitPlan classic{"/dev/mapper/vg-home", "/dev/vg/home-0a", "/dev/vg/home", "/dev/vg/home-0a", {}, "lvm"};

// The same volumes, with copies that are not there yet.
SplitPlan planned(SplitPlan plan) {
  plan.snapshotDevice = plan.snapshotFile = plan.volumeFile + "-17b4f33e";
  return plan;
}

std::string row(const std::string& name, const std::string& kind, const std::string& bytes, const std::string& pool,
                const std::string& origin, const std::string& data, const std::string& metadata) {
  return R"({"lv_name":")" + name + R"(","segtype":")" + kind + R"(","lv_size":")" + bytes + R"(","pool_lv":")" + pool +
         R"(","origin":")" + origin + R"(","data_percent":")" + data + R"(","metadata_percent":")" + metadata +
         R"(","vg_extent_size":"4096","vg_free":"40960"})";
}

class LvmSplitterTest : public testing::Test {
 protected:
  LvmSplitterTest() {
    m_directory.write("lvm", "#!/bin/bash\ncd " + m_directory.path() + standIn);
    std::filesystem::permissions(m_directory.file("lvm"), std::filesystem::perms::owner_all);
    m_directory.write("calls", "");
    m_directory.write("shell", "");
    m_directory.write("names", R"({"report":[{"lv":[{"vg_name":"vg","lv_name":"orders"}]}]})");
    writeReport("50.00", "10.00");
  }

  // poolData, poolMetadata: in percent.
  void writeReport(const std::string& poolData, const std::string& poolMetadata) {
    m_directory.write("report", "  {\n \"report\":[{\"lv\":[" +
                                    row("pool", "thin-pool", "1000000", "", "", poolData, poolMetadata) + "," +
                                    row("orders", "thin", "100000", "pool", "", "40.00", "") + "," +
                                    row("orders-0a", "thin", "100000", "pool", "orders", "30.00", "") + "," +
                                    row("home", "linear", "81920", "", "", "", "") + "," +
                                    row("home-0a", "linear", "20480", "", "home", "25.00", "") + "]}]}\n");
  }

  LvmSplitter splitter(SnapshotSize size = standardSnapshotSize, const std::string& kernel = "6.12.9-amd64") const {
    return {{m_directory.file("lvm"), kernel, size, [](const std::string&) {}}, m_directory.file("records")};
  }

  std::string calls() const { return m_directory.read("calls"); }

  // The calls without the reports.
  std::vector<std::string> changes() const {
    std::ifstream file(m_directory.file("calls"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
      if (!line.starts_with("lvs ")) lines.push_back(line);
    }
    return lines;
  }

  void expectRefused(const SplitPlan& plan, const std::string& reason, SnapshotSize size = standardSnapshotSize) {
    EXPECT_THAT([&] { splitter(size).prepare({plan}); }, ThrowsMessage<HostError>(reason + "; nothing was frozen"));
    EXPECT_EQ(m_directory.read("shell"), "");
  }

  TemporaryDirectory m_directory;
};

TEST_F(LvmSplitterTest, PlansTheSnapshotByTheNamesOfTheVolume) {
  const SplitPlan plan = splitter().plan("/dev/mapper/vg-orders", "17b4f33e");
  EXPECT_EQ(plan.device, "/dev/mapper/vg-orders");
  EXPECT_EQ(plan.volumeFile, "/dev/vg/orders");
  EXPECT_EQ(plan.snapshotDevice, "/dev/vg/orders-17b4f33e");
  EXPECT_EQ(plan.snapshotFile, "/dev/vg/orders-17b4f33e");
  EXPECT_EQ(plan.splitter, "lvm");
  EXPECT_EQ(calls(), "lvs --reportformat json --options vg_name,lv_name /dev/mapper/vg-orders\n");
}

TEST_F(LvmSplitterTest, WritesItsLocksWhereLvmKeepsThem) {
  EXPECT_EQ(splitter().workPlace(thin), "/proc");
  EXPECT_EQ(calls(), "lvmconfig --typeconfig full global/locking_dir\n");
}

TEST_F(LvmSplitterTest, OlderKernelIsRefusedBeforeLvmIsAsked) {
  EXPECT_THAT([&] { splitter(standardSnapshotSize, "6.1.0-18-amd64").plan("/dev/mapper/vg-orders", "17b4f33e"); },
              ThrowsMessage<HostError>("the kernel 6.1.0-18-amd64 cannot suspend a logical volume whose file system is "
                                       "frozen, so lvm cannot split it; Linux 6.8 and later can; nothing was frozen"));
  EXPECT_EQ(calls(), "");
}

TEST_F(LvmSplitterTest, SplitsAllVolumesInOneShellThatHasTriedItBefore) {
  const std::string settings =
      "--yes --config 'backup/backup=0 backup/archive=0 activation/monitoring=0 activation/udev_sync=0 "
      "global/wait_for_locks=0 log/syslog=0' --snapshot ";
  // 20% of 20 extents.
  const std::string first = settings + "--name orders-17b4f33e vg/orders\n";
  const std::string second = settings + "--extents 4 --name home-17b4f33e vg/home\n";
  const std::string trial = "lvcreate --test " + first + "lvcreate --test " + second + "qmfi-end\n";
  {
    const std::unique_ptr<GroupSplit> split = splitter().prepare({planned(thin), planned(classic)});
    EXPECT_EQ(m_directory.read("shell"), trial);
    split->flush();
    EXPECT_EQ(split->split(noDeadline), 0);
    EXPECT_NO_THROW(split->requireSplit());
  }
  EXPECT_EQ(m_directory.read("shell"), trial + "lvcreate " + first + "lvcreate " + second + "qmfi-end\n");
}

TEST_F(LvmSplitterTest, WhatLvmCannotEvenTryIsRefusedBeforeTheFreeze) {
  m_directory.write("untried", "  Module dm-snapshot not found.\n");
  EXPECT_THAT(
      [&] {
        splitter().prepare({planned(thin), planned(classic)});
      },
      ThrowsMessage<HostError>("the volume vg/orders cannot be split by lvm: Module dm-snapshot not found."
                               "\\x0a  Module dm-snapshot not found.; nothing was frozen"));
}

// They do not move their words to the right.
TEST_F(LvmSplitterTest, WordsOfProgramsThatLvmRunsAreToldWhole) {
  m_directory.write("untried", "modprobe: FATAL: Module dm-snapshot not found.\n");
  EXPECT_THAT([&] { splitter().prepare({planned(thin)}); },
              ThrowsMessage<HostError>("the volume vg/orders cannot be split by lvm: modprobe: FATAL: Module "
                                       "dm-snapshot not found.; nothing was frozen"));
}

TEST_F(LvmSplitterTest, VolumeThatLvmCouldNotSplitIsNamedWithItsWords) {
  m_directory.write("unlucky", "vg/home");
  const std::unique_ptr<GroupSplit> split = splitter().prepare({planned(thin), planned(classic)});
  EXPECT_EQ(split->split(noDeadline), 0);
  EXPECT_THAT([&] { split->requireSplit(); },
              ThrowsMessage<HostError>("the volume vg/home could not be split by lvm: Logical volume "
                                       "\"orders-17b4f33e\" created.\\x0a  Failed to suspend it."));
}

// It may have suspended the volume.
TEST_F(LvmSplitterTest, ShellThatIsLateIsGivenUpAndNotEndedInTheMiddle) {
  const std::string gate = m_directory.file("gate");
  {
    const std::unique_ptr<GroupSplit> split = splitter().prepare({planned(thin)});
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    EXPECT_EQ(split->split(std::chrono::steady_clock::now()), ETIME);
    EXPECT_THAT([&] { split->requireSplit(); },
                ThrowsMessage<HostError>("the volume vg/orders could not be split by lvm: it did not answer in time"));
    std::ofstream(gate) << "go on\n";
  }
  EXPECT_THAT(m_directory.read("shell"), testing::EndsWith("vg/orders\nqmfi-end\n"));
}

TEST_F(LvmSplitterTest, WhatCannotBeSplitIsRefusedBeforeTheFreeze) {
  expectRefused(classic, "the volume vg/home cannot be split: there is a volume home-0a");
  SplitPlan plan = planned(classic);
  plan.volumeFile = "/dev/vg/none";
  expectRefused(plan, "the volume vg/none cannot be split: it is not there");
  plan.volumeFile = "/dev/vg/home-0a";
  expectRefused(plan, "the volume vg/home-0a cannot be split: it is a snapshot itself");
  writeReport("100.00", "10.00");
  expectRefused(planned(thin), "the volume vg/orders cannot be split: its pool pool is full");
  writeReport("50.00", "95.00");
  expectRefused(planned(thin), "the volume vg/orders cannot be split: the metadata of its pool pool are 95% full");
}

TEST_F(LvmSplitterTest, ClassicSnapshotsTogetherNeedTheRoomThatTheGroupHas) {
  // 20 extents and one, of 10 that are free.
  expectRefused(planned(classic),
                "the volume vg/home cannot be split: its snapshot wants 21 extents, and the volume group has 10 free; "
                "--snapshot-size sets another size",
                PartOfVolume{100});
  EXPECT_NO_THROW(splitter(PartOfVolume{50}).prepare({planned(classic)}));
  SplitPlan second = planned(classic);
  second.snapshotFile = "/dev/vg/home-2";
  EXPECT_THAT(
      [&] {
        splitter(PartOfVolume{50}).prepare({planned(classic), second});
      },
      ThrowsMessage<HostError>(HasSubstr("wants 10 extents, and the volume group has 0 free")));
}

TEST_F(LvmSplitterTest, ThinVolumesShareTheRoomOfTheirPool) {
  const VolumeStatus status = splitter().look(thin, LookAt::everything);
  EXPECT_TRUE(status.exists);
  EXPECT_EQ(status.storage, "lvm vg/pool");
  EXPECT_EQ(status.bytes, 30000U);
  EXPECT_EQ(status.occupied, 40000U);
  EXPECT_EQ(status.needs, 40000U);
  EXPECT_EQ(status.free, 500000U);
  EXPECT_FALSE(splitter().look(planned(thin), LookAt::everything).exists);
}

TEST_F(LvmSplitterTest, ClassicCopyHasRoomOfItsOwn) {
  const VolumeStatus status = splitter().look(classic, LookAt::everything);
  EXPECT_TRUE(status.exists);
  EXPECT_EQ(status.bytes, 5120U);
  EXPECT_EQ(status.occupied, 0U);
  EXPECT_EQ(status.needs, 81920U);
  EXPECT_EQ(status.free, 15360U);
}

TEST_F(LvmSplitterTest, WhatLvmDoesNotTellIsNotThere) {
  m_directory.write("fails", "");
  EXPECT_FALSE(splitter().look(thin, LookAt::everything).exists);
  m_directory.write("report", "nonsense");
  std::filesystem::remove(m_directory.file("fails"));
  EXPECT_FALSE(splitter().look(thin, LookAt::everything).exists);
}

TEST_F(LvmSplitterTest, ThinSnapshotIsActivatedAndDeactivated) {
  EXPECT_THAT([&] { splitter().attach(thin); }, ThrowsMessage<HostError>("lvm has made no device /dev/vg/orders-0a"));
  splitter().detach(thin);
  EXPECT_THAT(changes(), testing::ElementsAre("lvchange --yes --activate y --ignoreactivationskip vg/orders-0a",
                                              "vgmknodes vg/orders-0a", "lvchange --activate n vg/orders-0a"));
}

// Required: it would deactivate the volume, too.
TEST_F(LvmSplitterTest, ClassicSnapshotIsNotDeactivated) {
  splitter().detach(classic);
  EXPECT_THAT(changes(), testing::IsEmpty());
}

TEST_F(LvmSplitterTest, ReleaseRemovesTheSnapshotAndItsRecordWhereTheyAre) {
  splitter().keepRecord(thin, "text");
  ASSERT_EQ(splitter().records().size(), 1U);
  EXPECT_EQ(splitter().records()[0].snapshotFile, "/dev/vg/orders-0a");
  splitter().release(thin);
  splitter().release(planned(classic));
  EXPECT_THAT(changes(), testing::ElementsAre("lvremove --force --yes vg/orders-0a"));
  EXPECT_THAT(splitter().records(), testing::IsEmpty());
}

TEST_F(LvmSplitterTest, FailureOfLvmIsToldInItsWords) {
  m_directory.write("fails", "");
  EXPECT_THAT([&] { splitter().release(thin); }, ThrowsMessage<HostError>("lvm lvs failed with status 5: It cannot."));
}

TEST_F(LvmSplitterTest, NamesThatAreNoneAreNotGivenToLvm) {
  for (const char* path :
       {"/dev/vg", "/dev/vg/-a", "/dev/-vg/a", "/dev/vg/a b", "/dev/../a", "/pool/vg/a", "/dev/vg/a/b"}) {
    SplitPlan plan = thin;
    plan.snapshotFile = path;
    EXPECT_THAT([&] { splitter().release(plan); },
                ThrowsMessage<HostError>(std::string(path) + " is not the path of a logical volume"));
  }
  EXPECT_EQ(calls(), "");
}

TEST_F(LvmSplitterTest, ProgramThatOthersCanChangeIsNotRun) {
  const LvmSplitter careful({.program = m_directory.file("lvm"), .kernel = "6.12"}, m_directory.file("records"));
  const std::vector<std::function<void()>> uses = {
      [&] { careful.requireUsable(); }, [&] { careful.plan("/dev/mapper/vg-orders", "0b"); },
      [&] { careful.prepare({thin}); }, [&] { careful.attach(thin); },
      [&] { careful.detach(thin); },    [&] { careful.release(thin); }};
  for (const std::function<void()>& use : uses) {
    EXPECT_THAT(use, ThrowsMessage<HostError>(HasSubstr("lvm cannot be trusted: ")));
  }
  EXPECT_FALSE(careful.look(thin, LookAt::everything).exists);
  EXPECT_EQ(calls(), "");
}

TEST(NestedFreezes, AreKnownFromLinux6_8On) {
  for (const char* kernel : {"6.8.0", "6.12.9+deb12-amd64", "6.8-rc1", "7.0.1", "10.0"}) {
    EXPECT_NO_THROW(requireNestedFreezes(kernel)) << kernel;
  }
  for (const char* kernel : {"6.7.12", "6.1.0-18-amd64", "5.19", "5.10.0", "", "nonsense"}) {
    EXPECT_THROW(requireNestedFreezes(kernel), HostError) << kernel;
  }
}

}  // namespace
}  // namespace qmfi_host
