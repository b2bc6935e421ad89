// What an entry point costs around its operation once the singletons are there and the trace is filtered.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "cfiapilifecycle.h"
#include "support/allocation_faults.h"
#include "support/environment.h"
#include "support/mutex_faults.h"
#include "support/plain_provider.h"
#include "support/temporary_directory.h"

namespace {

using namespace qmfi_pdk_4_4;

// Of a singleton that is handed out: its own mutex, and the object's to count it; then the object's to give it back.
constexpr std::uint64_t locksOfAReference = 2 + 1;
constexpr std::uint64_t locksOfTheDelayedInitialisation = 1;

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
  const std::uint64_t before = plannedLocks();
  EXPECT_EQ(enter(), 41);
  const std::uint64_t locks = plannedLocks() - before;
  const std::uint64_t initialisation =
      GetParam() == CFiEntry::delayed ? locksOfAReference + locksOfTheDelayedInitialisation : 0;
  EXPECT_EQ(locks, locksOfAReference + initialisation + locksOfAReference);
}

TEST_P(EntryCost, IsNoMemory) {
  const MemoryFailure failure;
  EXPECT_EQ(enter(), 41);
}

TEST_P(EntryCost, OfAReferenceToTheProviderIsTwoLocksAndOneToGiveItBack) {
  using Provider = CFiContextSingleton<PlainProvider, FI_PLUGIN_NAME>;
  const MemoryFailure failure;
  const std::uint64_t before = plannedLocks();
  auto provider = Provider::instance(false);
  EXPECT_EQ(plannedLocks() - before, 2U);
  provider.release();
  EXPECT_EQ(plannedLocks() - before, 3U);
}

INSTANTIATE_TEST_SUITE_P(All, EntryCost, testing::Values(CFiEntry::delayed, CFiEntry::atOnce), [](const auto& test) {
  return test.param == CFiEntry::delayed ? "WithDelayedInitialisation" : "AtOnce";
});

}  // namespace
