// The steps of a snapshot's life: which calls are made in which order, and what the state store knows at each of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <map>

#include "cfiscopeexit.h"
#include "cli/progress_steps.h"
#include "fake_provider.h"
#include "full_disk.h"
#include "snapshot/snapshot_creation.h"
#include "snapshot/snapshot_mounting.h"
#include "snapshot/snapshot_recovery.h"
#include "snapshot/snapshot_removal.h"
#include "state/receipt_json.h"
#include "state/snapshot_record.h"
#include "support/temporary_directory.h"
#include "support/text_file.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

// Records what it is told beside what is done.
class RecordedProgress : public Progress {
 public:
  explicit RecordedProgress(Journal& journal) : m_journal(journal) {}

  void step(Step step, const std::string& object) const override {
    m_journal.record("told " + std::string(nameOf(step).key) + " " + object);
  }
  void choice(const std::string& object, const std::string& provider, const std::string& splitter) const override {
    m_journal.record("told choice " + object + " " + provider + " " + splitter);
  }
  void thawed(std::chrono::microseconds frozen, const std::optional<std::string>& signal) const override {
    EXPECT_GT(frozen.count(), 0);
    m_journal.record("told thawed " + signal.value_or(""));
  }
  void retry(int attempt, int attempts, std::chrono::milliseconds pause) const override {
    m_journal.record("told retry " + std::to_string(attempt) + " " + std::to_string(attempts) + " " +
                     std::to_string(pause.count()));
  }

 private:
  Journal& m_journal;
};

// Mount points are file systems that every machine has; nothing of what is asked for is really done.
class SnapshotStepsTest : public testing::Test {
 protected:
  SnapshotStepsTest() { m_providers.add(m_provider); }

  static ProviderDescriptor sampleDescriptor() {
    ProviderDescriptor descriptor;
    descriptor.timeout = {"freezeTimeout", {}};
    descriptor.thawRequest = someRequest;
    descriptor.devices = {"/dev", "/raw"};
    return descriptor;
  }

  SnapshotRequest request() const {
    return {.id = newSnapshotId(),
            .fileSystems = {{"/proc", "sample", "group"}, {"/sys", "sample", "group"}},
            .name = "nightly",
            .freezeTimeout = someTimeout,
            .alternateDirectory = "/alternates"};
  }

  // What is told, and of what is done those calls that the others begin with.
  std::vector<std::string> told(const std::string& id, const std::vector<std::string>& others = {}) const {
    std::vector<std::string> chosen = calls(id);
    std::erase_if(chosen, [&](const std::string& call) {
      return !call.starts_with("told ") && std::none_of(others.begin(), others.end(), [&](const std::string& other) {
        return call.starts_with(other);
      });
    });
    return chosen;
  }

  SnapshotCreation toldCreation() {
    return {m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals, runLocked, m_progress};
  }

  SnapshotCreation creation() { return {m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals}; }

  Snapshot create() { return creation().run(request()); }

  // A snapshot as a process before this one left it, with nothing of it in the journal.
  Snapshot createEarlier(Phase phase) {
    Snapshot snapshot = create();
    snapshot.phase = phase;
    m_store.update(snapshot);
    m_journal.clear();
    return snapshot;
  }

  // How often a call of this name is in the journal.
  auto count(const std::string& name) const {
    return std::count_if(m_journal.calls().begin(), m_journal.calls().end(),
                         [&](const std::string& call) { return call.substr(0, call.find(' ')) == name; });
  }

  // The journal with the snapshot's id replaced.
  std::vector<std::string> calls(const std::string& id) const {
    std::vector<std::string> calls = m_journal.calls();
    for (std::string& call : calls) {
      for (auto at = call.find(id); at != std::string::npos; at = call.find(id)) call.replace(at, id.size(), "ID");
    }
    return calls;
  }

  static constexpr std::chrono::seconds someTimeout{7};
  static constexpr unsigned long someRequest = 0x12345678;

  TemporaryDirectory m_directory;
  Journal m_journal;
  FakeProvider m_fake{m_journal};
  FakeSplitter m_splitter{m_journal};
  Splitters m_splitters{{&m_splitter}};
  FakeFileSystems m_fileSystems;
  FakeDirectories m_directories{m_journal};
  Provider m_provider{m_fake.entryPoints(), "sample", "", sampleDescriptor()};
  GivenProviders m_providers;
  StateStore m_store{m_directory.path()};
  DeferredSignals m_signals;
  RecordedProgress m_progress{m_journal};
};

