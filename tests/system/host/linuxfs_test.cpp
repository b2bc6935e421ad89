// The provider for xfs and ext4 on real file systems, through qmfi and through its exports.
// Volumes: "orders" and "ledger" are xfs, "invoices" is ext4, all mounted below /mnt; "spare" is blank.
#include <fcntl.h>
#include <linux/fs.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "cfifrozengroup.h"
#include "host_fixture.h"
#include "ledger.h"
#include "support/freeze_requests.h"
#include "support/loaded_plugin.h"
#include "support/text_file.h"
#include "support/writer.h"
#include "system/descriptor.h"
#include "system/pipe.h"
#include "writer_process.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::OpenDirectory;
using testbed_test::Outcome;
using testbed_test::Writer;
using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* providers = "/usr/lib/qmfi/linuxfs";
constexpr std::array mountPoints = {"/mnt/orders", "/mnt/invoices", "/mnt/ledger"};

// 0, or why a freeze or a thaw is refused.
int ask(const std::string& mountPoint, unsigned long request) {
  return ioctl(OpenDirectory(mountPoint).get(), request, 0) == 0 ? 0 : errno;
}

class LinuxFS : public testing::Test {
 protected:
  void TearDown() override {
    if (HasFailure()) {
      for (const char* const mountPoint : mountPoints) ask(mountPoint, FITHAW);
      qmfiHere({"recover"});
      for (const Snapshot& snapshot : listedSnapshots()) qmfiHere({"snapshot", "delete", snapshot.id});
    }
    EXPECT_TRUE(listedId().empty());
    EXPECT_EQ(demo::lastingDifference(m_before), "");
    for (const char* const mountPoint : mountPoints) EXPECT_EQ(ask(mountPoint, FITHAW), EINVAL) << mountPoint;
  }

  static Outcome qmfiHere(std::vector<std::string> words) {
    words.insert(words.begin(), {"--provider-dir", providers});
    return qmfi(words);
  }

  // Takes a snapshot of all three, which must succeed.
  static Snapshot createOfAll() {
    const Outcome outcome =
        qmfiHere({"snapshot", "create", "--freeze-timeout", "20", mountPoints[0], mountPoints[1], mountPoints[2]});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    const std::vector<Snapshot> snapshots = listedSnapshots();
    return snapshots.empty() ? Snapshot{} : snapshots.back();
  }

  static void remove(const Snapshot& snapshot) {
    EXPECT_EQ(qmfiHere({"snapshot", "delete", snapshot.id}).output, "snapshot " + snapshot.id + " deleted\n");
  }

 private:
  demo::MachineState m_before = demo::machineState();
};

TEST_F(LinuxFS, IsShown) {
  EXPECT_EQ(qmfiHere({"provider", "show"}).output,
            "provider     linuxfsfi\nversion      1.0.0.0\nattributes   0 0\nfile systems xfs ext4\n");
}

TEST_F(LinuxFS, ClaimsWholeFileSystemsOfItsTypesOnly) {
  fs::create_directories("/mnt/orders/part");
  fs::create_directory("/mnt/bound");
  ASSERT_EQ(mount("/mnt/orders/part", "/mnt/bound", nullptr, MS_BIND, nullptr), 0);
  const Outcome outcome =
      qmfiHere({"claim", "/mnt/orders", "/mnt/invoices", "/mnt/orders/part", "/mnt/bound", "/proc"});
  EXPECT_EQ(umount("/mnt/bound"), 0);
  fs::remove("/mnt/bound");
  fs::remove("/mnt/orders/part");
  EXPECT_EQ(outcome.output,
            "/mnt/orders: claimed in group linuxfs-quiesce\n/mnt/invoices: claimed in group linuxfs-quiesce\n"
            "/mnt/orders/part: not claimed; it lies in the file system on /mnt/orders\n/mnt/bound: not claimed\n/proc: "
            "not claimed\n");
  EXPECT_EQ(outcome.status, 4);
}

