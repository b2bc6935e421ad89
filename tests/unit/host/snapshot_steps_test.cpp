// The steps of a snapshot's life: which calls are made in which order, and what the state store knows at each of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <map>

#include "../runtime/temporary_directory.h"
#include "fake_provider.h"
#include "snapshot/snapshot_creation.h"
#include "snapshot/snapshot_mounting.h"
#include "snapshot/snapshot_recovery.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::Eq;
using testing::IsEmpty;
using testing::ThrowsMessage;

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
    return {.fileSystems = {{"/proc", "sample", "group"}, {"/sys", "sample", "group"}},
            .name = "nightly",
            .freezeTimeout = someTimeout};
  }

  Snapshot create() { return SnapshotCreation(m_providers, m_splitter, m_store, m_signals).run(request()); }

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
  Provider m_provider{m_fake.entryPoints(), "sample", "", sampleDescriptor()};
  GivenProviders m_providers;
  StateStore m_store{m_directory.path()};
  DeferredSignals m_signals;
};

TEST_F(SnapshotStepsTest, CreationMakesEveryCallInItsOrder) {
  m_journal.clear();
  const Snapshot snapshot = create();
  EXPECT_THAT(
      calls(snapshot.id),
      ElementsAre("init_node group", "config group 0 freezeTimeout=7", "init_node /proc group", "init_node /sys group",
                  "subobj_list /proc", "plan /dev/proc", "subobj_list /sys", "plan /dev/sys", "prepare /dev/proc",
                  "prepare /dev/sys", "flush /dev/proc", "flush /dev/sys", "quiesce /proc /sys", "split /dev/proc",
                  "split /dev/sys", "unquiesce /proc /sys", "attach /dev/proc", "attach /dev/sys",
                  "build_alttree /proc sample 8 /dev/proc /dev/proc-ID 1", "init_altnode /proc /proc_altID",
                  "fetch /proc", "fetch /proc_altID", "deinit_node /proc_altID",
                  "build_alttree /sys sample 8 /dev/sys /dev/sys-ID 1", "init_altnode /sys /sys_altID", "fetch /sys",
                  "fetch /sys_altID", "deinit_node /sys_altID", "let go /dev/proc", "let go /dev/sys",
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
  EXPECT_EQ(known->nodes[1].mountPoint, "/sys");
  EXPECT_EQ(known->nodes[1].volume.rawDevice, "/raw/sys-" + snapshot.id);
  EXPECT_EQ(known->nodes[1].alternate, "/sys_alt" + snapshot.id);
  EXPECT_EQ(known->nodes[1].state, "state of /sys");
  EXPECT_EQ(known->nodes[1].alternateState, "state of /sys_alt" + snapshot.id);
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

TEST_F(SnapshotStepsTest, SnapshotWithoutANameIsNamedByItsId) {
  SnapshotRequest nameless = request();
  nameless.name.clear();
  const Snapshot snapshot = SnapshotCreation(m_providers, m_splitter, m_store, m_signals).run(nameless);
  EXPECT_EQ(snapshot.name, snapshot.id);
}

TEST_F(SnapshotStepsTest, FreezeTimeoutIsGivenToThoseProvidersOnlyThatTakeOne) {
  Provider without(m_fake.entryPoints(), "without", "");
  m_providers.add(without);
  m_journal.clear();
  SnapshotRequest both = request();
  both.fileSystems[1] = {"/sys", "without", "other"};
  SnapshotCreation(m_providers, m_splitter, m_store, m_signals).run(both);
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
  const Snapshot snapshot = SnapshotCreation(m_providers, m_splitter, m_store, m_signals).run(both);
  const std::vector<std::string> all = calls(snapshot.id);
  const auto window = std::find(all.begin(), all.end(), "quiesce /sys");
  ASSERT_GE(all.end() - window, 7);
  EXPECT_THAT(std::vector<std::string>(window, window + 7),
              ElementsAre("quiesce /sys", "quiesce /proc /proc/sys", "split /dev/sys", "split /dev/proc",
                          "split /dev/proc/sys", "unquiesce /proc /proc/sys", "unquiesce /sys"));
  const auto known = m_store.find(snapshot.id);
  ASSERT_TRUE(known);
  ASSERT_EQ(known->nodes.size(), 3U);
  EXPECT_EQ(known->nodes[0].provider, "sample");
  EXPECT_EQ(known->nodes[1].provider, "another");
  EXPECT_EQ(known->nodes[1].thawRequest, static_cast<unsigned long>(FITHAW));
  EXPECT_EQ(known->nodes[1].volume.rawDevice, "");
}

TEST_F(SnapshotStepsTest, EachFileSystemIsRemovedWithTheProviderThatItWasMadeWith) {
  Provider another(m_fake.entryPoints(), "another", "");
  m_providers.add(another);
  SnapshotRequest both = request();
  both.fileSystems[1].provider = "another";
  Snapshot snapshot = SnapshotCreation(m_providers, m_splitter, m_store, m_signals).run(both);
  std::vector<std::string> used;
  m_fake.onDeport = [&](const std::string& provider) { used.push_back(provider); };
  SnapshotRemoval(m_providers, m_splitter, m_store).remove(snapshot);
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
                          "deport_tree /sys /sys_altID", "deinit_node /sys_altID", "deinit_node /sys",
                          "release /dev/sys", "deport_tree /proc /proc_altID", "deinit_node /proc_altID",
                          "deinit_node /proc", "release /dev/proc"));
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

TEST_F(SnapshotStepsTest, RemovalRestoresTheStatesDeportsAndReleases) {
  Snapshot snapshot = createEarlier(Phase::ready);
  SnapshotRemoval(m_providers, m_splitter, m_store).remove(snapshot);
  EXPECT_THAT(
      calls(snapshot.id),
      ElementsAre("store /sys [state of /sys]", "store /sys_altID [state of /sys_altID]", "deport_tree /sys /sys_altID",
                  "deinit_node /sys_altID", "deinit_node /sys", "release /dev/sys", "store /proc [state of /proc]",
                  "store /proc_altID [state of /proc_altID]", "deport_tree /proc /proc_altID",
                  "deinit_node /proc_altID", "deinit_node /proc", "release /dev/proc"));
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, RemovalGoesOnAfterAFailureAndCanBeRepeated) {
  Snapshot snapshot = createEarlier(Phase::ready);
  m_splitter.failingCall = "release /dev/sys";
  EXPECT_THAT([&] { SnapshotRemoval(m_providers, m_splitter, m_store).remove(snapshot); },
              ThrowsMessage<HostError>("release /dev/sys failed"));
  EXPECT_EQ(m_journal.calls().back(), "release /dev/proc");
  ASSERT_TRUE(m_store.find(snapshot.id));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::deleting);
  m_splitter.failingCall.clear();
  SnapshotRemoval(m_providers, m_splitter, m_store).remove(snapshot);
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, VolumeOfABusyAlternateIsKept) {
  Snapshot snapshot = createEarlier(Phase::ready);
  m_fake.statuses["deport_tree"] = 32;
  EXPECT_THAT([&] { SnapshotRemoval(m_providers, m_splitter, m_store).remove(snapshot); },
              ThrowsMessage<ProviderError>("/sys_alt" + snapshot.id + " could not be unmounted: status 32"));
  EXPECT_THAT(m_journal.calls(), testing::Not(testing::Contains(testing::StartsWith("release"))));
}

TEST_F(SnapshotStepsTest, UnmountDisposesAndDetachesAndKeepsTheSnapshot) {
  Snapshot snapshot = createEarlier(Phase::ready);
  SnapshotRemoval(m_providers, m_splitter, m_store).unmount(snapshot);
  EXPECT_THAT(calls(snapshot.id),
              ElementsAre("store /sys [state of /sys]", "store /sys_altID [state of /sys_altID]",
                          "dispose /sys_altID 1", "deinit_node /sys_altID", "deinit_node /sys", "detach /dev/sys",
                          "store /proc [state of /proc]", "store /proc_altID [state of /proc_altID]",
                          "dispose /proc_altID 1", "deinit_node /proc_altID", "deinit_node /proc", "detach /dev/proc"));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, MountAttachesAndBringsOnlineWithTheRememberedState) {
  Snapshot snapshot = createEarlier(Phase::unmounted);
  mountSnapshot(m_providers, m_splitter, m_store, snapshot);
  EXPECT_THAT(
      calls(snapshot.id),
      ElementsAre("check_node_existence /proc_altID", "attach /dev/proc", "store /proc_altID [state of /proc_altID]",
                  "online /proc_altID 1", "let go /dev/proc", "deinit_node /proc_altID", "deinit_node /proc",
                  "check_node_existence /sys_altID", "attach /dev/sys", "store /sys_altID [state of /sys_altID]",
                  "online /sys_altID 1", "let go /dev/sys", "deinit_node /sys_altID", "deinit_node /sys"));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::ready);
}