TEST_F(SnapshotStepsTest, CreationMakesEveryCallInItsOrder) {
  m_journal.clear();
  const Snapshot snapshot = create();
  EXPECT_THAT(
      calls(snapshot.id),
      ElementsAre(
          "init_node group", "config group 0 freezeTimeout=7", "init_node /proc group", "init_node /sys group",
          "subobj_list /proc", "plan /dev/proc", "subobj_list /sys", "plan /dev/sys", "claim nightly",
          "make /alternates/nightly/proc", "make /alternates/nightly/sys", "prepare /dev/proc", "prepare /dev/sys",
          "keep /dev/proc", "keep /dev/sys", "flush /dev/proc", "flush /dev/sys", "flush /dev/proc", "flush /dev/sys",
          "quiesce /proc /sys", "split /dev/proc", "split /dev/sys", "unquiesce /proc /sys", "attach /dev/proc",
          "attach /dev/sys", "make /alternates/nightly/proc", "build_alttree /proc sample 8 /dev/proc /dev/proc-ID 1",
          "init_altnode /proc /alternates/nightly/proc", "fetch /proc", "fetch /alternates/nightly/proc",
          "deinit_node /alternates/nightly/proc", "secure /alternates/nightly/proc", "make /alternates/nightly/sys",
          "build_alttree /sys sample 8 /dev/sys /dev/sys-ID 1", "init_altnode /sys /alternates/nightly/sys",
          "fetch /sys", "fetch /alternates/nightly/sys", "deinit_node /alternates/nightly/sys",
          "secure /alternates/nightly/sys", "keep /dev/proc", "keep /dev/sys", "let go /dev/proc", "let go /dev/sys",
          "deinit_node /proc", "deinit_node /sys", "deinit_node group"));
}

TEST_F(SnapshotStepsTest, CreationRemembersEverythingThatALaterProcessNeeds) {
  const Snapshot snapshot = create();
  const auto known = StateStore(m_directory.path()).find("nightly");
  ASSERT_TRUE(known);
  EXPECT_EQ(known->id, snapshot.id);
  EXPECT_EQ(known->phase, Phase::ready);
  EXPECT_EQ(known->frozen, snapshot.frozen);
  ASSERT_EQ(known->nodes.size(), 2U);
  EXPECT_EQ(known->nodes[1].provider, "sample");
  EXPECT_EQ(known->nodes[1].thawRequest, someRequest);
  EXPECT_EQ(known->nodes[1].kernelTimeout, someTimeout);
  EXPECT_EQ(known->freeze.bootId, textOf("/proc/sys/kernel/random/boot_id"));
  EXPECT_EQ(known->nodes[1].mountPoint, "/sys");
  EXPECT_EQ(known->nodes[1].volume.rawDevice, "/raw/sys-" + snapshot.id);
  EXPECT_EQ(known->nodes[1].alternate, "/alternates/nightly/sys");
  EXPECT_EQ(known->nodes[1].state, "state of /sys");
  EXPECT_EQ(known->nodes[1].alternateState, "state of /alternates/nightly/sys");
}

TEST_F(SnapshotStepsTest, EachStepOfACreationIsRememberedBeforeItBegins) {
  std::map<std::string, std::string> phases;
  m_journal.onCall = [&](const std::string& call) {
    const std::string name = call.substr(0, call.find(' '));
    const auto known = StateStore(m_directory.path()).find("nightly");
    phases.try_emplace(name, known ? phaseName(known->phase) : "unknown");
  };
  create();
  m_journal.onCall = nullptr;
  EXPECT_EQ(phases["plan"], "unknown");
  EXPECT_EQ(phases["prepare"], "preparing");
  EXPECT_EQ(phases["quiesce"], "freezing");
  EXPECT_EQ(phases["attach"], "attaching");
  EXPECT_EQ(phases["build_alttree"], "mounting");
}

// The providers may try again for long, and others use the state meanwhile. A directory is claimed in a moment.
TEST_F(SnapshotStepsTest, StateIsLentToOthersWhileProvidersAndVolumesAreAtWork) {
  bool isLent = false;
  const RunUnlocked lend = [&](const std::function<void()>& work) {
    isLent = true;
    const qmfi_pdk_4_4::CFiScopeExit end([&] { isLent = false; });
    work();
  };
  Snapshot snapshot = createEarlier(Phase::ready);
  m_journal.onCall = [&](const std::string& call) { EXPECT_EQ(isLent, call != "claim nightly") << call; };
  SnapshotRemoval(m_providers, m_splitters, m_store, lend).unmount(snapshot);
  mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot, lend);
  m_fake.statuses["online"] = 6;
  EXPECT_THROW(mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot, lend), ProviderError);
  recoverSnapshot(m_providers, m_splitters, m_store, snapshot, lend);
  m_journal.onCall = nullptr;
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, CreationKeepsTheReceiptOfItsFreezeBesideTheCopiesToo) {
  const Snapshot snapshot = create();
  ASSERT_TRUE(snapshot.receipt);
  EXPECT_EQ(levelOf(*snapshot.receipt), ProofLevel::group);
  EXPECT_EQ(snapshot.receipt->over, snapshot.frozen);
  EXPECT_EQ(receiptText(StateStore(m_directory.path()).find("nightly")->receipt), receiptText(snapshot.receipt));
  EXPECT_EQ(receiptText(snapshotOfRecord(m_splitter.kept.at("/dev/sys")).receipt), receiptText(snapshot.receipt));
}