TEST_F(LinuxFS, SnapshotHoldsWhatWasThereAndCanBeUnmountedAndMountedAgain) {
  for (const char* const mountPoint : mountPoints) std::ofstream(std::string(mountPoint) + "/file") << "before";
  const Snapshot snapshot = createOfAll();
  for (const char* const mountPoint : mountPoints) std::ofstream(std::string(mountPoint) + "/file") << "after";
  ASSERT_EQ(snapshot.nodes.size(), mountPoints.size());
  const auto expectContent = [&] {
    for (const SnapshotNode& node : snapshot.nodes) {
      EXPECT_EQ(textOf(node.alternate + "/file"), "before");
      EXPECT_NE(std::ofstream(node.alternate + "/new").is_open(), true);
    }
  };
  expectContent();
  EXPECT_EQ(qmfiHere({"snapshot", "unmount", snapshot.id}).status, 0);
  for (const SnapshotNode& node : snapshot.nodes) EXPECT_FALSE(fs::exists(node.alternate));
  EXPECT_EQ(qmfiHere({"snapshot", "mount", snapshot.id}).status, 0);
  expectContent();
  remove(snapshot);
  for (const char* const mountPoint : mountPoints) fs::remove(std::string(mountPoint) + "/file");
}

// The writer numbers orders, invoices and ledger in turn; the copies must have been one moment of all three.
TEST_F(LinuxFS, SnapshotAcrossBothTypesIsOfOneMoment) {
  constexpr int rounds = 5;
  demo::WriterProcess writer;
  for (int round = 0; round < rounds; ++round) {
    const auto before = demo::Clock::now();
    const Snapshot snapshot = createOfAll();
    const auto after = demo::Clock::now();
    ASSERT_EQ(snapshot.nodes.size(), demo::fileSystems);
    const demo::Numbers numbers = {demo::readNumber(snapshot.nodes[0].alternate),
                                   demo::readNumber(snapshot.nodes[1].alternate),
                                   demo::readNumber(snapshot.nodes[2].alternate)};
    EXPECT_TRUE(demo::isOneMoment(numbers)) << testing::PrintToString(numbers);
    writer.waitForNumbers(2);
    EXPECT_EQ(demo::contradiction(numbers, writer.log(), before, after), "");
    remove(snapshot);
  }
}

TEST_F(LinuxFS, FreezeOfSomebodyElseIsNamedAndKeptAndTheOthersAreThawed) {
  ASSERT_EQ(ask("/mnt/invoices", FIFREEZE), 0);
  const Outcome outcome = qmfiHere({"snapshot", "create", "/mnt/orders", "/mnt/invoices", "/mnt/ledger"});
  EXPECT_EQ(ask("/mnt/orders", FITHAW), EINVAL);
  EXPECT_EQ(ask("/mnt/ledger", FITHAW), EINVAL);
  EXPECT_EQ(ask("/mnt/invoices", FITHAW), 0);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: the file systems could not be frozen: status 6\n"
            "  The operation failed; the messages of the provider say why.\n"
            "  MSG_ERROR_FROZEN_ALREADY: The file system on /mnt/invoices is frozen already, by somebody else, so no "
            "snapshot can be taken.\n");
}

TEST_F(LinuxFS, SnapshotInUseIsRemovedByForce) {
  const Snapshot snapshot = createOfAll();
  {
    const OpenDirectory user(snapshot.nodes.at(1).alternate);
    EXPECT_EQ(qmfiHere({"snapshot", "delete", snapshot.id}).status, 5);
    EXPECT_EQ(qmfiHere({"snapshot", "delete", "--force", snapshot.id}).output,
              "snapshot " + snapshot.id + " deleted\n");
  }
}

TEST_F(LinuxFS, WhoeverUsesASnapshotThatIsRemovedByForceGetsErrors) {
  for (const std::string mountPoint : mountPoints) std::ofstream(mountPoint + "/held") << "content\n";
  const Snapshot snapshot = createOfAll();
  {
    std::vector<qmfi_system::Descriptor> files;
    for (const SnapshotNode& node : snapshot.nodes) {
      files.emplace_back(open((node.alternate + "/held").c_str(), O_RDONLY | O_CLOEXEC));
    }
    char byte = 0;
    for (const qmfi_system::Descriptor& file : files) EXPECT_EQ(pread(file.get(), &byte, 1, 0), 1);
    EXPECT_EQ(qmfiHere({"snapshot", "delete", "--force", snapshot.id}).status, 0);
    for (const qmfi_system::Descriptor& file : files) {
      EXPECT_EQ(pread(file.get(), &byte, 1, 0), -1);
      EXPECT_EQ(errno, EIO);
    }
  }
  for (const std::string mountPoint : mountPoints) fs::remove(mountPoint + "/held");
}

