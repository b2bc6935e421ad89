// Whose a file system or a device is, among one provider and among several.
#include "provider/claim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_provider.h"
#include "german_texts.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

// The provider "sample" claims what the fake says; "unlike" claims /sys and owns /dev/unlike.
class ClaimTest : public testing::Test {
 protected:
  ClaimTest() {
    m_providers.add(m_sample);
    m_fake.statuses["claim"] = 0;
    m_fake.statuses["claim /proc"] = 1;
    m_journal.clear();
  }

  void addSecond() { m_providers.add(m_unlike); }

  static ProviderEntryPoints unlike(ProviderEntryPoints entryPoints) {
    entryPoints.fi_pgn_claim = [](qmfi_objid* object, qmfi_objid***, int* count) {
      *count = 0;
      return std::string(object->vid_name) == "/sys" ? 1 : 0;
    };
    entryPoints.fi_pgn_is_parent_pgn = [](char* device, int* isParent, int) {
      *isParent = std::string(device) == "/dev/unlike" ? 1 : 0;
      return 0;
    };
    return entryPoints;
  }

  Journal m_journal;
  FakeProvider m_fake{m_journal};
  const ProviderEntryPoints m_unlikeEntryPoints = unlike(m_fake.entryPoints());
  Provider m_sample{m_fake.entryPoints(), "sample", ""};
  Provider m_unlike{m_unlikeEntryPoints, "unlike", ""};
  GivenProviders m_providers;
};

TEST_F(ClaimTest, FileSystemBelongsToTheProviderThatClaimsIt) {
  addSecond();
  const ClaimedFileSystem first = requireClaimed(m_providers, "/proc");
  EXPECT_EQ(first.mountPoint, "/proc");
  EXPECT_EQ(first.provider, "sample");
  EXPECT_EQ(first.group, "group");
  const ClaimedFileSystem second = requireClaimed(m_providers, "/sys");
  EXPECT_EQ(second.mountPoint, "/sys");
  EXPECT_EQ(second.provider, "unlike");
  EXPECT_EQ(second.group, "unlike");
}

TEST_F(ClaimTest, FileSystemThatNobodyClaimsIsAnErrorThatNamesWhoWasAsked) {
  EXPECT_THAT(
      [&] { requireClaimed(m_providers, "/dev"); },
      ThrowsMessage<HostError>("the provider sample does not claim /dev: no file system of its type is mounted there"));
  addSecond();
  EXPECT_THAT([&] { requireClaimed(m_providers, "/dev"); },
              ThrowsMessage<HostError>("none of the providers sample, unlike claims /dev: no file system of their "
                                       "types is mounted there"));
}

TEST_F(ClaimTest, FileSystemThatNobodyClaimsIsToldInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_THAT([&] { requireClaimed(m_providers, "/dev"); },
              ThrowsMessage<HostError>("der Provider sample beansprucht /dev nicht: dort ist kein Dateisystem seines "
                                       "Typs eingehängt"));
}

TEST_F(ClaimTest, FileSystemThatSeveralClaimIsAnErrorThatAsksForAChoice) {
  addSecond();
  m_fake.statuses["claim /sys"] = 1;
  EXPECT_THAT([&] { requireClaimed(m_providers, "/sys"); },
              ThrowsMessage<HostError>("the providers sample, unlike all claim /sys; --provider chooses one"));
}

TEST_F(ClaimTest, OnlyProviderIsNotAskedWhetherADeviceIsItsOwn) {
  EXPECT_EQ(&providerOfDevice(m_providers, "/dev/x"), &m_sample);
  EXPECT_THAT(m_journal.calls(), IsEmpty());
}

TEST_F(ClaimTest, MountPointBelongsToTheProviderThatClaimsIt) {
  addSecond();
  EXPECT_EQ(&providerOfMountPoint(m_providers, "/proc"), &m_sample);
  EXPECT_EQ(&providerOfMountPoint(m_providers, "/sys"), &m_unlike);
  EXPECT_THAT([&] { providerOfMountPoint(m_providers, "/dev"); },
              testing::Throws<HostError>(testing::Property(&HostError::exitStatus, ExitStatus::notFound)));
}

TEST_F(ClaimTest, DeviceBelongsToTheProviderThatKnowsItsContent) {
  addSecond();
  m_fake.ownDevice = "/dev/x";
  EXPECT_EQ(&providerOfDevice(m_providers, "/dev/x"), &m_sample);
  EXPECT_EQ(&providerOfDevice(m_providers, "/dev/unlike"), &m_unlike);
  EXPECT_THAT(m_journal.calls(), ElementsAre("is_parent_pgn /dev/x", "is_parent_pgn /dev/unlike"));
  EXPECT_THAT([&] { providerOfDevice(m_providers, "/dev/blank"); },
              ThrowsMessage<HostError>("none of the providers sample, unlike knows the content of /dev/blank; "
                                       "--provider chooses one"));
  m_fake.ownDevice = "/dev/unlike";
  EXPECT_THAT([&] { providerOfDevice(m_providers, "/dev/unlike"); },
              ThrowsMessage<HostError>("the providers sample, unlike all claim /dev/unlike; --provider chooses one"));
}

}  // namespace
}  // namespace qmfi_host
