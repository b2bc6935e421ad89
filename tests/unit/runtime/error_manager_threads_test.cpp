// The error manager under many threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "cfierrormanager.h"
#include "open_split_context.h"
#include "recording_handler.h"

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

TEST(ErrorManagerThreadsTest, HandsOutEachMessageOnce) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  pushAll(manager);
  expectEachMessageOnce(handled.ids());
  EXPECT_EQ(manager.messages().size(), 64U);
}

TEST(ErrorManagerThreadsTest, HandsOutEachMessageOnceWhileTheSplitContextOpensAndCloses) {
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

TEST(ErrorManagerThreadsTest, HandlerThatRunsIsWaitedForBeforeTheSplitContextIsOpen) {
  HandledMessages events;
  std::latch entered(1);
  std::latch released(1);
  std::latch done(1);
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled, "", [&] {
    entered.count_down();
    released.wait();
    events.add("handled");
  }));
  std::thread pusher([&manager] { manager.pushError(messageWithId("1")); });
  entered.wait();
  std::thread freezer([&] {
    const OpenSplitContext context;
    events.add("open");
    done.wait();
  });
  waitUntilMessagesAreHeldBack();
  released.count_down();
  pusher.join();
  done.count_down();
  freezer.join();
  EXPECT_THAT(events.ids(), testing::ElementsAre("handled", "open"));
}

// As one does that needs a lock of the host's which the thread holds that freezes.
TEST(ErrorManagerThreadsTest, HandlerThatWaitsForTheSplitContextIsNotWaitedForForEver) {
  std::latch entered(1);
  std::latch opened(1);
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled, "", [&] {
    entered.count_down();
    opened.wait();
  }));
  std::thread pusher([&manager] { manager.pushError(messageWithId("1")); });
  entered.wait();
  {
    const OpenSplitContext context;
    opened.count_down();
  }
  pusher.join();
  EXPECT_EQ(handled.ids().size(), 1U);
}

TEST(ErrorManagerThreadsTest, HandlersThatOpenTheSplitContextDoNotWaitForEachOther) {
  std::latch entered(2);
  HandledMessages handled;
  CFiErrorManager first;
  CFiErrorManager second;
  std::vector<std::thread> threads;
  for (CFiErrorManager* const manager : {&first, &second}) {
    manager->registerHandler(new RecordingHandler(handled, "", [&entered] {
      entered.arrive_and_wait();
      const OpenSplitContext context;
    }));
    threads.emplace_back([manager] { manager->pushError(messageWithId("1")); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(handled.ids().size(), 2U);
}

TEST(ErrorManagerThreadsTest, CanBeDestroyedWhileTheSplitContextCloses) {
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