TEST_F(SnapshotStepsTest, SnapshotOfWhichLessIsProvenThanRequiredIsUndone) {
  SnapshotRequest asked = request();
  asked.required = ProofLevel::group;
  asked.freezeTimeout = std::chrono::seconds(5);
  m_journal.onCall = [&](const std::string& call) {
    if (!call.starts_with("unquiesce")) return;
    const auto end = std::chrono::steady_clock::now() + *asked.freezeTimeout;
    while (std::chrono::steady_clock::now() < end) {
    }
  };
  try {
    creation().run(asked);
    FAIL() << "it did not fail";
  } catch (const HostError& error) {
    EXPECT_EQ(error.exitStatus(), ExitStatus::weakerThanRequired);
    EXPECT_STREQ(error.what(),
                 "it is not proven that all file systems were frozen until their volumes had been split, since the "
                 "thaw came after a time-out; the snapshot is not kept, as --require group asks; --freeze-timeout sets "
                 "a longer time-out");
  }
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
  EXPECT_EQ(count("release"), 2);
}

TEST_F(SnapshotStepsTest, SnapshotOfWhichAllIsProvenIsMadeAlsoWhereThatIsRequired) {
  SnapshotRequest asked = request();
  asked.required = ProofLevel::group;
  EXPECT_EQ(creation().run(asked).phase, Phase::ready);
}

TEST_F(SnapshotStepsTest, NameThatIsNoWordIsRefusedBeforeTheFreeze) {
  for (const char* blank : {" ", "\t", "\n"}) {
    SnapshotRequest unnamable = request();
    unnamable.fileSystems[1].mountPoint = std::string("/sys/no") + blank + "word";
    EXPECT_THAT(
        [&] {
          SnapshotCreation(m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals).run(unnamable);
        },
        ThrowsMessage<HostError>(testing::StartsWith("no snapshot can be taken with the mount point \"/sys/no")));
  }
  EXPECT_EQ(count("quiesce"), 0);
  EXPECT_EQ(count("prepare"), 0);
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, SnapshotWithoutANameIsNamedByItsId) {
  SnapshotRequest nameless = request();
  nameless.name.clear();
  const Snapshot snapshot =
      SnapshotCreation(m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals).run(nameless);
  EXPECT_EQ(snapshot.name, snapshot.id);
}

TEST_F(SnapshotStepsTest, FreezeTimeoutIsGivenToThoseProvidersOnlyThatTakeOne) {
  Provider without(m_fake.entryPoints(), "without", "");
  m_providers.add(without);
  m_journal.clear();
  SnapshotRequest both = request();
  both.fileSystems[1] = {"/sys", "without", "other"};
  SnapshotCreation(m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals).run(both);
  EXPECT_EQ(count("config"), 1);
  EXPECT_THAT(m_journal.calls(), testing::Contains("config group 0 freezeTimeout=7"));
}

// The providers freeze in the order of their names, whatever the order of the mount points is.
TEST_F(SnapshotStepsTest, CreationOfTwoProvidersFreezesAllInOneWindow) {
  Provider another(m_fake.entryPoints(), "another", "");
  m_providers.add(another);
  m_journal.clear();
  SnapshotRequest both = request();
  both.fileSystems = {{"/proc", "sample", "group"}, {"/sys", "another", "other"}, {"/proc/sys", "sample", "group"}};
  const Snapshot snapshot =
      SnapshotCreation(m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals).run(both);
  const std::vector<std::string> all = calls(snapshot.id);
  const auto window = std::find(all.begin(), all.end(), "quiesce /sys");
  ASSERT_GE(all.end() - window, 7);
  EXPECT_THAT(std::vector<std::string>(window, window + 7),
              ElementsAre("quiesce /sys", "quiesce /proc /proc/sys", "split /dev/proc", "split /dev/sys",
                          "split /dev/proc/sys", "unquiesce /proc /proc/sys", "unquiesce /sys"));
  const auto known = m_store.find(snapshot.id);
  ASSERT_TRUE(known);
  ASSERT_EQ(known->nodes.size(), 3U);
  EXPECT_EQ(known->nodes[0].provider, "sample");
  EXPECT_EQ(known->nodes[1].provider, "another");
  EXPECT_EQ(known->nodes[1].thawRequest, static_cast<unsigned long>(FITHAW));
  EXPECT_EQ(known->nodes[1].kernelTimeout, std::chrono::seconds(0));
  EXPECT_EQ(known->nodes[1].volume.rawDevice, "");
}

TEST_F(SnapshotStepsTest, SplitThatWritesToWhatIsFrozenIsRefusedBeforeTheFreeze) {
  m_splitter.place = "/sys/kernel";
  EXPECT_THAT([&] { create(); },
              ThrowsMessage<HostError>("what splits the volume of /proc writes to /sys/kernel on /sys, which is to be "
                                       "frozen with it"));
  EXPECT_EQ(count("prepare"), 0);
}

class SeveralSplittersTest : public SnapshotStepsTest {
 protected:
  SeveralSplittersTest() {
    m_other.ownName = "other";
    m_splitter.ownDevices = "/dev/sys";
    m_journal.clear();
  }

  Snapshot create(const SnapshotRequest& asked) {
    return SnapshotCreation(m_providers, m_both, m_directories, m_fileSystems, m_store, m_signals).run(asked);
  }

  static std::vector<std::string> splittersOf(const Snapshot& snapshot) {
    std::vector<std::string> names;
    for (const SnapshotNode& node : snapshot.nodes) names.push_back(node.volume.splitter);
    return names;
  }