TEST_F(LinuxFS, AccessIsDisabledAndEnabledAgain) {
  EXPECT_EQ(qmfiHere({"access", "disable", "/mnt/invoices"}).output, "");
  EXPECT_EQ(qmfiHere({"claim", "/mnt/invoices"}).output, "/mnt/invoices: not claimed\n");
  EXPECT_EQ(qmfiHere({"access", "enable", "/mnt/invoices"}).output, "");
  EXPECT_EQ(qmfiHere({"claim", "/mnt/invoices"}).output, "/mnt/invoices: claimed in group linuxfs-quiesce\n");
}

TEST_F(LinuxFS, DeviceIsFormattedAndBroughtOnline) {
  constexpr const char* device = "/dev/qm/dsk/dg1/spare";
  EXPECT_EQ(qmfiHere({"resource", "format", "--force", device}).output, std::string(device) + " formatted\n");
  EXPECT_EQ(qmfiHere({"resource", "online", device, "/mnt/spare", "-o", "noatime"}).output, "/mnt/spare\n");
  EXPECT_EQ(qmfiHere({"claim", "/mnt/spare"}).output, "/mnt/spare: claimed in group linuxfs-quiesce\n");
  EXPECT_EQ(umount2("/mnt/spare", 0), 0);
  fs::remove("/mnt/spare");
}

TEST_F(LinuxFS, ProgramThatFailsIsShownByItsLastLineAndLogged) {
  constexpr const char* device = "/dev/qm/dsk/dg1/spare";
  constexpr const char* log = "/var/log/qmfi/linuxfsfi.log";
  const std::size_t before = linesOf(log).size();
  const ScriptInPlaceOf script("/sbin/mkfs.xfs", "echo trying; echo no luck; exit 1");
  const Outcome outcome = qmfiHere({"resource", "format", "--force", device});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: /dev/qm/dsk/dg1/spare could not be formatted: status 6\n"
            "  The operation failed; the messages of the provider say why.\n"
            "  MSG_LINUXFS_PROGRAM: The program /sbin/mkfs.xfs -q -f /dev/qm/dsk/dg1/spare failed: no luck\n"
            "      The whole output of the program is in /var/log/qmfi/linuxfsfi.log.\n");
  const std::vector<std::string> lines = linesOf(log);
  ASSERT_EQ(lines.size(), before + 1);
  EXPECT_THAT(lines.back(), EndsWith(" L1 format failed: MSG_LINUXFS_PROGRAM /sbin/mkfs.xfs -q -f "
                                     "/dev/qm/dsk/dg1/spare tryingno luck "));
}

