// The error manager: what it keeps, and when the handlers get it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "cfierrormanager.h"
#include "kfi.h"
#include "open_split_context.h"
#include "recording_handler.h"
#include "support/cancelled_thread.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> idsOf(const CFiErrorManager& manager) {
  std::vector<std::string> ids;
  for (const CFiMessageSPtr& message : manager.messages()) ids.push_back(message->getMessageId());
  return ids;
}

TEST(ErrorManagerTest, KeepsTheNewestFirst) {
  CFiErrorManager manager;
  EXPECT_EQ(manager.pushError(messageWithId("first")), 0);
  EXPECT_EQ(manager.pushError(messageWithId("second")), 0);
  EXPECT_THAT(idsOf(manager), ElementsAre("second", "first"));
}

TEST(ErrorManagerTest, KeepsTheNewest64) {
  CFiErrorManager manager;
  for (int i = 0; i < 70; ++i) manager.pushError(messageWithId(std::to_string(i)));
  const std::vector<std::string> ids = idsOf(manager);
  ASSERT_EQ(ids.size(), 64U);
  EXPECT_EQ(ids.front(), "69");
  EXPECT_EQ(ids.back(), "6");
}

TEST(ErrorManagerTest, ForgetsOnClear) {
  CFiErrorManager manager;
  manager.pushError(messageWithId("first"));
  manager.clear();
  EXPECT_THAT(idsOf(manager), IsEmpty());
  manager.pushError(messageWithId("second"));
  EXPECT_THAT(idsOf(manager), ElementsAre("second"));
}

TEST(ErrorManagerTest, IgnoresAnEmptyPointer) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  EXPECT_EQ(manager.pushError(CFiMessageSPtr()), 0);
  EXPECT_EQ(manager.registerHandler(nullptr), 0);
  EXPECT_THAT(idsOf(manager), IsEmpty());
  EXPECT_THAT(handled.ids(), IsEmpty());
}

TEST(ErrorManagerTest, GivesEachMessageToTheHandlersInTheirOrder) {
  HandledMessages handled;
  CFiErrorManager manager;
  EXPECT_EQ(manager.registerHandler(new RecordingHandler(handled, "a ")), 0);
  EXPECT_EQ(manager.registerHandler(new RecordingHandler(handled, "b ")), 0);
  manager.pushError(messageWithId("1"));
  manager.pushError(messageWithId("2"));
  EXPECT_THAT(handled.ids(), ElementsAre("a 1", "b 1", "a 2", "b 2"));
}

TEST(ErrorManagerTest, GoesOnAfterAHandlerThatThrows) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled, "a ", [] { throw std::runtime_error("no"); }));
  manager.registerHandler(new RecordingHandler(handled, "b "));
  EXPECT_EQ(manager.pushError(messageWithId("1")), 0);
  EXPECT_THAT(handled.ids(), ElementsAre("a 1", "b 1"));
}

TEST(ErrorManagerTest, LetsAHandlerUseTheManager) {
  HandledMessages handled;
  CFiErrorManager manager;
  int pushes = 0;
  manager.registerHandler(new RecordingHandler(handled, "a ", [&] {
    if (pushes++ == 0) manager.pushError(messageWithId("from handler"));
    manager.messages();
  }));
  manager.registerHandler(new RecordingHandler(handled, "b "));
  manager.pushError(messageWithId("1"));
  EXPECT_THAT(handled.ids(), ElementsAre("a 1", "b 1", "a from handler", "b from handler"));
}

TEST(ErrorManagerTest, CallsHandlersWhenTheSplitContextCloses) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  {
    const OpenSplitContext context;
    manager.pushError(messageWithId("1"));
    manager.pushError(messageWithId("2"));
    EXPECT_THAT(handled.ids(), IsEmpty());
    EXPECT_THAT(idsOf(manager), ElementsAre("2", "1"));
  }
  EXPECT_THAT(handled.ids(), ElementsAre("1", "2"));
  manager.pushError(messageWithId("3"));
  EXPECT_THAT(handled.ids(), ElementsAre("1", "2", "3"));
}

TEST(ErrorManagerTest, HandsOutEveryMessageOfTheSplitContextThoughItKeeps64) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  {
    const OpenSplitContext context;
    for (int i = 0; i < 70; ++i) manager.pushError(messageWithId(std::to_string(i)));
    manager.clear();
  }
  EXPECT_EQ(handled.ids().size(), 70U);
}

TEST(ErrorManagerTest, ServesAllManagersWhenTheSplitContextCloses) {
  HandledMessages handled;
  CFiErrorManager first;
  CFiErrorManager second;
  first.registerHandler(new RecordingHandler(handled, "first "));
  second.registerHandler(new RecordingHandler(handled, "second "));
  {
    const OpenSplitContext context;
    CFiErrorManager gone;
    gone.registerHandler(new RecordingHandler(handled, "gone "));
    for (CFiErrorManager* const manager : {&second, &gone, &first}) manager->pushError(messageWithId("1"));
  }
  EXPECT_THAT(handled.ids(), ElementsAre("first 1", "second 1"));
}

TEST(ErrorManagerTest, ServesItsHandlersOnACancelledThread) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled, "", [] { pthread_testcancel(); }));
  EXPECT_TRUE(finishesThoughCancelled([&manager] { manager.pushError(messageWithId("1")); }));
  EXPECT_THAT(handled.ids(), ElementsAre("1"));
}

TEST(ErrorManagerTest, LetsAHandlerEndAnotherManagerWhenTheSplitContextCloses) {
  HandledMessages handled;
  CFiErrorManager first;
  auto second = std::make_unique<CFiErrorManager>();
  first.registerHandler(new RecordingHandler(handled, "first ", [&second] { second.reset(); }));
  second->registerHandler(new RecordingHandler(handled, "second "));
  {
    const OpenSplitContext context;
    second->pushError(messageWithId("1"));
    first.pushError(messageWithId("1"));
  }
  EXPECT_THAT(handled.ids(), ElementsAre("first 1"));
}

TEST(ErrorManagerTest, LetsAHandlerOpenAndCloseTheSplitContext) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled, "", [] { const OpenSplitContext context; }));
  {
    const OpenSplitContext context;
    manager.pushError(messageWithId("1"));
    manager.pushError(messageWithId("2"));
  }
  EXPECT_THAT(handled.ids(), ElementsAre("1", "2"));
}

}  // namespace