  FakeSplitter m_other{m_journal};
  Splitters m_both{{&m_splitter, &m_other}};
};

TEST_F(SeveralSplittersTest, EachSplitsItsOwnVolumesInOneFreeze) {
  const Snapshot snapshot = create(request());
  EXPECT_THAT(splittersOf(snapshot), ElementsAre("other", "reflink"));
  EXPECT_THAT(splittersOf(*m_store.find(snapshot.id)), ElementsAre("other", "reflink"));
  const std::vector<std::string>& all = m_journal.calls();
  const auto window = std::find(all.begin(), all.end(), "quiesce /proc /sys");
  ASSERT_GE(all.end() - window, 4);
  EXPECT_THAT(std::vector<std::string>(window, window + 4),
              ElementsAre("quiesce /proc /sys", "split /dev/sys", "split /dev/proc", "unquiesce /proc /sys"));
  EXPECT_EQ(m_splitter.kept.count("/dev/proc"), 0U);
  EXPECT_EQ(m_other.kept.count("/dev/proc"), 1U);
}

TEST_F(SeveralSplittersTest, UsersChoiceGoesBeforeTheKindOfTheVolume) {
  SnapshotRequest asked = request();
  asked.splitter = "reflink";
  EXPECT_THAT(splittersOf(create(asked)), ElementsAre("reflink", "reflink"));
  asked.id = newSnapshotId();
  asked.name = "weekly";
  asked.splitters["/sys"] = "other";
  EXPECT_THAT(splittersOf(create(asked)), ElementsAre("reflink", "other"));
}

TEST_F(SeveralSplittersTest, UnknownOneAndAVolumeThatIsNobodysAreRefusedBeforeTheFreeze) {
  SnapshotRequest asked = request();
  asked.splitter = "saw";
  EXPECT_THAT([&] { create(asked); },
              ThrowsMessage<UsageError>("there is no splitter \"saw\"; there are reflink, other"));
  m_other.ownDevices = "/dev/else";
  EXPECT_THAT([&] { create(request()); },
              ThrowsMessage<HostError>(
                  "the volume /dev/proc cannot be split: it is no block device, and qmfi itself splits loop devices "
                  "over files and logical volumes; QMFI_SPLITTER_COMMAND names a program that splits others; nothing "
                  "was frozen"));
  EXPECT_EQ(count("quiesce"), 0);
}

// The mount point of an inner alternate is part of the outer one, which can be mounted only after the freeze.
TEST_F(SnapshotStepsTest, AlternateWithinAnotherIsMountedAfterItAndUnmountedBeforeIt) {
  SnapshotRequest nested = request();
  nested.fileSystems = {{"/proc/sys", "sample", "group"}, {"/proc", "sample", "group"}};
  Snapshot snapshot =
      SnapshotCreation(m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals).run(nested);
  const auto only = [&](const std::vector<std::string>& names) {
    std::vector<std::string> found;
    for (const std::string& call : m_journal.calls()) {
      const std::string name = call.substr(0, call.find(' '));
      if (std::find(names.begin(), names.end(), name) != names.end()) {
        found.push_back(name == "build_alttree" ? call.substr(0, call.find(" sample")) : call);
      }
    }
    m_journal.clear();
    return found;
  };
  EXPECT_THAT(only({"make", "quiesce", "build_alttree", "secure"}),
              ElementsAre("make /alternates/nightly/proc", "quiesce /proc/sys /proc", "make /alternates/nightly/proc",
                          "build_alttree /proc", "secure /alternates/nightly/proc", "make /alternates/nightly/proc/sys",
                          "build_alttree /proc/sys", "secure /alternates/nightly/proc/sys"));
  const std::vector<std::string> unmounts = {"online", "dispose", "deport_tree"};
  SnapshotRemoval(m_providers, m_splitters, m_store).unmount(snapshot);
  EXPECT_THAT(only(unmounts),
              ElementsAre("online /alternates/nightly/proc/sys 2 0", "dispose /alternates/nightly/proc 1"));
  mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot);
  EXPECT_THAT(only({"make", "online", "secure"}),
              ElementsAre("make /alternates/nightly/proc", "online /alternates/nightly/proc 1 0",
                          "secure /alternates/nightly/proc", "make /alternates/nightly/proc/sys",
                          "online /alternates/nightly/proc/sys 1 0", "secure /alternates/nightly/proc/sys"));
  SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  EXPECT_THAT(only(unmounts), ElementsAre("online /alternates/nightly/proc/sys 2 0",
                                          "deport_tree /proc/sys /alternates/nightly/proc/sys",
                                          "deport_tree /proc /alternates/nightly/proc"));
  EXPECT_EQ(snapshot.nodes[0].mountPoint, "/proc/sys");
}

