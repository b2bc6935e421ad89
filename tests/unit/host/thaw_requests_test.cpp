// Which requests may end a freeze.
#include "provider/thaw_requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>

#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;

TEST(ThawRequests, AreThoseOfEveryProviderAndLastTheKernels) {
  const TemporaryDirectory directory;
  directory.write("first.provider", "[requests]\nfreeze = 1\nthaw = 7\n");
  directory.write("second.provider", "[requests]\nfreeze = 1\nthaw = 8\n");
  directory.write("twin.provider", "[requests]\nfreeze = 1\nthaw = 7\n");
  directory.write("plain.provider", "");
  directory.write("other.file", "[requests]\nfreeze = 1\nthaw = 9\n");
  EXPECT_THAT(installedThawRequests(directory.path()), ElementsAre(7, 8, FITHAW));
}

TEST(ThawRequests, AreTheKernelsWhereNoProviderIsInstalled) {
  EXPECT_THAT(installedThawRequests("/none"), ElementsAre(FITHAW));
}

TEST(ThawRequests, AreThoseOfTheOthersWhenADescriptorFileIsWrong) {
  const TemporaryDirectory directory;
  directory.write("first.provider", "[requests]\nfreeze = 1\nthaw = 7\n");
  const std::string wrong = directory.write("wrong.provider", "nonsense = 1\n");
  testing::internal::CaptureStderr();
  EXPECT_THAT(installedThawRequests(directory.path()), ElementsAre(7, FITHAW));
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::StartsWith("qmfi: " + wrong + ":1: nonsense is not known"));
}

}  // namespace
}  // namespace qmfi_host
