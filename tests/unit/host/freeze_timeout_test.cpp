// The freeze time-out of the configuration.
#include "provider/freeze_timeout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_provider.h"
#include "support/environment.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

TEST(FreezeTimeout, IsTheConfiguredOneWhereThatCanBe) {
  const TemporaryDirectory directory;
  const EnvironmentVariable configuration("QMFI_CONF_DIR", directory.path().c_str());
  const struct {
    const char* text;
    int seconds;
  } cases[] = {
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=15\n", 15},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=1\n", 1},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=3600\n", 3600},
      {"[QUIESCENCE_INFO]\n", 2},
      {"[OTHER]\nQUIESCENCE_TIMEOUT=15\n", 2},
      {"", 2},
  };
  Journal journal;
  const FakeProvider fake(journal);
  ProviderDescriptor descriptor;
  descriptor.timeout = {"freezeTimeout", ProviderDescriptor::ConfiguredValue{"QUIESCENCE_INFO", "QUIESCENCE_TIMEOUT"}};
  const Provider provider(fake.entryPoints(), "sample", "", descriptor);
  for (const auto& one : cases) {
    directory.write("sample.conf", one.text);
    EXPECT_EQ(configuredFreezeTimeout(provider).count(), one.seconds) << one.text;
  }
}

TEST(FreezeTimeout, ThatMakesNoSenseIsNamed) {
  const TemporaryDirectory directory;
  const EnvironmentVariable configuration("QMFI_CONF_DIR", directory.path().c_str());
  Journal journal;
  const FakeProvider fake(journal);
  ProviderDescriptor descriptor;
  descriptor.timeout = {"freezeTimeout", ProviderDescriptor::ConfiguredValue{"QUIESCENCE_INFO", "QUIESCENCE_TIMEOUT"}};
  const Provider provider(fake.entryPoints(), "sample", "", descriptor);
  for (const std::string value : {"0", "3601", "soon", ""}) {
    directory.write("sample.conf", "[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=" + value + "\n");
    EXPECT_THAT([&] { configuredFreezeTimeout(provider); },
                testing::ThrowsMessage<HostError>(
                    "the settings of the provider sample cannot be used: QUIESCENCE_TIMEOUT of section "
                    "QUIESCENCE_INFO is \"" +
                    value + "\", not a number of seconds from 1 to 3600; --freeze-timeout goes before it"));
  }
}

TEST(FreezeTimeout, IsTwoSecondsForAProviderThatHasNoConfiguredOne) {
  Journal journal;
  const FakeProvider fake(journal);
  ProviderDescriptor descriptor;
  descriptor.timeout = {"freezeTimeout", {}};
  const Provider provider(fake.entryPoints(), "sample", "", descriptor);
  EXPECT_EQ(configuredFreezeTimeout(provider).count(), 2);
}

TEST(FreezeTimeout, IsTenSecondsForAProviderWhoseFreezesDoNotEndByThemselves) {
  Journal journal;
  const FakeProvider fake(journal);
  const Provider provider(fake.entryPoints(), "sample", "", {});
  EXPECT_EQ(configuredFreezeTimeout(provider).count(), 10);
}

}  // namespace
}  // namespace qmfi_host