TEST_F(SnapshotStepsTest, AlternateThatIsMountedElsewhereIsRefusedAndTakenDownThere) {
  m_fake.alternate = "/elsewhere";
  EXPECT_THAT([&] { create(); },
              ThrowsMessage<HostError>("the provider sample mounted the snapshot of /proc on /elsewhere, and not on "
                                       "/alternates/nightly/proc as it was asked to"));
  EXPECT_THAT(m_journal.calls(), testing::Contains("deport_tree /proc /elsewhere"));
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, CreationWhoseAlternateIsRefusedLeavesNothing) {
  for (const char* call : {"make /alternates/nightly/sys", "secure /alternates/nightly/sys"}) {
    m_directories.failingCall = call;
    EXPECT_THAT([&] { create(); }, ThrowsMessage<HostError>(std::string(call) + " failed"));
    EXPECT_THAT(m_store.snapshots(), IsEmpty()) << call;
    EXPECT_THAT(m_journal.calls(), testing::Contains("deport_tree /proc /alternates/nightly/proc")) << call;
  }
}

// All below it is the other one's.
TEST_F(SnapshotStepsTest, CreationWhoseDirectoryIsAnotherQmfisTakesNothingDown) {
  m_directories.failingCall = "claim nightly";
  EXPECT_THAT([&] { create(); }, ThrowsMessage<HostError>("claim nightly failed"));
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
  for (const char* call : {"make", "prepare", "quiesce", "deport_tree", "release"}) EXPECT_EQ(count(call), 0) << call;
}

TEST_F(SnapshotStepsTest, SnapshotThatWasMountedForAWhileIsUnmountedByRecovery) {
  Snapshot snapshot = createEarlier(Phase::unmounted);
  mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot, runLocked, m_progress, Phase::remounting);
  Snapshot left = m_store.find(snapshot.id).value();
  EXPECT_EQ(left.phase, Phase::remounting);
  recoverSnapshot(m_providers, m_splitters, m_store, left);
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, MountWhoseAlternateIsRefusedLeavesTheSnapshotUnmounted) {
  for (const bool isMounted : {false, true}) {
    Snapshot snapshot = createEarlier(Phase::unmounted);
    m_fake.nodeExists = isMounted;
    m_directories.failingCall = "secure /alternates/nightly/sys";
    EXPECT_THROW(mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot), HostError);
    m_directories.failingCall.clear();
    EXPECT_THAT(m_journal.calls(), testing::Contains("dispose /alternates/nightly/sys 1"));
    EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
    SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  }
}

TEST_F(SnapshotStepsTest, EachFileSystemIsRemovedWithTheProviderThatItWasMadeWith) {
  Provider another(m_fake.entryPoints(), "another", "");
  m_providers.add(another);
  SnapshotRequest both = request();
  both.fileSystems[1].provider = "another";
  Snapshot snapshot =
      SnapshotCreation(m_providers, m_splitters, m_directories, m_fileSystems, m_store, m_signals).run(both);
  std::vector<std::string> used;
  m_fake.onDeport = [&](const std::string& provider) { used.push_back(provider); };
  SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  EXPECT_THAT(used, ElementsAre("another", "sample"));
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, CreationThatFailsAtAnyStepLeavesNothing) {
  for (const char* call : {"init_node", "config", "subobj_list", "quiesce", "build_alttree", "init_altnode", "fetch"}) {
    m_journal.clear();
    m_fake.statuses[call] = 6;
    EXPECT_THROW(create(), ProviderError) << call;
    m_fake.statuses.erase(call);
    EXPECT_THAT(m_store.snapshots(), IsEmpty()) << call;
    EXPECT_EQ(count("quiesce") - (std::string(call) == "quiesce" ? 1 : 0), count("unquiesce")) << call;
  }
}

TEST_F(SnapshotStepsTest, CreationWhoseVolumeLayerFailsAtAnyStepLeavesNothing) {
  for (const char* call : {"plan /dev/sys", "prepare /dev/sys", "attach /dev/sys"}) {
    m_journal.clear();
    m_splitter.failingCall = call;
    EXPECT_THAT([&] { create(); }, ThrowsMessage<HostError>(std::string(call) + " failed"));
    EXPECT_THAT(m_store.snapshots(), IsEmpty()) << call;
  }
}

TEST_F(SnapshotStepsTest, FailedCreationIsUndoneLastStepFirst) {
  m_journal.clear();
  m_fake.statuses["init_altnode"] = 6;
  std::string id;
  m_journal.onCall = [&](const std::string& call) {
    if (call.starts_with("init_altnode")) id = m_store.snapshots().front().id;
  };
  EXPECT_THROW(create(), ProviderError);
  const std::vector<std::string> all = calls(id);
  const auto letGo = std::find(all.begin(), all.end(), "let go /dev/sys");
  EXPECT_THAT(std::vector<std::string>(letGo, all.end()),
              ElementsAre("let go /dev/sys", "deinit_node /proc", "deinit_node /sys", "deinit_node group",
                          "deport_tree /sys /alternates/nightly/sys", "deinit_node /alternates/nightly/sys",
                          "deinit_node /sys", "release /dev/sys", "deport_tree /proc /alternates/nightly/proc",
                          "deinit_node /alternates/nightly/proc", "deinit_node /proc", "release /dev/proc"));
}