TEST_F(SnapshotStepsTest, MountThatFailsLeavesTheSnapshotUnmounted) {
  Snapshot snapshot = createEarlier(Phase::unmounted);
  m_fake.statuses["online"] = 1088;
  EXPECT_THROW(mountSnapshot(m_providers, m_splitter, m_store, snapshot), ProviderError);
  EXPECT_THAT(m_journal.calls(), testing::Contains("detach /dev/proc"));
  EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted);
}

TEST_F(SnapshotStepsTest, RecoveryEndsEveryPhaseInOneOfTwoWays) {
  for (const Phase phase : {Phase::preparing, Phase::freezing, Phase::attaching, Phase::mounting, Phase::deleting}) {
    Snapshot snapshot = createEarlier(phase);
    recoverSnapshot(m_providers, m_splitter, m_store, snapshot);
    EXPECT_THAT(m_store.snapshots(), IsEmpty()) << phaseName(phase);
  }
  for (const Phase phase : {Phase::unmounting, Phase::remounting}) {
    Snapshot snapshot = createEarlier(phase);
    recoverSnapshot(m_providers, m_splitter, m_store, snapshot);
    EXPECT_EQ(m_store.find(snapshot.id)->phase, Phase::unmounted) << phaseName(phase);
    SnapshotRemoval(m_providers, m_splitter, m_store).remove(snapshot);
  }
}

