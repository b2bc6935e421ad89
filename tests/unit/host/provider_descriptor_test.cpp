// Descriptor files: what is read from them, and how what is wrong in them is told.
#include "provider/provider_descriptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "build_tree.h"
#include "failure/file_error.h"
#include "german_texts.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::StartsWith;
using testing::ThrowsMessage;

class ProviderDescriptorTest : public testing::Test {
 protected:
  ProviderDescriptor read(const std::string& text) const {
    m_directory.write("sample.provider", text);
    return readDescriptor(m_file);
  }

  TemporaryDirectory m_directory;
  std::string m_file = m_directory.file("sample.provider");
};

TEST_F(ProviderDescriptorTest, HoldsWhatTheFileSays) {
  const ProviderDescriptor descriptor = read(R"(
    [timeout]
    parameter = "sampleTimeout"
    configured = { section = "FREEZE", name = "SECONDS" }
    [requests]
    freeze = 0x12345678
    thaw = 4294967295
    [failed-freeze]
    message = "MSG_NOT_FROZEN"
    argument = 2
    [devices]
    block = "/dev/sample/dsk"
    raw = "/dev/sample/rdsk"
    [cache]
    safe = "sync=close"
    fast = "sync=late"
    [package]
    name = "sample-tools"
  )");
  ASSERT_TRUE(descriptor.timeout);
  EXPECT_EQ(descriptor.timeout->parameter, "sampleTimeout");
  ASSERT_TRUE(descriptor.timeout->configured);
  EXPECT_EQ(descriptor.timeout->configured->section, "FREEZE");
  EXPECT_EQ(descriptor.timeout->configured->name, "SECONDS");
  EXPECT_EQ(descriptor.freezeRequest, 0x12345678UL);
  EXPECT_EQ(descriptor.thawRequest, 4294967295UL);
  ASSERT_TRUE(descriptor.failedFreeze);
  EXPECT_EQ(descriptor.failedFreeze->message, "MSG_NOT_FROZEN");
  EXPECT_EQ(descriptor.failedFreeze->argument, 2U);
  ASSERT_TRUE(descriptor.devices);
  EXPECT_EQ(descriptor.devices->block, "/dev/sample/dsk");
  EXPECT_EQ(descriptor.devices->raw, "/dev/sample/rdsk");
  ASSERT_TRUE(descriptor.cache);
  EXPECT_EQ(descriptor.cache->safe, "sync=close");
  EXPECT_EQ(descriptor.cache->fast, "sync=late");
  EXPECT_EQ(descriptor.package, "sample-tools");
}

TEST_F(ProviderDescriptorTest, OfAnEmptyFileIsThatOfTheKernelsOwnFreeze) {
  const ProviderDescriptor descriptor = read("# nothing\n");
  EXPECT_FALSE(descriptor.timeout);
  EXPECT_EQ(descriptor.freezeRequest, static_cast<unsigned long>(FIFREEZE));
  EXPECT_EQ(descriptor.thawRequest, static_cast<unsigned long>(FITHAW));
  EXPECT_FALSE(descriptor.failedFreeze);
  EXPECT_FALSE(descriptor.devices);
  EXPECT_FALSE(descriptor.cache);
  EXPECT_EQ(descriptor.package, "");
}

TEST_F(ProviderDescriptorTest, NeedNotSayWhereATimeoutIsConfigured) {
  const ProviderDescriptor descriptor = read("[timeout]\nparameter = \"sampleTimeout\"\n");
  ASSERT_TRUE(descriptor.timeout);
  EXPECT_FALSE(descriptor.timeout->configured);
}

