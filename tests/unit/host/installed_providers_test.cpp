// Finding of providers that are installed, and of those that only look so. What really starts is tested with them.
#include "provider/installed_providers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../runtime/temporary_directory.h"
#include "build_tree.h"
#include "failure/host_error.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

TEST(InstalledProviders, OfADirectoryWithoutDescriptorsAreNone) {
  const TemporaryDirectory directory;
  directory.write("libsample.so", "");
  for (const std::string& place : {directory.path(), std::string("/nonexistent")}) {
    InstalledProviders providers(place, {}, "");
    EXPECT_THAT([&] { providers.started(); }, ThrowsMessage<HostError>("no provider is installed in " + place));
  }
}

TEST(InstalledProviders, FirstFailureIsThrownWhenNoneCanBeStarted) {
  const TemporaryDirectory directory;
  for (const char* name : {"second.provider", "first.provider"}) directory.write(name, "");
  InstalledProviders providers(directory.path(), {}, "");
  EXPECT_THAT([&] { providers.started(); },
              ThrowsMessage<HostError>(StartsWith("the provider first cannot be loaded: ")));
}

TEST(InstalledProviders, ChosenOneIsTheOnlyOneThatIsTried) {
  const TemporaryDirectory directory;
  directory.write("first.provider", "");
  InstalledProviders providers(directory.path(), "chosen", "");
  EXPECT_THAT([&] { providers.started(); },
              ThrowsMessage<HostError>(StartsWith("the provider chosen cannot be loaded: ")));
}

TEST(InstalledProviders, NameThatIsNoPlainWordIsWrongUsage) {
  InstalledProviders providers("/nonexistent", "../evil", "");
  EXPECT_THAT([&] { providers.started(); }, ThrowsMessage<UsageError>("\"../evil\" is not the name of a provider"));
}

TEST(InstalledProviders, LibraryWithoutADescriptorIsNotStarted) {
  const TemporaryDirectory directory;
  std::filesystem::create_symlink(QMFI_BINARY_DIR "/lib/libtinyfi.so", directory.file("libtinyfi.so"));
  InstalledProviders providers(directory.path(), "tinyfi", "");
  EXPECT_THAT([&] { providers.started(); },
              ThrowsMessage<HostError>(directory.file("tinyfi.provider") + ": No such file or directory"));
}

TEST(InstalledProviders, AreStartedOnceAndThoseThatCannotBeAreTold) {
  const TemporaryDirectory directory;
  std::filesystem::create_symlink(QMFI_BINARY_DIR "/lib/libtinyfi.so", directory.file("libtinyfi.so"));
  directory.write("tinyfi.provider", "[timeout]\nparameter = \"seconds\"\n");
  directory.write("broken.provider", "");
  InstalledProviders providers(directory.path(), {}, "");
  const std::vector<Provider*> started = providers.started();
  ASSERT_EQ(started.size(), 1U);
  EXPECT_EQ(started.front()->name(), "tinyfi");
  EXPECT_EQ(started.front()->descriptor().timeout->parameter, "seconds");
  EXPECT_EQ(providers.started(), started);
  EXPECT_EQ(&providers.named("tinyfi"), started.front());
  testing::internal::CaptureStderr();
  EXPECT_TRUE(providers.tellOfOthers());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              AllOf(StartsWith("qmfi: the provider broken cannot be loaded: "), HasSubstr("libbroken.so")));
}

}  // namespace
}  // namespace qmfi_host
