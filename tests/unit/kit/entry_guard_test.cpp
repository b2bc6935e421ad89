// The guard around entry points: nothing crosses it but the end of a cancelled thread.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "cfientryguard.h"
#include "cfiscopeexit.h"
#include "support/allocation_faults.h"
#include "support/cancelled_thread.h"
#include "support/pushed_messages.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

using ErrorManager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>;

constexpr int anyLine = 77;
constexpr const char* unknownError = "MSG_ERROR_UNHANDLED_UNKNOWN_EXCEPTION";

std::vector<PushedMessage> pushed() {
  return describe(ErrorManager::instance(false)->messages());
}

class EntryGuard : public testing::Test {
 protected:
  void SetUp() override { ErrorManager::instance(true); }
  void TearDown() override { ErrorManager::instance(true); }
};

TEST_F(EntryGuard, GivesTheBodysStatus) {
  EXPECT_EQ(guardEntryPoint(anyLine, [] { return 1088; }), 1088);
  EXPECT_THAT(pushed(), IsEmpty());
}

TEST_F(EntryGuard, HasTheLadderWithin) {
  EXPECT_EQ(guardEntryPoint(anyLine, []() -> int { throw 8; }), 6);
  EXPECT_THAT(
      pushed(),
      ElementsAre(PushedMessage{
          "MSG_ERROR_UNHANDLED_INT_EXCEPTION", {"i:8", "s:cfiapiexport.h", "i:77"}, 3, "cfiapiexport.h", anyLine}));
}

template <typename Thrown>
void expectUnknown(const Thrown& thrown) {
  ErrorManager::instance(false)->clear();
  EXPECT_EQ(guardEntryPoint(anyLine, [&]() -> int { throw thrown; }), 6);
  EXPECT_THAT(pushed(),
              ElementsAre(PushedMessage{unknownError, {"s:cfiapiexport.h", "i:77"}, 3, "cfiapiexport.h", anyLine}));
}

TEST_F(EntryGuard, ReportsWhatTheLadderDoesNotKnow) {
  struct Unknown {};
  expectUnknown(8L);
  expectUnknown(static_cast<const char*>("text"));
  expectUnknown(std::string("text"));
  expectUnknown(Unknown());
}

template <typename Thrown>
void expectSixWithoutMemory(const Thrown& thrown) {
  // Made ahead, as it is there in every plug-in that was started.
  const auto manager = ErrorManager::instance(false);
  std::optional<MemoryFailure> failure;
  const int status = guardEntryPoint(anyLine, [&]() -> int {
    failure.emplace();
    throw thrown;
  });
  failure.reset();
  EXPECT_EQ(status, 6);
  EXPECT_THAT(pushed(), IsEmpty());
}

TEST_F(EntryGuard, GivesSixWithoutAMessageWhenThereIsNoMemoryForOne) {
  expectSixWithoutMemory(8);
  expectSixWithoutMemory(8L);
  expectSixWithoutMemory(std::bad_alloc());
}

TEST_F(EntryGuard, LetsTheEndOfACancelledThreadPass) {
  const EndlessWait wait;
  bool unwound = false;
  const bool cancelled = endsWhenCancelled(wait, [&] {
    guardEntryPoint(anyLine, [&] {
      const CFiScopeExit mark([&] { unwound = true; });
      wait.enter();
      return 0;
    });
  });
  EXPECT_TRUE(cancelled);
  EXPECT_TRUE(unwound);
  EXPECT_THAT(pushed(), IsEmpty());
}

struct ListCase {
  bool single;
  bool list;
  int count;
  bool standsIn;
};

TEST(NodeList, SingleNodeStandsInForAMissingListOnly) {
  const ListCase cases[] = {
      {true, false, 0, true},   {true, false, 1, false}, {true, false, -1, false},
      {true, true, 0, false},   {true, true, 2, false},  {false, false, 0, false},
      {false, false, 3, false}, {false, true, 0, false}, {false, true, 2, false},
  };
  int node = 0;
  int* nodes[] = {&node, &node};
  int single = 0;
  for (const ListCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.single << c.list << ' ' << c.count);
    const CFiNodeList<int> list(c.single ? &single : nullptr, c.list ? nodes : nullptr, c.count);
    if (c.standsIn) {
      ASSERT_EQ(list.count(), 1);
      EXPECT_EQ(list.nodes()[0], &single);
    } else {
      EXPECT_EQ(list.count(), c.count);
      EXPECT_EQ(list.nodes(), c.list ? nodes : nullptr);
    }
  }
}

}  // namespace