TEST_F(ProviderDescriptorTest, ThatIsWrongIsAnErrorThatNamesFileLineKeyAndWhatIsExpected) {
  const struct {
    const char* text;
    const char* error;
  } cases[] = {
      {"colour = 1", ":1: colour is not known; known are timeout, requests, failed-freeze, devices, cache, package"},
      {"timeout = 3", ":1: timeout must be a table"},
      {"[timeout]", ":1: timeout.parameter is missing; it must be a text that is not empty"},
      {"[timeout]\nparameter = 3", ":2: timeout.parameter must be a text that is not empty"},
      {"[timeout]\nparameter = \"\"", ":2: timeout.parameter must be a text that is not empty"},
      {"[timeout]\nparameter = \"p\"\nseconds = 2",
       ":3: timeout.seconds is not known; known are parameter, configured"},
      {"[timeout]\nparameter = \"p\"\nconfigured = \"x\"", ":3: timeout.configured must be a table"},
      {"[timeout]\nparameter = \"p\"\n[timeout.configured]\nsection = \"s\"",
       ":3: timeout.configured.name is missing; it must be a text that is not empty"},
      {"[timeout]\nparameter = \"p\"\n[timeout.configured]\nsection = \"s\"\nname = \"n\"\nunit = \"s\"",
       ":6: timeout.configured.unit is not known; known are section, name"},
      {"[requests]\nfreeze = 1", ":1: requests.thaw is missing; it must be a number from 1 to 4294967295"},
      {"[requests]\nfreeze = \"1\"\nthaw = 2", ":2: requests.freeze must be a number from 1 to 4294967295"},
      {"[requests]\nfreeze = 1.5\nthaw = 2", ":2: requests.freeze must be a number from 1 to 4294967295"},
      {"[requests]\nfreeze = 0\nthaw = 2", ":2: requests.freeze must be a number from 1 to 4294967295"},
      {"[requests]\nfreeze = 1\nthaw = 0x100000000", ":3: requests.thaw must be a number from 1 to 4294967295"},
      {"[failed-freeze]\nargument = 0", ":1: failed-freeze.message is missing; it must be a text that is not empty"},
      {"[failed-freeze]\nmessage = \"M\"", ":1: failed-freeze.argument is missing; it must be a number from 0 to 63"},
      {"[failed-freeze]\nmessage = \"M\"\nargument = -1", ":3: failed-freeze.argument must be a number from 0 to 63"},
      {"[devices]\nblock = \"/dev/x\"", ":1: devices.raw is missing; it must be a text that is not empty"},
      {"[cache]\nsafe = \"s\"", ":1: cache.fast is missing; it must be a text that is not empty"},
      {"[cache]\nsafe = \"s\"\nfast = \"f\"\nslow = \"x\"", ":4: cache.slow is not known; known are safe, fast"},
      {"[package]", ":1: package.name is missing; it must be a text that is not empty"},
      {"[devices]\nblock = \"dev/x\"\nraw = \"/dev/y\"",
       ":2: devices.block must be an absolute path that does not end with a slash"},
      {"[devices]\nblock = \"/dev/x/\"\nraw = \"/dev/y\"",
       ":2: devices.block must be an absolute path that does not end with a slash"},
  };
  for (const auto& one : cases) {
    EXPECT_THAT([&] { read(one.text); },
                ThrowsMessage<FileError>(m_file + one.error + "; mend the file, or install the provider anew"))
        << one.text;
  }
}

TEST_F(ProviderDescriptorTest, ThatIsNoTomlIsAnErrorThatNamesTheLine) {
  EXPECT_THAT([&] { read("[requests]\nfreeze = \n"); }, ThrowsMessage<FileError>(StartsWith(m_file + ":2: ")));
  EXPECT_THAT([&] { read("[devices]\n[devices]\n"); }, ThrowsMessage<FileError>(StartsWith(m_file + ":2: ")));
}

TEST_F(ProviderDescriptorTest, ThatIsMissingIsAnErrorThatNamesTheFile) {
  EXPECT_THAT([&] { readDescriptor(m_file); }, ThrowsMessage<FileError>(m_file + ": No such file or directory"));
}

TEST_F(ProviderDescriptorTest, KnowsTheRawDeviceOfAVolumesDevice) {
  ProviderDescriptor descriptor;
  EXPECT_EQ(rawDeviceOf(descriptor, "/dev/sample/dsk/dg1/data"), "");
  descriptor.devices = {"/dev/sample/dsk", "/dev/sample/rdsk"};
  EXPECT_EQ(rawDeviceOf(descriptor, "/dev/sample/dsk/dg1/data"), "/dev/sample/rdsk/dg1/data");
  for (const char* other :
       {"/dev/sample/rdsk/dg1/data", "/dev/loop7", "/mnt/dev/sample/dsk/data", "/dev/sample/dskX"}) {
    EXPECT_EQ(rawDeviceOf(descriptor, other), "") << other;
  }
}

TEST_F(ProviderDescriptorTest, KnowsTheDevicesOfVolumes) {
  ProviderDescriptor descriptor;
  EXPECT_FALSE(isVolumeDevice(descriptor, "/dev/sample/dsk/data"));
  descriptor.devices = {"/dev/sample/dsk", "/dev/sample/rdsk"};
  EXPECT_TRUE(isVolumeDevice(descriptor, "/dev/sample/dsk/data"));
  EXPECT_TRUE(isVolumeDevice(descriptor, "/dev/sample/rdsk/data"));
  EXPECT_FALSE(isVolumeDevice(descriptor, "/dev/sample/other/data"));
}

TEST_F(ProviderDescriptorTest, ThatIsWrongIsToldInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_THAT([&] { read("[requests]\nfreeze = 1"); },
              ThrowsMessage<FileError>(m_file + ":1: requests.thaw fehlt; es muss eine Zahl von 1 bis 4294967295 sein; "
                                                "die Datei berichtigen oder den Provider neu installieren"));
}

}  // namespace
}  // namespace qmfi_host