TEST_F(SnapshotStepsTest, WhatCannotBeUndoneStaysInTheStateStore) {
  m_fake.statuses["build_alttree"] = 6;
  m_splitter.failingCall = "release /dev/proc";
  EXPECT_THROW(create(), ProviderError);
  const auto left = m_store.find("nightly");
  ASSERT_TRUE(left);
  EXPECT_EQ(left->phase, Phase::deleting);
}

TEST_F(SnapshotStepsTest, SignalEndsACreationBetweenItsStepsAndNothingIsLeft) {
  m_journal.clear();
  m_splitter.onSplit = [] { raise(SIGTERM); };
  EXPECT_THAT([&] { create(); }, ThrowsMessage<HostError>("interrupted by SIGTERM"));
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
  EXPECT_THAT(m_journal.calls(), testing::Contains("unquiesce /proc /sys"));
  EXPECT_THAT(m_journal.calls(), testing::Not(testing::Contains("attach /dev/proc")));
  sigset_t taken;
  sigemptyset(&taken);
  sigaddset(&taken, SIGTERM);
  int signal = 0;
  sigwait(&taken, &signal);
  EXPECT_EQ(signal, SIGTERM);
}

TEST_F(SnapshotStepsTest, StepsOfACreationAreToldBeforeTheyBeginAndNothingWhileItIsFrozen) {
  const Snapshot snapshot = toldCreation().run(request());
  EXPECT_THAT(
      told(snapshot.id, {"prepare", "flush", "quiesce", "split", "unquiesce", "attach", "build_alttree"}),
      ElementsAre("told choice /proc sample reflink", "told choice /sys sample reflink", "told prepare reflink",
                  "prepare /dev/proc", "prepare /dev/sys", "told freeze nightly", "flush /dev/proc", "flush /dev/sys",
                  "flush /dev/proc", "flush /dev/sys", "quiesce /proc /sys", "split /dev/proc", "split /dev/sys",
                  "unquiesce /proc /sys", "told thawed ", "told attach /dev/proc-ID", "attach /dev/proc",
                  "told attach /dev/sys-ID", "attach /dev/sys", "told mount /alternates/nightly/proc",
                  "build_alttree /proc sample 8 /dev/proc /dev/proc-ID 1", "told mount /alternates/nightly/sys",
                  "build_alttree /sys sample 8 /dev/sys /dev/sys-ID 1"));
}

TEST_F(SnapshotStepsTest, SignalThatComesWhileItIsFrozenIsToldAfterTheThaw) {
  m_splitter.onSplit = [] { raise(SIGTERM); };
  EXPECT_THROW(toldCreation().run(request()), HostError);
  EXPECT_THAT(told("none", {"quiesce", "unquiesce", "release"}),
              ElementsAre("told choice /proc sample reflink", "told choice /sys sample reflink", "told prepare reflink",
                          "told freeze nightly", "quiesce /proc /sys", "unquiesce /proc /sys", "told thawed SIGTERM",
                          "told undo nightly", "release /dev/sys", "release /dev/proc"));
  sigset_t taken;
  sigemptyset(&taken);
  sigaddset(&taken, SIGTERM);
  int signal = 0;
  sigwait(&taken, &signal);
}

TEST_F(SnapshotStepsTest, StepsOfOtherWorkAreTold) {
  Snapshot snapshot = createEarlier(Phase::ready);
  SnapshotRemoval(m_providers, m_splitters, m_store, runLocked, m_progress).unmount(snapshot);
  EXPECT_THAT(told(snapshot.id), ElementsAre("told unmount /alternates/nightly/sys", "told detach /dev/sys-ID",
                                             "told unmount /alternates/nightly/proc", "told detach /dev/proc-ID"));
  m_journal.clear();
  mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot, runLocked, m_progress);
  EXPECT_THAT(told(snapshot.id), ElementsAre("told attach /dev/proc-ID", "told mount /alternates/nightly/proc",
                                             "told attach /dev/sys-ID", "told mount /alternates/nightly/sys"));
  m_journal.clear();
  m_fake.statuses["deport_tree"] = 6;
  m_journal.onCall = [&](const std::string& call) {
    if (call.starts_with("deport_tree") && count("deport_tree") == 3) m_fake.statuses.erase("deport_tree");
  };
  snapshot.phase = Phase::deleting;
  recoverSnapshot(m_providers, m_splitters, m_store, snapshot, runLocked, m_progress);
  EXPECT_THAT(told(snapshot.id), ElementsAre("told wait ID", "told unmount /alternates/nightly/sys",
                                             "told unmount /alternates/nightly/proc", "told retry 2 6 100",
                                             "told unmount /alternates/nightly/sys", "told remove /dev/sys-ID",
                                             "told unmount /alternates/nightly/proc", "told remove /dev/proc-ID"));
}

