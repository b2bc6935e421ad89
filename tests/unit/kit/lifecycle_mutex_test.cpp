// Start of a provider when mutexes fail: a status, whichever lock it is.
#include "cfiapilifecycle.h"
#include "support/environment.h"
#include "support/mutex_failure.h"
#include "support/plain_provider.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cerrno>

ACE_String_Base<char> cfi_pgn_name_tstr("kittest", nullptr, false);

namespace {

using namespace qmfi_pdk_4_4;

// A start, of whose locks the one with that number fails.
int startWithFailure(int number) {
  kfi_version version{};
  const MutexFailure failure(MutexFailure::Call::lock, number, EINVAL);
  return guardEntryPoint(1, [&] { return startPlugin<PlainProvider>(nullptr, &version, nullptr); });
}

TEST(LifecycleMutex, StartWithoutASingletonIsSix) {
  const TemporaryDirectory directory;
  const EnvironmentVariable logDirectory("QMFI_LOG_DIR", directory.path());
  constexpr int locks = 60;
  int failed = 0;
  for (int number = 1; number <= locks; ++number) {
    const int status = startWithFailure(number);
    EXPECT_TRUE(status == 0 || status == 6) << number << ": " << status;
    failed += status == 6 ? 1 : 0;
    stopPlugin<PlainProvider>("kittest_fi_pgn_fini", 1);
  }
  // At least the locks of six singletons and of their objects.
  EXPECT_GE(failed, 12);
  CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(true);
}

}  // namespace
