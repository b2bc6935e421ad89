// The delayed initialisation: once, whoever comes first and however it ends.
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include "cfientryguard.h"
#include "support/plain_provider.h"

namespace {

using namespace qmfi_pdk_4_4;

std::atomic<int> runs{0};
bool fails = false;

class Provider : public PlainProvider {
 public:
  int delayedInit() override {
    ++runs;
    if (fails) throw 5;
    return 0;
  }
};

int enter() {
  return enterPlugin<Provider>("entry", 1, CFiEntry::delayed, [](Provider&) { return 41; });
}

class DelayedInitialisation : public testing::Test {
 protected:
  DelayedInitialisation() {
    runs = 0;
    fails = false;
  }
  ~DelayedInitialisation() override {
    CFiContextSingleton<Provider, FI_PLUGIN_NAME>::instance(true);
    CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>::instance(true);
  }
};

TEST_F(DelayedInitialisation, RunsOnceForManyThreads) {
  constexpr int threadCount = 8;
  std::latch start(threadCount);
  std::atomic<int> answered{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      answered += enter() == 41 ? 1 : 0;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(answered, threadCount);
}

TEST_F(DelayedInitialisation, ThatThrowsEndsOneCallOnly) {
  fails = true;
  EXPECT_EQ(enter(), 6);
  EXPECT_EQ(enter(), 41);
  EXPECT_EQ(runs, 1);
}

}  // namespace
