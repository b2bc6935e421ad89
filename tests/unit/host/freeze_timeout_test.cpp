// The freeze time-out of the configuration.
#include "provider/freeze_timeout.h"

#include <gtest/gtest.h>

#include "../runtime/scoped_environment.h"
#include "../runtime/temporary_directory.h"

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
  for (const auto& one : cases) {
    directory.write("sample.conf", one.text);
    EXPECT_EQ(configuredFreezeTimeout("sample").count(), one.seconds) << one.text;
  }
}

}  // namespace
}  // namespace qmfi_host
