// What is remembered of a file system that is taken out of use, also when that fails.
#include "snapshot/access_disabling.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_provider.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

class AccessDisablingTest : public testing::Test {
 protected:
  AccessDisablingTest() { m_journal.clear(); }

  void disable(bool force = false) { disableAccess(m_provider, m_store, "/proc", force); }

  TemporaryDirectory m_directory;
  Journal m_journal;
  FakeProvider m_fake{m_journal};
  Provider m_provider{m_fake.entryPoints(), "sample", ""};
  StateStore m_store{m_directory.path()};
};

TEST_F(AccessDisablingTest, RemembersTheFileSystemBeforeItIsUnmounted) {
  m_journal.onCall = [&](const std::string& call) {
    if (!call.starts_with("disable_access")) return;
    const auto access = m_store.findDisabledAccess("/proc");
    ASSERT_TRUE(access);
    EXPECT_EQ(access->provider, "sample");
    EXPECT_EQ(access->device, "/dev/proc");
    EXPECT_EQ(access->state, "state of /proc");
  };
  disable();
  EXPECT_THAT(m_journal.calls(),
              ElementsAre("init_node sample", "init_node /proc sample", "subobj_list /proc", "fetch /proc",
                          "disable_access /proc /dev/proc 0", "deinit_node /proc", "deinit_node sample"));
  EXPECT_TRUE(m_store.findDisabledAccess("/proc"));
}

TEST_F(AccessDisablingTest, ByForceIsAskedOfTheProvider) {
  disable(true);
  EXPECT_THAT(m_journal.calls(), testing::Contains("disable_access /proc /dev/proc 16"));
}

TEST_F(AccessDisablingTest, ForgetsABusyFileSystemThatIsStillMounted) {
  m_fake.statuses["disable_access"] = 32;
  m_fake.nodeExists = true;
  EXPECT_THAT([&] { disable(); }, ThrowsMessage<ProviderError>("/proc could not be taken out of use: status 32"));
  EXPECT_FALSE(m_store.findDisabledAccess("/proc"));
}

TEST_F(AccessDisablingTest, RemembersAFileSystemThatWasUnmountedAlthoughTheUnmountFailed) {
  m_fake.statuses["disable_access"] = 6;
  m_fake.nodeExists = false;
  EXPECT_THAT([&] { disable(); }, ThrowsMessage<ProviderError>("/proc could not be taken out of use: status 6"));
  EXPECT_TRUE(m_store.findDisabledAccess("/proc"));
}

TEST_F(AccessDisablingTest, TellsOfTheFailedUnmountWhenNobodyKnowsWhetherItIsStillMounted) {
  m_fake.statuses["disable_access"] = 32;
  m_fake.statuses["check_node_existence"] = 6;
  testing::internal::CaptureStderr();
  EXPECT_THAT([&] { disable(); }, ThrowsMessage<ProviderError>("/proc could not be taken out of use: status 32"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "qmfi: /proc could not be looked up: status 6\n  The operation failed.\n");
  EXPECT_TRUE(m_store.findDisabledAccess("/proc"));
}

TEST_F(AccessDisablingTest, IsDoneOnce) {
  disable();
  m_journal.clear();
  disable();
  EXPECT_THAT(m_journal.calls(), ElementsAre("check_node_existence /proc", "deinit_node /proc"));
}

}  // namespace
}  // namespace qmfi_host
