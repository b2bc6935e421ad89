// Finding of providers that are installed, and of those that only look so. What really starts is tested with them.
#include "provider/installed_providers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "build_tree.h"
#include "failure/host_error.h"
#include "support/environment.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

void noCheck(const std::filesystem::path& /*file*/) {}

TEST(InstalledProviders, OfADirectoryWithoutDescriptorsAreNone) {
  const TemporaryDirectory directory;
  directory.write("libsample.so", "");
  for (const std::string& place : {directory.path(), std::string("/nonexistent")}) {
    InstalledProviders providers(place, {}, "", noCheck);
    EXPECT_THAT([&] { providers.started(); }, ThrowsMessage<HostError>("no provider is installed in " + place));
  }
}

TEST(InstalledProviders, FirstFailureIsThrownWhenNoneCanBeStarted) {
  const TemporaryDirectory directory;
  for (const char* name : {"second.provider", "first.provider"}) directory.write(name, "");
  InstalledProviders providers(directory.path(), {}, "", noCheck);
  EXPECT_THAT([&] { providers.started(); },
              ThrowsMessage<HostError>(StartsWith("the provider first cannot be loaded: ")));
}

TEST(InstalledProviders, ChosenOneIsTheOnlyOneThatIsTried) {
  const TemporaryDirectory directory;
  directory.write("first.provider", "");
  InstalledProviders providers(directory.path(), "chosen", "", noCheck);
  EXPECT_THAT([&] { providers.started(); },
              ThrowsMessage<HostError>(StartsWith("the provider chosen cannot be loaded: ")));
}

TEST(InstalledProviders, NameThatIsNoPlainWordIsWrongUsage) {
  InstalledProviders providers("/nonexistent", "../evil", "", noCheck);
  EXPECT_THAT([&] { providers.started(); }, ThrowsMessage<UsageError>("\"../evil\" is not the name of a provider"));
}

TEST(InstalledProviders, LibraryWithoutADescriptorIsNotStarted) {
  const TemporaryDirectory directory;
  std::filesystem::create_symlink(QMFI_BINARY_DIR "/lib/libtinyfi.so", directory.file("libtinyfi.so"));
  InstalledProviders providers(directory.path(), "tinyfi", "", noCheck);
  EXPECT_THAT([&] { providers.started(); },
              ThrowsMessage<HostError>(directory.file("tinyfi.provider") + ": No such file or directory"));
}

TEST(InstalledProviders, AreStartedOnceAndThoseThatCannotBeAreTold) {
  const TemporaryDirectory directory;
  const EnvironmentVariable log("QMFI_LOG_DIR", directory.path());
  std::filesystem::create_symlink(QMFI_BINARY_DIR "/lib/libtinyfi.so", directory.file("libtinyfi.so"));
  directory.write("tinyfi.provider", "[timeout]\nparameter = \"seconds\"\n");
  directory.write("broken.provider", "");
  InstalledProviders providers(directory.path(), {}, "", noCheck);
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

TEST(InstalledProviders, SettingsThatCannotBeReadAreNamed) {
  const TemporaryDirectory directory;
  directory.write("sample.provider", "");
  const EnvironmentVariable settings("QMFI_CONF_DIR", directory.path());
  directory.makeDirectory("sample.conf");
  InstalledProviders providers(directory.path(), {}, "", noCheck);
  EXPECT_THAT([&] { providers.started(); },
              ThrowsMessage<HostError>("the settings " + directory.file("sample.conf") +
                                       " of the provider sample cannot be read: Is a directory"));
}

TEST(InstalledProviders, EveryFileIsCheckedBeforeItIsUsed) {
  const TemporaryDirectory directory;
  directory.write("libsample.so", "no library");
  directory.write("sample.provider", "");
  directory.makeDirectory("texts/sample");
  directory.write("texts/sample/de.res", "");
  const EnvironmentVariable settings("QMFI_CONF_DIR", directory.file("settings"));
  const EnvironmentVariable texts("QMFI_CATALOG_DIR", directory.file("texts"));
  std::vector<std::string> checked;
  const std::string last = directory.file("texts/sample/de.res");
  InstalledProviders providers(directory.path(), {}, "", [&](const std::filesystem::path& file) {
    checked.push_back(file);
    if (file == last) throw HostError("not trusted");
  });
  EXPECT_THAT([&] { providers.started(); }, ThrowsMessage<HostError>("not trusted"));
  EXPECT_THAT(checked,
              testing::ElementsAre(directory.file("libsample.so"), directory.file("sample.provider"),
                                   directory.file("settings/sample.conf"), directory.file("texts/sample"), last));
}

}  // namespace
}  // namespace qmfi_host