TEST_F(SnapshotStepsTest, RemovalRestoresTheStatesDeportsAndReleases) {
  Snapshot snapshot = createEarlier(Phase::ready);
  SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  EXPECT_THAT(
      calls(snapshot.id),
      ElementsAre("store /sys [state of /sys]", "store /alternates/nightly/sys [state of /alternates/nightly/sys]",
                  "deport_tree /sys /alternates/nightly/sys", "deinit_node /alternates/nightly/sys", "deinit_node /sys",
                  "release /dev/sys", "store /proc [state of /proc]",
                  "store /alternates/nightly/proc [state of /alternates/nightly/proc]",
                  "deport_tree /proc /alternates/nightly/proc", "deinit_node /alternates/nightly/proc",
                  "deinit_node /proc", "release /dev/proc"));
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, RemovalNeedsNoRoomOnTheDisk) {
  Snapshot snapshot = createEarlier(Phase::ready);
  const FullDisk full;
  SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  EXPECT_EQ(count("release"), 2);
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, UnmountNeedsNoRoomOnTheDisk) {
  Snapshot snapshot = createEarlier(Phase::ready);
  const FullDisk full;
  SnapshotRemoval(m_providers, m_splitters, m_store).unmount(snapshot);
  EXPECT_EQ(count("detach"), 2);
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, RemovalGoesOnAfterAFailureAndCanBeRepeated) {
  Snapshot snapshot = createEarlier(Phase::ready);
  m_splitter.failingCall = "release /dev/sys";
  EXPECT_THAT([&] { SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot); },
              ThrowsMessage<HostError>("release /dev/sys failed"));
  EXPECT_EQ(m_journal.calls().back(), "release /dev/proc");
  ASSERT_TRUE(m_store.find(snapshot.id));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::deleting);
  m_splitter.failingCall.clear();
  SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, VolumeOfABusyAlternateIsKept) {
  Snapshot snapshot = createEarlier(Phase::ready);
  m_fake.statuses["deport_tree"] = 32;
  EXPECT_THAT([&] { SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot); },
              ThrowsMessage<ProviderError>("/alternates/nightly/sys could not be unmounted: status 32"));
  EXPECT_THAT(m_journal.calls(), testing::Not(testing::Contains(testing::StartsWith("release"))));
}

TEST_F(SnapshotStepsTest, UnmountDisposesAndDetachesAndKeepsTheSnapshot) {
  Snapshot snapshot = createEarlier(Phase::ready);
  SnapshotRemoval(m_providers, m_splitters, m_store).unmount(snapshot);
  EXPECT_THAT(
      calls(snapshot.id),
      ElementsAre("store /sys [state of /sys]", "store /alternates/nightly/sys [state of /alternates/nightly/sys]",
                  "dispose /alternates/nightly/sys 1", "deinit_node /alternates/nightly/sys", "deinit_node /sys",
                  "detach /dev/sys", "store /proc [state of /proc]",
                  "store /alternates/nightly/proc [state of /alternates/nightly/proc]",
                  "dispose /alternates/nightly/proc 1", "deinit_node /alternates/nightly/proc", "deinit_node /proc",
                  "detach /dev/proc"));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, MountAttachesAndBringsOnlineWithTheRememberedState) {
  Snapshot snapshot = createEarlier(Phase::unmounted);
  mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot);
  EXPECT_THAT(
      calls(snapshot.id),
      ElementsAre("claim nightly", "check_node_existence /alternates/nightly/proc", "make /alternates/nightly/proc",
                  "attach /dev/proc", "store /alternates/nightly/proc [state of /alternates/nightly/proc]",
                  "online /alternates/nightly/proc 1 0", "let go /dev/proc", "secure /alternates/nightly/proc",
                  "deinit_node /alternates/nightly/proc", "deinit_node /proc",
                  "check_node_existence /alternates/nightly/sys", "make /alternates/nightly/sys", "attach /dev/sys",
                  "store /alternates/nightly/sys [state of /alternates/nightly/sys]",
                  "online /alternates/nightly/sys 1 0", "let go /dev/sys", "secure /alternates/nightly/sys",
                  "deinit_node /alternates/nightly/sys", "deinit_node /sys"));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::ready);
}

// All below it is the other one's.
TEST_F(SnapshotStepsTest, MountWhoseDirectoryIsAnotherQmfisTakesNothingDown) {
  Snapshot snapshot = createEarlier(Phase::unmounted);
  m_directories.failingCall = "claim nightly";
  EXPECT_THAT([&] { mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot); },
              ThrowsMessage<HostError>("claim nightly failed"));
  EXPECT_THAT(m_journal.calls(), ElementsAre("claim nightly"));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, DirectoryOfASnapshotThatIsMountedIsItsOwn) {
  Snapshot snapshot = createEarlier(Phase::ready);
  mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot);
  EXPECT_EQ(count("claim"), 0);
}

TEST_F(SnapshotStepsTest, WhatAnotherQmfiHasMountedInTheSamePlaceStays) {
  for (const bool isKept : {true, false}) {
    Snapshot snapshot = createEarlier(Phase::mounting);
    snapshot.nodes[0].alternate = "/proc";
    m_splitter.volumes["/dev/proc"].device = 1;
    SnapshotRemoval removal(m_providers, m_splitters, m_store);
    isKept ? removal.unmount(snapshot) : removal.remove(snapshot);
    EXPECT_EQ(count("deport_tree") + count("dispose"), 1) << isKept;
    EXPECT_EQ(count("store"), 2) << isKept;
    EXPECT_EQ(count("detach") + count("release"), 2) << isKept;
    m_store.remove(snapshot.id);
  }
}

