// The operations of a provider: what each call is given, and how its failure is told.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_provider.h"
#include "provider/node.h"
#include "provider/provider.h"

namespace qmfi_host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class ProviderOperationsTest : public testing::Test {
 protected:
  ProviderOperationsTest() { m_journal.clear(); }

  Journal m_journal;
  FakeProvider m_fake{m_journal};
  Provider m_provider{m_fake.entryPoints(), "sample", ""};
  Node m_primary{m_provider, "/proc"};
  Node m_alternate{m_provider, "/proc_alt"};
};

TEST_F(ProviderOperationsTest, IdentityIsWhatTheProviderSaysOfItself) {
  const ProviderIdentity identity = m_provider.identity();
  EXPECT_EQ(identity.name, "sample");
  EXPECT_EQ(identity.version, "7.1.2.3");
  EXPECT_THAT(identity.attributes, ElementsAre(16, 2));
  EXPECT_THAT(identity.fileSystemTypes, ElementsAre("one", "two"));
}

TEST_F(ProviderOperationsTest, DevicesThatAProviderHandsOutNoneOfAreNone) {
  m_fake.leavesOut = "subobj_list";
  EXPECT_THAT(m_primary.subObjects(), IsEmpty());
}

TEST_F(ProviderOperationsTest, ProviderThatKeepsItsIdentityToItselfIsAnError) {
  m_fake.leavesOut = "get_provider_info";
  EXPECT_THAT([&] { m_provider.identity(); }, ThrowsMessage<HostError>("the provider does not say what it is"));
}

TEST_F(ProviderOperationsTest, ClaimTellsWhetherAndInWhichGroup) {
  const ClaimAnswer own = m_provider.claim("/proc");
  EXPECT_TRUE(own.claimed);
  EXPECT_THAT(own.groups, ElementsAre("group"));
  m_fake.statuses["claim"] = 0;
  const ClaimAnswer foreign = m_provider.claim("/sys");
  EXPECT_FALSE(foreign.claimed);
  EXPECT_THAT(foreign.groups, IsEmpty());
  EXPECT_THAT(m_journal.calls(), ElementsAre("claim /proc", "claim /sys"));
}

TEST_F(ProviderOperationsTest, ClaimThatTheProviderCannotAnswerIsAnError) {
  m_fake.statuses["claim"] = 6;
  EXPECT_THAT([&] { m_provider.claim("/proc"); }, ThrowsMessage<ProviderError>("/proc could not be claimed: status 6"));
}

TEST_F(ProviderOperationsTest, NodesAreBroughtOnlineKeptAndTakenOfflineRemoved) {
  m_provider.online(m_primary, m_alternate);
  m_provider.unmountOnly(m_primary, m_alternate);
  m_provider.takeOffline(m_primary, m_alternate);
  m_provider.deport(m_primary, m_alternate);
  EXPECT_THAT(m_journal.calls(), ElementsAre("online /proc_alt 1 0", "online /proc_alt 2 0", "dispose /proc_alt 1",
                                             "deport_tree /proc /proc_alt"));
}

TEST_F(ProviderOperationsTest, AlternateIsBuiltWhereTheNodeAsksForIt) {
  m_primary.nameAlternate("/proc_alt");
  EXPECT_EQ(m_provider.buildAlternate(m_primary, "session", "/dev/proc", "/dev/proc-1"), "/proc_alt");
  EXPECT_THAT(m_journal.calls(), ElementsAre("build_alttree /proc sample 7 /dev/proc /dev/proc-1 1"));
}

TEST_F(ProviderOperationsTest, AlternateWithoutAnObjectIsAnErrorThatNamesProviderAndFileSystem) {
  m_fake.leavesOut = "build_alttree";
  m_primary.nameAlternate("/proc_alt");
  EXPECT_THAT([&] { m_provider.buildAlternate(m_primary, "session", "/dev/proc", "/dev/proc-1"); },
              ThrowsMessage<HostError>("the provider sample does not say where the snapshot of /proc is mounted"));
}

TEST_F(ProviderOperationsTest, NodeWithoutAQuiesceNodeIsAnErrorThatNamesProviderAndFileSystem) {
  m_fake.leavesOut = "init_node";
  m_primary.initialise(nullptr);
  EXPECT_THAT(
      [&] { m_primary.quiesceNode(); },
      ThrowsMessage<HostError>("the provider sample does not say how /proc is frozen: it made no quiesce node"));
}

TEST_F(ProviderOperationsTest, AccessIsTakenAndGivenBackWithTheDevice) {
  m_provider.disableAccess(m_primary, "/dev/proc", false);
  m_provider.disableAccess(m_primary, "/dev/proc", true);
  m_provider.enableAccess(m_primary, "/dev/proc");
  EXPECT_THAT(m_journal.calls(), ElementsAre("disable_access /proc /dev/proc 0", "disable_access /proc /dev/proc 16",
                                             "enable_access /proc 842 /dev/proc"));
}

TEST_F(ProviderOperationsTest, DeviceIsFormattedForGood) {
  m_provider.format("/dev/x");
  EXPECT_THAT(m_journal.calls(), ElementsAre("format /dev/x 1 - - - 1"));
}

TEST_F(ProviderOperationsTest, DeviceIsBroughtOnlineWithWhatIsGivenOnly) {
  EXPECT_THAT(m_provider.bringOnline("/dev/x", {}, {}), ElementsAre("/chosen"));
  EXPECT_THAT(m_provider.bringOnline("/dev/x", "/mnt/x", "ro,noatime"), ElementsAre("/mnt/x"));
  EXPECT_THAT(m_journal.calls(), ElementsAre("online_resource /dev/x 1 - - - - 0",
                                             "online_resource /dev/x 1 /mnt/x - mountOptions=ro,noatime - 0"));
}

TEST_F(ProviderOperationsTest, ContentOfADeviceIsTheProvidersOwnOrNot) {
  EXPECT_FALSE(m_provider.ownsContentOf("/dev/x"));
  m_fake.ownDevice = "/dev/x";
  EXPECT_TRUE(m_provider.ownsContentOf("/dev/x"));
  EXPECT_THAT(m_journal.calls(), Contains("is_parent_pgn /dev/x"));
}

}  // namespace
}  // namespace qmfi_host
