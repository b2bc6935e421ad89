// The freeze time-out of the configuration.
#include "provider/freeze_timeout.h"

#include <gtest/gtest.h>

#include "../runtime/scoped_environment.h"
#include "../runtime/temporary_directory.h"
#include "fake_provider.h"

namespace qmfi_host {
namespace {

TEST(FreezeTimeout, IsTheConfiguredOneWhereThatCanBe) {
  const TemporaryDirectory directory;
  const ScopedEnvironment configuration("QMFI_CONF_DIR", directory.path().c_str());
  const struct {
    const char* text;
    int seconds;
  } cases[] = {
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=15\n", 15},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=1\n", 1},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=3600\n", 3600},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=0\n", 2},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=3601\n", 2},
      {"[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=soon\n", 2},
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

TEST(FreezeTimeout, IsTwoSecondsForAProviderThatHasNoConfiguredOne) {
  Journal journal;
  const FakeProvider fake(journal);
  const Provider provider(fake.entryPoints(), "sample", "", {});
  EXPECT_EQ(configuredFreezeTimeout(provider).count(), 2);
}

}  // namespace
}  // namespace qmfi_host