TEST_F(SnapshotStepsTest, MountThatFailsLeavesTheSnapshotUnmounted) {
  Snapshot snapshot = createEarlier(Phase::unmounted);
  m_fake.statuses["online"] = 1088;
  EXPECT_THROW(mountSnapshot(m_providers, m_splitters, m_directories, m_store, snapshot), ProviderError);
  EXPECT_THAT(m_journal.calls(), testing::Contains("detach /dev/proc"));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, RecoveryEndsEveryPhaseInOneOfTwoWays) {
  for (const Phase phase : {Phase::preparing, Phase::freezing, Phase::attaching, Phase::mounting, Phase::deleting}) {
    Snapshot snapshot = createEarlier(phase);
    recoverSnapshot(m_providers, m_splitters, m_store, snapshot);
    EXPECT_THAT(m_store.snapshots(), IsEmpty()) << phaseName(phase);
  }
  for (const Phase phase : {Phase::unmounting, Phase::remounting}) {
    Snapshot snapshot = createEarlier(phase);
    recoverSnapshot(m_providers, m_splitters, m_store, snapshot);
    EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted) << phaseName(phase);
    SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  }
}

TEST_F(SnapshotStepsTest, ThawOfAnInterruptedSnapshotNeedsNoProvider) {
  thawInterrupted(m_fileSystems, createEarlier(Phase::freezing));
  EXPECT_THAT(m_fileSystems.thawed, ElementsAre("/proc", "/sys"));
  EXPECT_THAT(m_journal.calls(), IsEmpty());
}

TEST_F(SnapshotStepsTest, SnapshotThatWasNotInItsFreezeIsNotThawed) {
  for (const Phase phase : {Phase::preparing, Phase::attaching, Phase::ready, Phase::deleting}) {
    Snapshot snapshot = createEarlier(phase);
    thawInterrupted(m_fileSystems, snapshot);
    SnapshotRemoval(m_providers, m_splitters, m_store).remove(snapshot);
  }
  EXPECT_THAT(m_fileSystems.thawed, IsEmpty());
}

// What is frozen then is somebody else's.
TEST_F(SnapshotStepsTest, FreezeOfAnEarlierRunOfTheMachineIsNotThawed) {
  Snapshot snapshot = createEarlier(Phase::freezing);
  snapshot.freeze.bootId = "another run";
  thawInterrupted(m_fileSystems, snapshot);
  EXPECT_THAT(m_fileSystems.thawed, IsEmpty());
}

TEST_F(SnapshotStepsTest, FreezeThatTheKernelEndedLongAgoIsNotThawed) {
  Snapshot snapshot = createEarlier(Phase::freezing);
  snapshot.freeze.sinceStart -= std::chrono::hours(1);
  thawInterrupted(m_fileSystems, snapshot);
  EXPECT_THAT(m_fileSystems.thawed, IsEmpty());
  for (SnapshotNode& node : snapshot.nodes) node.kernelTimeout = std::chrono::seconds(0);
  thawInterrupted(m_fileSystems, snapshot);
  EXPECT_THAT(m_fileSystems.thawed, ElementsAre("/proc", "/sys"));
}

TEST_F(SnapshotStepsTest, RecoveryTriesAgainWhenAProgramOfTheKilledQmfiIsStillInTheWay) {
  Snapshot snapshot = createEarlier(Phase::mounting);
  m_fake.statuses["deport_tree"] = 6;
  m_journal.onCall = [&](const std::string& call) {
    if (call.starts_with("deport_tree") && count("deport_tree") == 3) m_fake.statuses.erase("deport_tree");
  };
  recoverSnapshot(m_providers, m_splitters, m_store, snapshot);
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, RecoveryWhoseEndCannotBeWrittenKeepsTheSnapshotWhenItTriesAgain) {
  Snapshot snapshot = createEarlier(Phase::unmounting);
  std::optional<FullDisk> badDisk;
  m_journal.onCall = [&](const std::string& call) {
    if (call == "detach /dev/proc" && count("detach") == 2) badDisk.emplace(SQLITE_IOERR_WRITE, EIO);
  };
  recoverSnapshot(m_providers, m_splitters, m_store, snapshot, [&](const std::function<void()>& action) {
    badDisk.reset();
    action();
  });
  m_journal.onCall = nullptr;
  EXPECT_EQ(count("detach"), 4);
  EXPECT_EQ(count("release"), 0);
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, RecoveryOfASnapshotThatWasNeverMountedRestoresNoState) {
  Snapshot snapshot = createEarlier(Phase::freezing);
  for (SnapshotNode& node : snapshot.nodes) node.state = node.alternateState = "";
  m_store.update(snapshot);
  recoverSnapshot(m_providers, m_splitters, m_store, snapshot);
  EXPECT_THAT(calls(snapshot.id),
              ElementsAre("deport_tree /sys /alternates/nightly/sys", "deinit_node /alternates/nightly/sys",
                          "deinit_node /sys", "release /dev/sys", "deport_tree /proc /alternates/nightly/proc",
                          "deinit_node /alternates/nightly/proc", "deinit_node /proc", "release /dev/proc"));
}

}  // namespace
}  // namespace qmfi_host
