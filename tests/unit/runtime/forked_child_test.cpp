// What becomes of the runtime in a child that was forked while other threads used it.
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "cfierrormanager.h"
#include "open_split_context.h"
#include "recording_handler.h"
#include "support/exiting_child.h"

namespace {

using namespace qmfi_pdk_4_4;

TEST(ForkedChild, EndsThoughAThreadOfItsParentWaitsToOpenTheSplitContext) {
  std::latch entered(1);
  std::latch released(1);
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled, "", [&] {
    entered.count_down();
    released.wait();
  }));
  std::thread pusher([&manager] { manager.pushError(messageWithId("1")); });
  entered.wait();
  std::thread freezer([] { const OpenSplitContext context; });
  waitUntilMessagesAreHeldBack();
  EXPECT_EQ(statusOfExitingChild(), 0);
  released.count_down();
  pusher.join();
  freezer.join();
}

}  // namespace
