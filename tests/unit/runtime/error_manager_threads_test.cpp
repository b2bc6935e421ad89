// The error manager under many threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "cfierrormanager.h"
#include "recording_handler.h"
#include "trace_fixture.h"

namespace {

using namespace qmfi_pdk_4_4;

constexpr int threadCount = 8;
constexpr int messageCount = 200;

void pushAll(CFiErrorManager& manager) {
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&manager, i] {
      for (int n = 0; n < messageCount; ++n) manager.pushError(messageWithId(std::to_string(i * messageCount + n)));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void expectEachMessageOnce(std::vector<std::string> ids) {
  ASSERT_EQ(ids.size(), static_cast<std::size_t>(threadCount) * messageCount);
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(std::unique(ids.begin(), ids.end()), ids.end());
}

TEST(ErrorManagerThreadsTest, handsOutEachMessageOnce) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  pushAll(manager);
  expectEachMessageOnce(handled.ids());
  EXPECT_EQ(manager.messages().size(), 64U);
}

TEST(ErrorManagerThreadsTest, handsOutEachMessageOnceWhileTheSplitContextOpensAndCloses) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  std::atomic<bool> stop{false};
  std::thread freezer([&stop] {
    while (!stop) const OpenSplitContext context;
  });
  pushAll(manager);
  stop = true;
  freezer.join();
  expectEachMessageOnce(handled.ids());
}

TEST(ErrorManagerThreadsTest, canBeDestroyedWhileTheSplitContextCloses) {
  HandledMessages handled;
  std::atomic<bool> stop{false};
  std::thread freezer([&stop] {
    while (!stop) const OpenSplitContext context;
  });
  for (int i = 0; i < 500; ++i) {
    CFiErrorManager manager;
    manager.registerHandler(new RecordingHandler(handled));
    manager.pushError(messageWithId("1"));
  }
  stop = true;
  freezer.join();
  EXPECT_LE(handled.ids().size(), 500U);
}

}  // namespace
