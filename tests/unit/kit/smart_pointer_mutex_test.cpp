// Counted pointers and singletons whose mutexes fail: told through errno, never by an exception.
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <system_error>

#include "cficatchladder.h"
#include "cficontextsingleton.h"
#include "cfitracelog.h"
#include "support/mutex_faults.h"

namespace {

using namespace qmfi_pdk_4_4;

int livingObjects = 0;

class Counted : public virtual CFiRefCount {
 public:
  Counted() { ++livingObjects; }
  ~Counted() override { --livingObjects; }
};

using Pointer = CFiSmartPtr<Counted, CFiNullAllocator<Counted>>;

struct MutexTestPlugin;
using Singleton = CFiContextSingleton<Counted, MutexTestPlugin>;

class FailingMutex : public testing::Test {
 protected:
  void SetUp() override { errno = 0; }
  void TearDown() override {
    Singleton::instance(true);
    EXPECT_EQ(livingObjects, 0);
  }
};

TEST_F(FailingMutex, ReleaseKeepsThePointerAndItsCount) {
  Pointer pointer(new Counted());
  {
    const MutexFailure failure(MutexCall::lock, 1, EINVAL);
    EXPECT_EQ(pointer.release(), -1);
    EXPECT_EQ(errno, EINVAL);
  }
  ASSERT_TRUE(pointer);
  EXPECT_EQ(pointer->getCount(), 1);
  EXPECT_EQ(pointer.release(), 0);
}

TEST_F(FailingMutex, AcquireLeavesThePointerEmpty) {
  const Pointer owner(new Counted());
  Pointer pointer;
  {
    const MutexFailure failure(MutexCall::lock, 1, EAGAIN);
    EXPECT_EQ(pointer.acquire(owner.get()), -1);
    EXPECT_EQ(errno, EAGAIN);
  }
  EXPECT_FALSE(pointer);
  EXPECT_EQ(owner->getCount(), 1);
}

TEST_F(FailingMutex, AcquireGivesUpWhatWasHeldAndStaysEmpty) {
  const Pointer owner(new Counted());
  Pointer pointer(new Counted());
  {
    // The first lock is that of the object to be released.
    const MutexFailure failure(MutexCall::lock, 2, EAGAIN);
    EXPECT_EQ(pointer.acquire(owner.get()), -1);
  }
  EXPECT_FALSE(pointer);
  EXPECT_EQ(livingObjects, 1);
}

TEST_F(FailingMutex, CopyIsEmpty) {
  const Pointer owner(new Counted());
  const MutexFailure failure(MutexCall::lock, 1, EINVAL);
  const Pointer copy(owner);
  EXPECT_FALSE(copy);
  EXPECT_EQ(owner->getCount(), 1);
}

TEST_F(FailingMutex, AssignmentLeavesTheTargetEmpty) {
  const Pointer owner(new Counted());
  Pointer target(new Counted());
  {
    const MutexFailure failure(MutexCall::lock, 2, EINVAL);
    target = owner;
  }
  EXPECT_FALSE(target);
  EXPECT_EQ(owner->getCount(), 1);
  EXPECT_EQ(livingObjects, 1);
}

TEST_F(FailingMutex, AssignmentOfAnEmptyPointerEmptiesTheTargetEvenThoughItsCountCannotBeGivenBack) {
  Pointer target(new Counted());
  Counted* const object = target.get();
  {
    const MutexFailure failure(MutexCall::lock, 1, EINVAL);
    target = Pointer();
  }
  ASSERT_FALSE(target);
  EXPECT_EQ(object->getCount(), 1);
  delete object;
}

TEST_F(FailingMutex, FailedUnlockIsOnlyTold) {
  Pointer pointer(new Counted());
  const MutexFailure failure(MutexCall::unlock, 1, EPERM);
  EXPECT_EQ(pointer.release(), 0);
  EXPECT_EQ(errno, EPERM);
  EXPECT_FALSE(pointer);
  EXPECT_EQ(livingObjects, 0);
}

TEST_F(FailingMutex, CreatedObjectThatCannotBeCountedIsDestroyed) {
  const MutexFailure failure(MutexCall::lock, 1, EINVAL);
  EXPECT_FALSE(CFiSmartPtr<Counted>(true));
  EXPECT_EQ(livingObjects, 0);
}

TEST_F(FailingMutex, SingletonIsNotCreated) {
  const MutexFailure failure(MutexCall::lock, 1, EINVAL);
  EXPECT_FALSE(Singleton::instance(false));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(livingObjects, 0);
}

TEST_F(FailingMutex, SingletonThatIsThereIsHandedOutCounted) {
  const auto before = Singleton::instance(false);
  const MutexFailure failure(MutexCall::lock, 1, EINVAL);
  const auto after = Singleton::instance(false);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(after.get(), before.get());
  EXPECT_EQ(before->getCount(), 3);
}

TEST_F(FailingMutex, SingletonIsNotDropped) {
  const auto before = Singleton::instance(false);
  {
    const MutexFailure failure(MutexCall::lock, 1, EINVAL);
    EXPECT_EQ(Singleton::instance(true).get(), before.get());
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(Singleton::instance(false).get(), before.get());
  EXPECT_EQ(before->getCount(), 2);
}

TEST_F(FailingMutex, SingletonWhoseCountCannotBeGivenBackStays) {
  const auto before = Singleton::instance(false);
  {
    // The first lock is the singleton's own.
    const MutexFailure failure(MutexCall::lock, 2, EINVAL);
    EXPECT_FALSE(Singleton::instance(true));
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(Singleton::instance(false).get(), before.get());
  EXPECT_EQ(before->getCount(), 2);
}

TEST_F(FailingMutex, PointerThatMustNotBeEmptyThrowsTheMutexsError) {
  const Pointer owner(new Counted());
  const MutexFailure failure(MutexCall::lock, 1, EAGAIN);
  try {
    countedCopy(owner);
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), EAGAIN);
  }
  EXPECT_EQ(owner->getCount(), 1);
}

TEST_F(FailingMutex, CopyThatMustBeCountedIsEmptyForAnEmptyPointerOnly) {
  EXPECT_FALSE(countedCopy(Pointer()));
  const Pointer owner(new Counted());
  EXPECT_EQ(countedCopy(owner).get(), owner.get());
}

TEST_F(FailingMutex, ObjectThatCannotBeAdoptedIsDestroyed) {
  {
    const MutexFailure failure(MutexCall::lock, 1, EINVAL);
    EXPECT_THROW(adopt<Pointer>(std::make_unique<Counted>()), std::system_error);
  }
  EXPECT_EQ(livingObjects, 0);
  EXPECT_EQ(adopt<Pointer>(std::make_unique<Counted>())->getCount(), 1);
}

// The leak detector would tell of the message.
TEST_F(FailingMutex, MessageThatCannotBeAdoptedIsLostWithoutALeak) {
  using ErrorManager = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>;
  {
    const MutexFailure failure(MutexCall::lock, 1, EINVAL);
    pushMessage("lost", {}, KFI_SEVERITY_ERROR, CFiSourceLocation::here());
  }
  EXPECT_TRUE(ErrorManager::instance(false)->messages().empty());
  ErrorManager::instance(true);
}

TEST_F(FailingMutex, MessageOfARecordIsDestroyedWhereItCannotBeAdopted) {
  char identifier[] = "lost";
  kfi_msg_info record{};
  record.kmi_id = identifier;
  const MutexFailure failure(MutexCall::lock, 1, EINVAL);
  EXPECT_THROW(CFiIcuMessage::deserialize(&record), std::system_error);
}

TEST_F(FailingMutex, RegisteringATraceLogLeavesTheHolderEmpty) {
  const CFiTraceLogSPtr log(true);
  CFiTraceable holder;
  const MutexFailure failure(MutexCall::lock, 1, EINVAL);
  holder.registerTraceLog(log);
  EXPECT_FALSE(holder.traceLog());
  EXPECT_EQ(log->getCount(), 1);
}

}  // namespace
