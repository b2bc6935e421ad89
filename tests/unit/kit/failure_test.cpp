// What becomes of a failure that an operation throws.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cfifailure.h"
#include "cfitracedpluginbase.h"
#include "support/pushed_messages.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

using ErrorManager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>;

class Failure : public testing::Test {
 protected:
  void SetUp() override { ErrorManager::instance(true); }
  void TearDown() override { ErrorManager::instance(true); }

  static std::vector<PushedMessage> pushed() { return describe(ErrorManager::instance(false)->messages()); }
};

TEST_F(Failure, IsAnsweredWithItsStatusAndItsMessage) {
  int line = 0;
  const int status = answered([&]() -> int {
    line = __LINE__ + 1;
    throw CFiFailure(CFI_STATUS_BUSY, "MSG_HELD", {"/mnt/a", "by somebody"});
  });
  EXPECT_EQ(status, 32);
  EXPECT_THAT(pushed(),
              ElementsAre(PushedMessage{"MSG_HELD", {"s:/mnt/a", "s:by somebody"}, 2, "failure_test.cpp", line}));
}

TEST_F(Failure, MayHaveNoArguments) {
  constexpr CFiSourceLocation place{"elsewhere.cpp", 7};
  EXPECT_EQ(answered([&]() -> int { throw CFiFailure(CFI_STATUS_FAILED, "MSG_PLAIN", {}, place); }), 6);
  EXPECT_THAT(pushed(), ElementsAre(PushedMessage{"MSG_PLAIN", {}, 2, "elsewhere.cpp", 7}));
}

TEST_F(Failure, IsThatOfAnArgumentThatIsMissing) {
  int line = 0;
  const int status = answered([&] {
    line = __LINE__ + 1;
    return *given(static_cast<const int*>(nullptr), "number");
  });
  EXPECT_EQ(status, 3);
  EXPECT_THAT(pushed(),
              ElementsAre(PushedMessage{"MSG_ERROR_INVALID_ARGUMENT", {"s:number"}, 2, "failure_test.cpp", line}));
}

TEST_F(Failure, IsNoneOfAnArgumentThatIsGiven) {
  const int number = 17;
  EXPECT_EQ(given(&number, "number"), &number);
}

TEST_F(Failure, LeavesOtherExceptionsToTheLadder) {
  const int line = __LINE__ + 1;
  EXPECT_EQ(answered([]() -> int { throw std::runtime_error("something else"); }), 6);
  EXPECT_THAT(pushed(), ElementsAre(PushedMessage{"MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION",
                                                  {"s:std::runtime_error", "s:something else", "s:failure_test.cpp",
                                                   "i:" + std::to_string(line)},
                                                  3,
                                                  "failure_test.cpp",
                                                  line}));
}

TEST_F(Failure, IsNoneWhereTheBodyAnswers) {
  EXPECT_EQ(answered([] { return 1088; }), 1088);
  EXPECT_THAT(pushed(), IsEmpty());
}

// A plug-in with one operation.
class Probe : public CFiTracedPluginBase {
 public:
  int init() override { return CFI_STATUS_SUCCESS; }
  void fini() override {}
  int check(bool fails) const {
    return operation("check", [&]() -> int {
      if (fails) throw CFiFailure(CFI_STATUS_BUSY, "MSG_HELD", {"/mnt/a", "by somebody"});
      return CFI_STATUS_SUCCESS;
    });
  }
};

TEST_F(Failure, OfATracedOperationIsInTheTraceAndAnsweredWithItsMessage) {
  const TraceCapture capture;
  Probe probe;
  probe.registerTraceLog(capture.log());
  EXPECT_EQ(probe.check(false), 0);
  EXPECT_EQ(probe.check(true), 32);
  EXPECT_THAT(withoutLineNumbers(capture.records()),
              ElementsAre("L6 Entering Function check [line, pdk/include/cfitracelog.h]",
                          "L6 Exiting Function check [line, pdk/include/cfitracelog.h]",
                          "L6 Entering Function check [line, pdk/include/cfitracelog.h]",
                          "L1 check failed: MSG_HELD /mnt/a by somebody ",
                          "L6 Exiting Function check [line, pdk/include/cfitracelog.h]"));
  ASSERT_EQ(pushed().size(), 1U);
  EXPECT_EQ(pushed().front().id, "MSG_HELD");
}

}  // namespace
