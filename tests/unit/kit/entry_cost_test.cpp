// What an entry point costs around its operation once the singletons are there and the trace is filtered.
#include "cfiapilifecycle.h"
#include "support/environment.h"
#include "support/memory_failure.h"
#include "support/mutex_failure.h"
#include "support/plain_provider.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace qmfi_pdk_4_4;

// Of a singleton that is handed out: its own mutex, and the object's to count it; then the object's to give it back.
constexpr long locksOfAReference = 2 + 1;
constexpr long locksOfTheDelayedInitialisation = 1;

class EntryCost : public testing::TestWithParam<CFiEntry> {
 protected:
  EntryCost() {
    kfi_version version{};
    startPlugin<PlainProvider>(nullptr, &version, nullptr);
    enter();
  }
  ~EntryCost() override {
    dropSingletons<PlainProvider>();
    CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(true);
  }

  static int enter() {
    return enterPlugin<PlainProvider>("entry", 1, GetParam(), [](PlainProvider&) { return 41; });
  }

 private:
  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory{"QMFI_LOG_DIR", m_directory.path()};
  EnvironmentVariable m_traceLevel{"QMFI_TRACE_LEVEL", std::nullopt};
};

TEST_P(EntryCost, IsTheLocksOfTheTraceLogAndOfTheProviderOnceOrTwice) {
  const long before = mutexLocks();
  EXPECT_EQ(enter(), 41);
  const long locks = mutexLocks() - before;
  const long initialisation = GetParam() == CFiEntry::delayed ? locksOfAReference + locksOfTheDelayedInitialisation : 0;
  EXPECT_EQ(locks, locksOfAReference + initialisation + locksOfAReference);
}

TEST_P(EntryCost, IsNoMemory) {
  const MemoryFailure failure;
  EXPECT_EQ(enter(), 41);
}

TEST_P(EntryCost, OfAReferenceToTheProviderIsTwoLocksAndOneToGiveItBack) {
  using Provider = CFiContextSingleton<PlainProvider, FI_PLUGIN_NAME>;
  const MemoryFailure failure;
  const long before = mutexLocks();
  auto provider = Provider::instance(false);
  EXPECT_EQ(mutexLocks() - before, 2);
  provider.release();
  EXPECT_EQ(mutexLocks() - before, 3);
}

INSTANTIATE_TEST_SUITE_P(All, EntryCost, testing::Values(CFiEntry::delayed, CFiEntry::atOnce), [](const auto& test) {
  return test.param == CFiEntry::delayed ? "WithDelayedInitialisation" : "AtOnce";
});

}  // namespace
