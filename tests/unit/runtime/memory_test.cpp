// The framework's objects when memory is short: what is not done whole is not done at all.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "cfierrormanager.h"
#include "open_split_context.h"
#include "recording_handler.h"
#include "support/allocation_faults.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;

constexpr int mostCalls = 100;

// Whether the call finds enough memory when all but that many of its requests fail.
template <typename Call>
bool succeedsWith(int requests, const Call& call) {
  const MemoryFailure failure(requests);
  try {
    call();
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

TEST(MemoryTest, TraceLogThatCouldNotBeOpenedIsNotInitialised) {
  const TraceDirectory traces;
  CFiTraceLog log;
  int failures = 0;
  while (!succeedsWith(failures, [&] { traces.open(log, 1); })) {
    EXPECT_FALSE(log.isInitialized()) << failures;
    log.trace(1, "lost");
    ASSERT_LT(++failures, mostCalls);
  }
  EXPECT_GT(failures, 2);
  EXPECT_TRUE(log.isInitialized());
  log.trace(1, "written");
  EXPECT_THAT(traces.texts(), ElementsAre("written"));
}

TEST(MemoryTest, MessageIsBothKeptAndHandedOutOrNeither) {
  HandledMessages handled;
  CFiErrorManager manager;
  manager.registerHandler(new RecordingHandler(handled));
  const CFiMessageSPtr message = messageWithId("1");
  int failures = 0;
  // While the split context is open nothing but the two queues asks for memory.
  {
    const OpenSplitContext context;
    while (!succeedsWith(failures, [&] { manager.pushError(message); })) {
      EXPECT_TRUE(manager.messages().empty()) << failures;
      ASSERT_LT(++failures, mostCalls);
    }
  }
  EXPECT_EQ(failures, 2);
  EXPECT_EQ(manager.messages().size(), 1U);
  EXPECT_THAT(handled.ids(), ElementsAre("1"));
}

}  // namespace
