// Freezing file systems one by one where they cannot be frozen together.
#include <cerrno>

#include "quiesce_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SerialQuiesce : public Quiesce {
 protected:
  void start() override {
    configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=7\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
    ASSERT_EQ(startPlugin(), 0);
    importedCalls().failDriver(QM_FREEZE_ALL, 1, ENOTTY);
  }

  std::vector<TraceRecord> refused() const {
    return {timeout(7), openingContext(), freezingAll(), freezeAllFailed(ENOTTY), notFrozenTogether()};
  }

  // The traces of a quiesce that freezes file systems one by one until one fails.
  std::vector<TraceRecord> failedAt(int number, int error) const {
    auto records = refused();
    for (int i = 0; i <= number; ++i) records.push_back(freezing(paths[static_cast<std::size_t>(i)]));
    records.push_back(freezeFailed(paths[static_cast<std::size_t>(number)], error));
    return records;
  }
};

TEST_F(SerialQuiesce, FreezesOneByOneWhatCannotBeFrozenTogether) {
  EXPECT_EQ(quiesce(2), 0);
  EXPECT_THAT(importedCalls().driverRequests(),
              ElementsAre(freezeAll(first(2), 7), freeze(paths[0], 7), freeze(paths[1], 7)));
  EXPECT_THAT(openDescriptors(), ElementsAre(1, 1, 0, 0));
  unquiesce(2);
  auto expected = refused();
  for (const auto& record : {freezing(paths[0]), freezing(paths[1]), thawing(), thawing(), closingContext()}) {
    expected.push_back(record);
  }
  EXPECT_EQ(trace(), expected);
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(SerialQuiesce, IsNotTriedWhereFreezingTogetherWorks) {
  ASSERT_EQ(quiesce(1), 0);
  unquiesce(1);
  // The driver refused the first request only.
  forget();
  EXPECT_EQ(quiesce(2), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 7)));
  unquiesce(2);
}

TEST_F(SerialQuiesce, ThatFailsOnTheFirstThawsNothing) {
  importedCalls().failDriver(QM_FREEZE, 1, EIO);
  EXPECT_EQ(quiesce(2), 6);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 7), freeze(paths[0], 7)));
  auto expected = failedAt(0, EIO);
  expected.push_back(bothFailed());
  EXPECT_EQ(trace(), expected);
  expectMessage(messages(), "MSG_ERROR_FREEZE", paths[0]);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  expectIdle();
}

TEST_F(SerialQuiesce, ThatFailsLaterThawsAllBeforeButTheLast) {
  importedCalls().failDriver(QM_FREEZE, 4, EIO);
  EXPECT_EQ(quiesce(4), 6);
  EXPECT_THAT(importedCalls().driverRequests(),
              ElementsAre(freezeAll(first(4), 7), freeze(paths[0], 7), freeze(paths[1], 7), freeze(paths[2], 7),
                          freeze(paths[3], 7), thaw(paths[0]), thaw(paths[1])));
  auto expected = failedAt(3, EIO);
  expected.push_back(bothFailed());
  EXPECT_EQ(trace(), expected);
  expectMessage(messages(), "MSG_ERROR_FREEZE", paths[3]);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(importedCalls().interruptibleThaws(), 0);
}

// A driver may read the argument as the whole word that a request has.
TEST_F(SerialQuiesce, HandsOnANegativeTimeoutAsSuch) {
  configureTimeout("-5"_text);
  importedCalls().failDriver(QM_FREEZE_ALL, 1, ENOTTY);
  ASSERT_EQ(quiesce(1), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), -5), freeze(paths[0], -5)));
  unquiesce(1);
}

TEST_F(SerialQuiesce, ThatFailsGoesOnThawingPastAFailure) {
  importedCalls().failDriver(QM_FREEZE, 4, EIO);
  importedCalls().failDriver(QM_THAW, 1, EINVAL);
  EXPECT_EQ(quiesce(4), 6);
  auto expected = failedAt(3, EIO);
  expected.push_back(traced(1, "CQmFSPlugin::thawFileSystemList : ioctl QM_THAW failed for " + paths[0] +
                                   " with errno : " + std::to_string(EINVAL) + " "));
  expected.push_back(bothFailed());
  EXPECT_EQ(trace(), expected);
  EXPECT_EQ(importedCalls().driverRequests().back(), thaw(paths[1]));
  expectMessage(messages(), "MSG_ERROR_FREEZE", paths[3]);
}

class OtherSerialSetting : public Quiesce {
 protected:
  void start() override {
    configure("[QUIESCENCE_INFO]\nQUIESCENCE_SERIAL_QUIESCENCE=2\n");
    ASSERT_EQ(startPlugin(), 0);
  }
};

TEST_F(OtherSerialSetting, AllowsNoSerialFreezing) {
  importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
  EXPECT_EQ(quiesce(2), 6);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2)));
  EXPECT_EQ(trace().back(), notAllowed());
}

}  // namespace
