// What receipts prove.
#include "state/freeze_receipt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "failure/host_error.h"

namespace qmfi_host {
namespace {

using Moment = FreezeReceipt::Moment;

// Two file systems, frozen one after the other, both proven before the split and thawed after it.
FreezeReceipt soundReceipt() {
  FreezeReceipt receipt;
  receipt.splitBegan = Moment(40);
  receipt.splitEnded = Moment(60);
  receipt.over = Moment(80);
  receipt.mayEnd = Moment(1000);
  receipt.fileSystems = {{Moment(0), Moment(10), Moment(30), Moment(70), Moment(80), ThawAnswer::noFailure},
                         {Moment(10), Moment(20), Moment(35), Moment(60), Moment(70), ThawAnswer::noFailure}};
  return receipt;
}

ProofLevel levelAfter(const std::function<void(FreezeReceipt&)>& change) {
  FreezeReceipt receipt = soundReceipt();
  change(receipt);
  return levelOf(receipt);
}

TEST(FreezeReceipt, OfFileSystemsThatWereFrozenAtOneTimeUntilAllWasSplitProvesAGroup) {
  EXPECT_EQ(levelOf(soundReceipt()), ProofLevel::group);
}

TEST(FreezeReceipt, OfMomentsThatMeetProvesAGroup) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) {
              receipt.fileSystems[0].proven = receipt.fileSystems[1].frozen;
              receipt.fileSystems[1].proven = receipt.splitBegan;
              receipt.fileSystems[1].thawAsked = receipt.splitEnded;
            }),
            ProofLevel::group);
}

TEST(FreezeReceipt, WithOneFileSystemThatNothingProvesProvesNothing) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) { receipt.fileSystems[1].proven.reset(); }), ProofLevel::none);
}

TEST(FreezeReceipt, WithAProofFromBeforeTheLastFreezeProvesNothing) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) { receipt.fileSystems[0].proven = Moment(19); }), ProofLevel::none);
}

TEST(FreezeReceipt, WithAProofFromAfterTheSplitBeganProvesNothing) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) { receipt.fileSystems[1].proven = Moment(41); }), ProofLevel::none);
}

TEST(FreezeReceipt, WithASplitThatWasNotOverBeforeTheFirstThawProvesNothing) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) { receipt.splitEnded = Moment(61); }), ProofLevel::none);
}

TEST(FreezeReceipt, WithASplitThatWasNotOverBeforeATimeoutProvesNothing) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) { receipt.mayEnd = receipt.splitEnded; }), ProofLevel::none);
}

TEST(FreezeReceipt, WithAThawOfWhichNothingIsKnownProvesNothing) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) { receipt.fileSystems[0].thaw = ThawAnswer::unknown; }),
            ProofLevel::none);
}

TEST(FreezeReceipt, OfNoFileSystemProvesNothing) {
  EXPECT_EQ(levelAfter([](FreezeReceipt& receipt) { receipt.fileSystems.clear(); }), ProofLevel::none);
}

TEST(FreezeReceipt, LongestStallIsFromBeforeTheFreezeToAfterTheThaw) {
  EXPECT_EQ(longestStall(soundReceipt().fileSystems[1]), Moment(60));
}

TEST(FreezeReceipt, LevelHasAName) {
  EXPECT_EQ(levelName(ProofLevel::none), "none");
  EXPECT_EQ(levelName(ProofLevel::group), "group");
  EXPECT_EQ(levelOfName("none"), ProofLevel::none);
  EXPECT_EQ(levelOfName("group"), ProofLevel::group);
  EXPECT_THAT([] { levelOfName("all"); },
              testing::ThrowsMessage<UsageError>("\"all\" is no level of what is proven: there are none and group"));
}

}  // namespace
}  // namespace qmfi_host