TEST_F(SnapshotStepsTest, ThawOfAnInterruptedSnapshotNeedsNoProvider) {
  const Snapshot snapshot = createEarlier(Phase::freezing);
  EXPECT_NO_THROW(thawInterrupted(snapshot));
  EXPECT_THAT(m_journal.calls(), IsEmpty());
}

TEST_F(SnapshotStepsTest, RecoveryTriesAgainWhenAProgramOfTheKilledHostIsStillInTheWay) {
  Snapshot snapshot = createEarlier(Phase::mounting);
  m_fake.statuses["deport_tree"] = 6;
  m_journal.onCall = [&](const std::string& call) {
    if (call.starts_with("deport_tree") && count("deport_tree") == 3) m_fake.statuses.erase("deport_tree");
  };
  recoverSnapshot(m_providers, m_splitter, m_store, snapshot);
  EXPECT_THAT(m_store.snapshots(), IsEmpty());
}

TEST_F(SnapshotStepsTest, RecoveryOfASnapshotThatWasNeverMountedRestoresNoState) {
  Snapshot snapshot = createEarlier(Phase::freezing);
  for (SnapshotNode& node : snapshot.nodes) node.state = node.alternateState = "";
  recoverSnapshot(m_providers, m_splitter, m_store, snapshot);
  EXPECT_THAT(calls(snapshot.id), ElementsAre("deport_tree /sys /sys_altID", "deinit_node /sys_altID",
                                              "deinit_node /sys", "release /dev/sys", "deport_tree /proc /proc_altID",
                                              "deinit_node /proc_altID", "deinit_node /proc", "release /dev/proc"));
}

}  // namespace
}  // namespace qmfi_host
