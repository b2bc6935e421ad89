// The status of a failure, and of several outcomes.
#include "failure/exit_status.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <initializer_list>

#include "failure/host_error.h"

namespace qmfi_host {
namespace {

ExitStatus statusOf(std::initializer_list<ExitStatus> outcomes) {
  SeveralOutcomes several;
  for (const ExitStatus outcome : outcomes) several.add(outcome);
  return several.status();
}

TEST(ExitStatus, NumbersAreThoseOfTheManual) {
  EXPECT_EQ(static_cast<int>(ExitStatus::done), 0);
  EXPECT_EQ(static_cast<int>(ExitStatus::failed), 1);
  EXPECT_EQ(static_cast<int>(ExitStatus::wrongUsage), 2);
  EXPECT_EQ(static_cast<int>(ExitStatus::partlyDone), 3);
  EXPECT_EQ(static_cast<int>(ExitStatus::notFound), 4);
  EXPECT_EQ(static_cast<int>(ExitStatus::busy), 5);
  EXPECT_EQ(static_cast<int>(ExitStatus::timedOut), 6);
  EXPECT_EQ(static_cast<int>(ExitStatus::freezeUncertain), 7);
  EXPECT_EQ(static_cast<int>(ExitStatus::noPermission), 8);
  EXPECT_EQ(static_cast<int>(ExitStatus::locked), 9);
  EXPECT_EQ(static_cast<int>(ExitStatus::weakerThanRequired), 10);
}

TEST(ExitStatus, OfSeveralObjectsIsDoneWhereAllAreDone) {
  EXPECT_EQ(statusOf({}), ExitStatus::done);
  EXPECT_EQ(statusOf({ExitStatus::done, ExitStatus::done}), ExitStatus::done);
}

TEST(ExitStatus, OfSeveralObjectsIsPartlyDoneWhereSomeAreDone) {
  EXPECT_EQ(statusOf({ExitStatus::done, ExitStatus::busy}), ExitStatus::partlyDone);
  EXPECT_EQ(statusOf({ExitStatus::busy, ExitStatus::done, ExitStatus::notFound}), ExitStatus::partlyDone);
}

TEST(ExitStatus, OfSeveralObjectsIsTheOneThatTheyShareWhereNoneIsDone) {
  EXPECT_EQ(statusOf({ExitStatus::busy}), ExitStatus::busy);
  EXPECT_EQ(statusOf({ExitStatus::busy, ExitStatus::busy}), ExitStatus::busy);
  EXPECT_EQ(statusOf({ExitStatus::busy, ExitStatus::notFound}), ExitStatus::failed);
}

TEST(ExitStatus, WhatMayBeFrozenOutweighsWhateverElse) {
  EXPECT_EQ(statusOf({ExitStatus::done, ExitStatus::freezeUncertain}), ExitStatus::freezeUncertain);
  EXPECT_EQ(statusOf({ExitStatus::freezeUncertain, ExitStatus::busy}), ExitStatus::freezeUncertain);
  EXPECT_EQ(statusOf({ExitStatus::busy, ExitStatus::freezeUncertain}), ExitStatus::freezeUncertain);
}

TEST(ExitStatus, OfASystemCallTellsItsReason) {
  EXPECT_EQ(systemError("it", EPERM).exitStatus(), ExitStatus::noPermission);
  EXPECT_EQ(systemError("it", EACCES).exitStatus(), ExitStatus::noPermission);
  EXPECT_EQ(systemError("it", EBUSY).exitStatus(), ExitStatus::busy);
  EXPECT_EQ(systemError("it", ENOENT).exitStatus(), ExitStatus::failed);
  EXPECT_EQ(systemError("it", EIO).exitStatus(), ExitStatus::failed);
}

TEST(ExitStatus, OfWhatTheUserHasNamedTellsThatItDoesNotExist) {
  errno = ENOENT;
  EXPECT_EQ(systemErrorOfNamed("it").exitStatus(), ExitStatus::notFound);
  errno = EBUSY;
  EXPECT_EQ(systemErrorOfNamed("it").exitStatus(), ExitStatus::busy);
  errno = EIO;
  EXPECT_EQ(systemErrorOfNamed("it").exitStatus(), ExitStatus::failed);
}

TEST(ExitStatus, OutcomeOfAnActionIsThatOfItsFailure) {
  EXPECT_EQ(outcomeOf([] {}), ExitStatus::done);
  EXPECT_EQ(outcomeOf([] { throw HostError(ExitStatus::locked, "it is planned"); }), ExitStatus::locked);
  EXPECT_EQ(outcomeOf([] { throw HostError("it is planned"); }), ExitStatus::failed);
  EXPECT_EQ(outcomeOf([] { throw UsageError("it is planned"); }), ExitStatus::wrongUsage);
}

}  // namespace
}  // namespace qmfi_host