TEST_F(LinuxFS, CacheCannotBeSwitched) {
  const Outcome outcome = qmfiHere({"cache", "enable", "/mnt/orders"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, HasSubstr("MSG_LINUXFS_NO_CACHE"));
  EXPECT_EQ(qmfiHere({"cache", "disable", "/mnt/orders"}).status, 1);
}

// A framework that does not watch over its freezes: the provider's exports, and nothing of qmfi.
class Framework {
 public:
  Framework() {
    kfi_version version{};
    EXPECT_EQ(m_plugin->fi_pgn_init(nullptr, &version, nullptr), 0);
    name(m_config, "linuxfs-quiesce");
    EXPECT_EQ(m_plugin->fi_pgn_init_node(&m_config, nullptr, 0, nullptr), 0);
    kfi_domain* domains[] = {&m_config};
    for (std::size_t i = 0; i < mountPoints.size(); ++i) {
      name(m_nodes[i], mountPoints[i]);
      EXPECT_EQ(m_plugin->fi_pgn_init_node(&m_nodes[i], domains, 1, nullptr), 0);
      m_quiesceNodes[i] = m_nodes[i].fid_qnode;
    }
  }
  Framework(const Framework&) = delete;
  Framework& operator=(const Framework&) = delete;
  ~Framework() {
    for (kfi_domain& node : m_nodes) m_plugin->fi_pgn_deinit_node(&node);
    m_plugin->fi_pgn_deinit_node(&m_config);
    m_plugin->fi_pgn_fini();
  }

  int freeze(std::string seconds) {
    std::string parameter = "linuxfsFreezeTimeout";
    kfi_confspec setting{parameter.data(), seconds.data(), nullptr};
    EXPECT_EQ(m_plugin->fi_pgn_config(&m_config, 0, nullptr, &setting), 0);
    return m_plugin->fi_pgn_quiesce(nullptr, m_quiesceNodes.data(), static_cast<int>(m_quiesceNodes.size()), nullptr);
  }
  void thaw() { m_plugin->fi_pgn_unquiesce(nullptr, m_quiesceNodes.data(), static_cast<int>(m_quiesceNodes.size())); }

  // Enables access to them all as if it were disabled; tells how many still count as disabled then.
  std::size_t stillDisabled() {
    std::array<kfi_subobj_list, mountPoints.size()> devices{};
    std::array<kfi_node_subobj_list, mountPoints.size()> list{};
    for (std::size_t i = 0; i < mountPoints.size(); ++i) {
      struct stat status {};
      EXPECT_EQ(stat(mountPoints[i], &status), 0);
      const std::string device = "/dev/loop" + std::to_string(minor(status.st_dev));
      devices[i].kso_objid =
          m_identifierOf(device.c_str(), static_cast<std::uint32_t>(device.size()), KFI_OBJID_OBJECT);
      m_nodes[i].fid_attr |= KFI_ATTR_ACCESS_DISABLED;
      list[i] = {&m_nodes[i], &devices[i], i + 1 < mountPoints.size() ? &list[i + 1] : nullptr};
    }
    EXPECT_EQ(m_plugin->fi_pgn_enable_access(list.data(), 0, 0, 0), 0);
    return static_cast<std::size_t>(std::count_if(m_nodes.begin(), m_nodes.end(), [](const kfi_domain& node) {
      return (node.fid_attr & KFI_ATTR_ACCESS_DISABLED) != 0;
    }));
  }

  // Gives up what is mounted there, and lets nobody use the directory any more.
  int dispose(const std::string& mountPoint) {
    return withNode(mountPoint, [&](kfi_domain& node) {
      return m_plugin->fi_pgn_dispose(nullptr, &node, nullptr, KFI_DISPOSITION_REMOVE);
    });
  }
  // Takes it down as an alternate.
  int deport(const std::string& mountPoint) {
    return withNode(mountPoint,
                    [&](kfi_domain& node) { return m_plugin->fi_pgn_deport_tree(m_nodes.data(), &node, nullptr); });
  }

  std::vector<std::string> takeMessages() {
    std::vector<std::string> ids;
    kfi_msg_info* list = nullptr;
    m_plugin->fi_pgn_get_last_error(&list);
    for (const kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) {
      ids.push_back(message->kmi_id);
    }
    m_plugin->fi_pgn_del_last_error(&list);
    return ids;
  }

 private:
  template <typename Action>
  int withNode(const std::string& mountPoint, Action action) {
    kfi_domain node{};
    name(node, mountPoint);
    kfi_domain* domains[] = {&m_config};
    EXPECT_EQ(m_plugin->fi_pgn_init_node(&node, domains, 1, nullptr), 0);
    const int status = action(node);
    m_plugin->fi_pgn_deinit_node(&node);
    return status;
  }

  void name(kfi_domain& node, const std::string& text) {
    node.fid_objid = m_identifierOf(text.c_str(), static_cast<std::uint32_t>(text.size()), KFI_OBJID_PATH);
  }

  LoadedPlugin m_plugin{std::string(providers) + "/liblinuxfsfi.so", "linuxfsfi"};
  decltype(&qmfi_get_objid) m_identifierOf = m_plugin.function<decltype(qmfi_get_objid)>("qmfi_get_objid");
  kfi_domain m_config{};
  std::array<kfi_domain, mountPoints.size()> m_nodes{};
  std::array<kfi_quiescenode*, mountPoints.size()> m_quiesceNodes{};
};

TEST_F(LinuxFS, AllAreFrozenUntilTheThaw) {
  Framework framework;
  EXPECT_EQ(framework.freeze("60"), 0);
  for (const char* const mountPoint : mountPoints) EXPECT_EQ(ask(mountPoint, FIFREEZE), EBUSY) << mountPoint;
  EXPECT_EQ(framework.freeze("60"), 6);
  EXPECT_THAT(framework.takeMessages(), testing::ElementsAre("MSG_ERROR_OUTSTANDING"));
  framework.thaw();
  for (const char* const mountPoint : mountPoints) EXPECT_EQ(ask(mountPoint, FITHAW), EINVAL) << mountPoint;
  EXPECT_TRUE(framework.takeMessages().empty());
}

TEST_F(LinuxFS, AccessToAllThatAreMountedAlreadyIsEnabled) {
  Framework framework;
  EXPECT_EQ(framework.stillDisabled(), 0U);
}

TEST_F(LinuxFS, DirectoryOfWhatIsGivenUpIsRemoved) {
  constexpr const char* device = "/dev/qm/dsk/dg1/spare";
  ASSERT_EQ(qmfiHere({"resource", "format", "--force", device}).status, 0);
  Framework framework;
  for (const auto takeDown : {&Framework::dispose, &Framework::deport}) {
    ASSERT_EQ(qmfiHere({"resource", "online", device, "/mnt/spare"}).status, 0);
    EXPECT_EQ((framework.*takeDown)("/mnt/spare"), 0);
    EXPECT_FALSE(fs::exists("/mnt/spare"));
  }
}

TEST_F(LinuxFS, FreezeEndsByItsTimeOutAndTheThawTellsOfIt) {
  Framework framework;
  {
    const Writer writer("/mnt/invoices/written");
    ASSERT_TRUE(writer.waitForProgress());
    EXPECT_EQ(framework.freeze("1"), 0);
    EXPECT_TRUE(writer.waitUntilBlocked());
    EXPECT_TRUE(writer.waitForProgress());
  }
  fs::remove("/mnt/invoices/written");
  framework.thaw();
  EXPECT_THAT(framework.takeMessages(), testing::Each("MSG_ERROR_FREEZE_ENDED"));
}

TEST_F(LinuxFS, KilledFrameworkLeavesNothingFrozen) {
  {
    const Writer writer("/mnt/orders/written");
    ASSERT_TRUE(writer.waitForProgress());
    qmfi_system::Pipe told = qmfi_system::makePipe();
    const pid_t process = fork();
    if (process == 0) {
      Framework framework;
      const char status = static_cast<char>(framework.freeze("3600"));
      if (write(told.writeEnd.get(), &status, 1) != 1) _exit(1);
      pause();
    }
    char status = -1;
    EXPECT_EQ(read(told.readEnd.get(), &status, 1), 1);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(writer.waitUntilBlocked());
    EXPECT_EQ(kill(process, SIGKILL), 0);
    EXPECT_EQ(waitpid(process, nullptr, 0), process);
    EXPECT_TRUE(writer.waitForProgress());
  }
  fs::remove("/mnt/orders/written");
}

// Else the freeze would do it while everything stands still.
TEST_F(LinuxFS, EmptiesTheJournalOfExt4BeforeTheFreeze) {
  const auto isJournalEmpty = [] {
    const std::string told = testbed_test::run({"/sbin/dumpe2fs", "-h", "/dev/qm/dsk/dg1/invoices"}).output;
    return told.find("Journal start:            0\n") != std::string::npos;
  };
  const std::string file = "/mnt/invoices/entered";
  std::ofstream(file) << "x";
  const OpenDirectory invoices("/mnt/invoices");
  ASSERT_EQ(syncfs(invoices.get()), 0);
  EXPECT_FALSE(isJournalEmpty());
  EXPECT_EQ(qmfi_pdk_4_4::CFiFreezeRequests().flush(invoices.get()), 0);
  EXPECT_TRUE(isJournalEmpty());
  fs::remove(file);
}

}  // namespace
}  // namespace host_test
