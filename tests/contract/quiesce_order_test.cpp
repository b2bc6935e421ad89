// In which order a quiesce and a thaw open, freeze, thaw, close and report, whichever way they end.
#include <cerrno>
#include <functional>
#include <initializer_list>
#include <new>
#include <stdexcept>

#include "quiesce_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Calls = std::vector<std::string>;

// The calls by which mount points are opened.
Calls opened(std::initializer_list<const char*> names) {
  Calls calls = {"create context"};
  for (const std::string name : names) {
    calls.push_back("open " + name + " flags 0");
    calls.push_back("mark close-on-exec " + name);
  }
  return calls;
}

Calls followedBy(Calls calls, const Calls& others) {
  calls.insert(calls.end(), others.begin(), others.end());
  return calls;
}

class QuiesceOrder : public Quiesce {
 protected:
  void expectCalls(const Calls& expected) { EXPECT_EQ(freezeCalls().noted(), expected); }

  // What this plug-in threw is no longer in its way.
  void expectUsable() {
    expectIdle();
    EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  }
};

// Whether serial freezing is allowed as well.
class SerialQuiesceOrder : public QuiesceOrder {
 protected:
  void start() override {
    configure("[QUIESCENCE_INFO]\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
    ASSERT_EQ(startPlugin(), 0);
    importedCalls().failDriver(QM_FREEZE_ALL, 1, ENOTTY);
  }
};

const auto throwsRuntimeError = [] { throw std::runtime_error("no message today"); };
const auto throwsText = [] { throw "a text"; };

TEST_F(QuiesceOrder, OfASuccess) {
  ASSERT_EQ(quiesce(2), 0);
  const Calls frozen = followedBy(opened({"a", "b"}), {"freeze all a b"});
  expectCalls(frozen);
  unquiesce(2);
  expectCalls(followedBy(frozen, {"thaw a", "close a", "thaw b", "close b", "close context"}));
}

TEST_F(QuiesceOrder, OfAContextThatCannotBeOpened) {
  importedCalls().failContext(12);
  EXPECT_EQ(quiesce(2), 6);
  expectCalls({"create context", "close context"});
}

TEST_F(QuiesceOrder, OfAMountPointThatCannotBeOpened) {
  std::filesystem::remove(paths[3]);
  EXPECT_EQ(quiesce(4), 6);
  expectCalls(followedBy(opened({"a", "b", "c"}), {"open d flags 0", "push", "close a", "close b", "close context"}));
  closeDescriptorsOf(paths[2]);
}

TEST_F(QuiesceOrder, OfFreezingTogetherThatFailsWhereSerialFreezingIsNotAllowed) {
  importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
  EXPECT_EQ(quiesce(2), 6);
  expectCalls(followedBy(opened({"a", "b"}), {"freeze all a b", "close a", "close b", "close context"}));
}

TEST_F(SerialQuiesceOrder, OfASuccess) {
  ASSERT_EQ(quiesce(2), 0);
  const Calls frozen = followedBy(opened({"a", "b"}), {"freeze all a b", "freeze a", "freeze b"});
  expectCalls(frozen);
  unquiesce(2);
  expectCalls(followedBy(frozen, {"thaw a", "close a", "thaw b", "close b", "close context"}));
}

TEST_F(SerialQuiesceOrder, OfSerialFreezingThatFails) {
  importedCalls().failDriver(QM_FREEZE, 3, EIO);
  EXPECT_EQ(quiesce(4), 6);
  expectCalls(followedBy(opened({"a", "b", "c", "d"}),
                         {"freeze all a b c d", "freeze a", "freeze b", "freeze c", "push", "thaw a", "close a",
                          "close b", "close c", "close d", "close context"}));
}

TEST_F(QuiesceOrder, OfAThawThatFails) {
  ASSERT_EQ(quiesce(2), 0);
  importedCalls().failDriver(QM_THAW, 1, EIO);
  unquiesce(2);
  expectCalls(followedBy(opened({"a", "b"}),
                         {"freeze all a b", "thaw a", "close a", "thaw b", "close b", "push", "close context"}));
}

// Exceptions.

TEST_F(QuiesceOrder, OfAnExceptionThatEndsAQuiesceWhichHasOpenedNothing) {
  importedCalls().doInContext(throwsRuntimeError);
  EXPECT_EQ(quiesce(2), 6);
  expectCalls({"create context", "push", "close context"});
}

TEST_F(QuiesceOrder, OfAnExceptionThatEndsAQuiesceWhichHasOpenedMountPoints) {
  std::filesystem::remove(paths[2]);
  freezeCalls().doInPush(throwsRuntimeError);
  EXPECT_EQ(quiesce(3), 6);
  expectCalls(
      followedBy(opened({"a", "b"}), {"open c flags 0", "push", "push", "close a", "close b", "close context"}));
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, no message today");
  expectUsable();
}

TEST_F(SerialQuiesceOrder, OfAnExceptionThatEndsAQuiesceWhichHasFrozenSome) {
  importedCalls().failDriver(QM_FREEZE, 3, EIO);
  freezeCalls().doInPush(throwsRuntimeError);
  EXPECT_EQ(quiesce(4), 6);
  expectCalls(followedBy(opened({"a", "b", "c", "d"}),
                         {"freeze all a b c d", "freeze a", "freeze b", "freeze c", "push", "push", "thaw a", "thaw b",
                          "close a", "close b", "close c", "close d", "close context"}));
  EXPECT_EQ(importedCalls().interruptibleThaws(), 0);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, no message today");
  EXPECT_EQ(trace().back(), traced(1, "CQmFSPlugin::quiesce : caught exception, calling close_context"));
  expectUsable();
}

TEST_F(SerialQuiesceOrder, OfAnExceptionOfAnyOtherKindThatEndsAQuiesceWhichHasFrozenSome) {
  importedCalls().failDriver(QM_FREEZE, 2, EIO);
  freezeCalls().doInPush(throwsText);
  EXPECT_EQ(quiesce(2), 6);
  expectCalls(followedBy(opened({"a", "b"}), {"freeze all a b", "freeze a", "freeze b", "push", "thaw a", "close a",
                                              "close b", "close context", "push"}));
  expectUsable();
}

TEST_F(QuiesceOrder, OfAnExceptionThatEndsAThaw) {
  ASSERT_EQ(quiesce(3), 0);
  importedCalls().failDriver(QM_THAW, 1, EIO);
  freezeCalls().doInPush(throwsRuntimeError);
  unquiesce(3);
  expectCalls(followedBy(opened({"a", "b", "c"}), {"freeze all a b c", "thaw a", "close a", "thaw b", "close b",
                                                   "thaw c", "close c", "push", "push", "close context"}));
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, no message today");
  EXPECT_EQ(trace().back(), closingContext());
  expectUsable();
}

TEST_F(QuiesceOrder, OfAnExceptionOfAnyOtherKindThatEndsAThaw) {
  ASSERT_EQ(quiesce(1), 0);
  importedCalls().failDriver(QM_THAW, 1, EIO);
  freezeCalls().doInPush(throwsText);
  unquiesce(1);
  expectCalls(followedBy(opened({"a"}), {"freeze all a", "thaw a", "close a", "push", "close context", "push"}));
  expectUsable();
}

// A context whose closing throws. It is closed then, and closed once.

TEST_F(QuiesceOrder, OfAClosingThatThrowsInAThaw) {
  for (const std::function<void()>& thrown : {std::function<void()>(throwsRuntimeError), {throwsText}}) {
    freezeCalls().forget();
    ASSERT_EQ(quiesce(1), 0);
    importedCalls().doInClosing(thrown);
    unquiesce(1);
    expectCalls(followedBy(opened({"a"}), {"freeze all a", "thaw a", "close a", "close context", "push"}));
    EXPECT_EQ(messages().size(), 1u);
    expectUsable();
  }
}

TEST_F(QuiesceOrder, OfAClosingThatThrowsAfterAnExceptionThatEndedAThaw) {
  ASSERT_EQ(quiesce(1), 0);
  importedCalls().failDriver(QM_THAW, 1, EIO);
  freezeCalls().doInPush(throwsRuntimeError);
  importedCalls().doInClosing(throwsText);
  unquiesce(1);
  expectCalls(
      followedBy(opened({"a"}), {"freeze all a", "thaw a", "close a", "push", "push", "close context", "push"}));
  expectUsable();
}

TEST_F(QuiesceOrder, OfAClosingThatThrowsInAQuiesceThatFails) {
  for (const std::function<void()>& thrown : {std::function<void()>(throwsRuntimeError), {throwsText}}) {
    freezeCalls().forget();
    importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
    importedCalls().doInClosing(thrown);
    EXPECT_EQ(quiesce(1), 6);
    expectCalls(followedBy(opened({"a"}), {"freeze all a", "close a", "close context", "push"}));
    EXPECT_EQ(messages().size(), 1u);
    expectUsable();
  }
}

TEST_F(QuiesceOrder, OfAClosingThatThrowsWhenTheContextCouldNotBeOpened) {
  importedCalls().failContext(12);
  importedCalls().doInClosing(throwsRuntimeError);
  EXPECT_EQ(quiesce(1), 6);
  expectCalls({"create context", "close context", "push"});
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, no message today");
  expectUsable();
}

TEST_F(QuiesceOrder, OfAClosingThatThrowsAfterAnExceptionThatEndedAQuiesce) {
  importedCalls().doInContext(throwsRuntimeError);
  importedCalls().doInClosing(throwsRuntimeError);
  EXPECT_EQ(quiesce(1), 6);
  expectCalls({"create context", "push", "close context", "push"});
  expectUsable();
}

TEST_F(QuiesceOrder, OfAClosingThatThrowsInFini) {
  ASSERT_EQ(quiesce(1), 0);
  importedCalls().doInClosing(throwsRuntimeError);
  stopPlugin();
  expectCalls(followedBy(opened({"a"}), {"freeze all a", "thaw a", "close a", "close context", "push"}));
}

TEST_F(QuiesceOrder, OfAClosingThatThrowsInUnloading) {
  ASSERT_EQ(quiesce(1), 0);
  deinitialiseNodes();
  importedCalls().doInClosing(throwsRuntimeError);
  unloadPlugin();
  expectCalls(followedBy(opened({"a"}), {"freeze all a", "thaw a", "close a", "close context"}));
}

// Results of the driver that are no usual ones: only a negative one is a failure of a single freeze, any but 0 is one
// of freezing together and of the thaw by unquiesce.

class PositiveResult : public SerialQuiesceOrder {};

TEST_F(PositiveResult, OfFreezingTogetherIsAFailure) {
  forget();
  importedCalls().answerDriver(QM_FREEZE_ALL, 1, 1, EBUSY);
  ASSERT_EQ(quiesce(1), 0);
  expectCalls(followedBy(opened({"a"}), {"freeze all a", "freeze a"}));
  unquiesce(1);
  EXPECT_EQ(trace(), (std::vector<TraceRecord>{timeout(2), openingContext(), freezingAll(), freezeAllFailed(EBUSY),
                                               notFrozenTogether(), freezing(paths[0]), thawing(), closingContext()}));
}

TEST_F(PositiveResult, OfASingleFreezeIsASuccess) {
  importedCalls().answerDriver(QM_FREEZE, 1, 1, EIO);
  ASSERT_EQ(quiesce(2), 0);
  unquiesce(2);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(PositiveResult, OfTheThawAfterAFailedFreezeIsASuccess) {
  importedCalls().failDriver(QM_FREEZE, 3, EIO);
  importedCalls().answerDriver(QM_THAW, 1, 1, EIO);
  EXPECT_EQ(quiesce(3), 6);
  EXPECT_THAT(freezeCalls().noted(), ::testing::Contains("thaw a"));
  const auto records = trace();
  ASSERT_LE(2u, records.size());
  EXPECT_EQ(records[records.size() - 2], freezeFailed(paths[2], EIO));
  EXPECT_EQ(records.back(), bothFailed());
}

TEST_F(PositiveResult, OfTheThawByUnquiesceIsAFailure) {
  ASSERT_EQ(quiesce(1), 0);
  importedCalls().answerDriver(QM_THAW, 1, 1, EIO);
  unquiesce(1);
  expectMessage(messages(), "MSG_ERROR_THAW", paths[0]);
}

TEST_F(PositiveResult, OfTheThawByUnquiesceIsNoneWhenItsTimeoutHasEndedTheFreeze) {
  ASSERT_EQ(quiesce(1), 0);
  importedCalls().answerDriver(QM_THAW, 1, 1, ETIMEDOUT);
  unquiesce(1);
  EXPECT_THAT(messages(), IsEmpty());
}

}  // namespace
