// Counted pointers: who holds a count, and when the object goes.
#include <gtest/gtest.h>

#include <utility>

#include "cfismartptr.h"

namespace {

using namespace qmfi_pdk_4_4;

// Tells of its end, and can look at itself meanwhile.
class Counted : public virtual CFiRefCount {
 public:
  using Pointer = CFiSmartPtr<Counted, CFiNullAllocator<Counted>>;

  explicit Counted(int* deaths = nullptr) : m_deaths(deaths) {}
  ~Counted() override {
    if (m_deaths != nullptr) ++*m_deaths;
  }

 private:
  int* m_deaths;
};

using Pointer = Counted::Pointer;

class Derived : public Counted {
 public:
  using Counted::Counted;
};

// Makes and drops pointers to itself while it is destroyed.
class SelfVisiting : public virtual CFiRefCount {
 public:
  explicit SelfVisiting(int& deaths) : m_deaths(deaths) {}
  ~SelfVisiting() override {
    ++m_deaths;
    CFiSmartPtr<CFiRefCount, CFiNullAllocator<CFiRefCount>> first(this);
    const CFiSmartPtr<CFiRefCount, CFiNullAllocator<CFiRefCount>> second(first);
    EXPECT_EQ(first.release(), 2);
  }

 private:
  int& m_deaths;
};

TEST(RefCount, StartsAtZeroAndTellsEachNewValue) {
  Counted object;
  EXPECT_EQ(object.getCount(), 0);
  EXPECT_EQ(object.increment(), 1);
  EXPECT_EQ(object.increment(), 2);
  EXPECT_EQ(object.decrement(), 1);
  EXPECT_EQ(object.decrement(), 0);
  EXPECT_EQ(object.decrement(), -1);
  EXPECT_EQ(object.getCount(), -1);
}

TEST(SmartPointer, IsEmptyUnlessGivenAnObject) {
  EXPECT_FALSE(Pointer());
  EXPECT_FALSE(Pointer(nullptr));
  EXPECT_EQ(Pointer().get(), nullptr);
}

TEST(SmartPointer, ReleasingAnEmptyPointerIsMinusOne) {
  Pointer empty;
  EXPECT_EQ(empty.release(), -1);
}

TEST(SmartPointer, CountsEveryHolder) {
  int deaths = 0;
  Pointer first(new Counted(&deaths));
  EXPECT_EQ(first->getCount(), 1);
  Pointer second(first);
  EXPECT_EQ(second.get(), first.get());
  EXPECT_EQ(first->getCount(), 2);
  Pointer third;
  third = second;
  EXPECT_EQ(first->getCount(), 3);

  EXPECT_EQ(third.release(), 2);
  EXPECT_FALSE(third);
  EXPECT_EQ(second.release(), 1);
  EXPECT_EQ(deaths, 0);
  EXPECT_EQ(first.release(), 0);
  EXPECT_FALSE(first);
  EXPECT_EQ(deaths, 1);
  EXPECT_EQ(first.release(), -1);
}

TEST(SmartPointer, GivesItsCountBackAtItsEnd) {
  int deaths = 0;
  {
    const Pointer outer(new Counted(&deaths));
    {
      const Pointer inner(outer);
      EXPECT_EQ(outer->getCount(), 2);
    }
    EXPECT_EQ(outer->getCount(), 1);
  }
  EXPECT_EQ(deaths, 1);
}

TEST(SmartPointer, CopyOfAnEmptyPointerIsEmpty) {
  const Pointer empty;
  const Pointer copy(empty);
  EXPECT_FALSE(copy);
}

TEST(SmartPointer, AcquiringTellsTheNewCount) {
  Pointer first(new Counted());
  Pointer second;
  EXPECT_EQ(second.acquire(first.get()), 2);
  EXPECT_EQ(second.get(), first.get());
}

TEST(SmartPointer, AcquiringReleasesWhatWasHeld) {
  int deaths = 0;
  Pointer pointer(new Counted(&deaths));
  EXPECT_EQ(pointer.acquire(new Counted()), 1);
  EXPECT_EQ(deaths, 1);
}

TEST(SmartPointer, AcquiringNullIsTheResultOfTheRelease) {
  Pointer empty;
  EXPECT_EQ(empty.acquire(nullptr), -1);

  int deaths = 0;
  Pointer shared(new Counted(&deaths));
  Pointer other(shared);
  EXPECT_EQ(other.acquire(nullptr), 1);
  EXPECT_FALSE(other);
  EXPECT_EQ(shared.acquire(nullptr), 0);
  EXPECT_FALSE(shared);
  EXPECT_EQ(deaths, 1);
}

TEST(SmartPointer, AssignmentReleasesTheOldAndCountsTheNew) {
  int oldDeaths = 0;
  Pointer target(new Counted(&oldDeaths));
  const Pointer source(new Counted());
  target = source;
  EXPECT_EQ(oldDeaths, 1);
  EXPECT_EQ(target.get(), source.get());
  EXPECT_EQ(source->getCount(), 2);

  target = Pointer();
  EXPECT_FALSE(target);
  EXPECT_EQ(source->getCount(), 1);
}

TEST(SmartPointer, AssignmentToItselfChangesNothing) {
  int deaths = 0;
  Pointer pointer(new Counted(&deaths));
  const Pointer& same = pointer;
  pointer = same;
  ASSERT_TRUE(pointer);
  EXPECT_EQ(pointer->getCount(), 1);
  EXPECT_EQ(deaths, 0);
}

TEST(SmartPointer, AssignmentBetweenHoldersOfOneObjectKeepsIt) {
  int deaths = 0;
  Pointer first(new Counted(&deaths));
  const Pointer second(first);
  first = second;
  EXPECT_EQ(first->getCount(), 2);
  EXPECT_EQ(deaths, 0);
}

TEST(SmartPointer, DeletesOnceThoughTheDestructorReleasesAPointerToItself) {
  int deaths = 0;
  CFiSmartPtr<SelfVisiting, CFiNullAllocator<SelfVisiting>> pointer(new SelfVisiting(deaths));
  EXPECT_EQ(pointer.release(), 0);
  EXPECT_EQ(deaths, 1);
}

TEST(SmartPointer, CountStaysAtOneWhileTheObjectIsDestroyed) {
  class Observing : public virtual CFiRefCount {
   public:
    explicit Observing(int& seen) : m_seen(seen) {}
    ~Observing() override { m_seen = getCount(); }

   private:
    int& m_seen;
  };
  int seen = -1;
  CFiSmartPtr<Observing, CFiNullAllocator<Observing>> pointer(new Observing(seen));
  pointer.release();
  EXPECT_EQ(seen, 1);
}

TEST(SmartPointer, DeletesThroughTheMostDerivedType) {
  int deaths = 0;
  Pointer(new Derived(&deaths)).release();
  EXPECT_EQ(deaths, 1);
}

TEST(SmartPointer, CreatesThroughItsAllocatorOnlyWhenAsked) {
  const CFiSmartPtr<Counted> created(true);
  ASSERT_TRUE(created);
  EXPECT_EQ(created->getCount(), 1);
  EXPECT_FALSE(CFiSmartPtr<Counted>(false));
}

TEST(SmartPointer, NullAllocatorNeverCreates) {
  EXPECT_FALSE(Pointer(true));
}

TEST(SmartPointer, MovedCountChangesHands) {
  int deaths = 0;
  Pointer first(new Counted(&deaths));
  Pointer second(std::move(first));
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): it says what it has left.
  EXPECT_EQ(second->getCount(), 1);
  Pointer third(new Counted(&deaths));
  third = std::move(second);
  EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): as above.
  EXPECT_EQ(third->getCount(), 1);
  EXPECT_EQ(deaths, 1);
  Pointer& same = third;
  third = std::move(same);
  ASSERT_TRUE(third);
  EXPECT_EQ(third->getCount(), 1);
  EXPECT_EQ(deaths, 1);
}

TEST(SmartPointer, SwappedPointersKeepTheCounts) {
  Pointer first(new Counted());
  Pointer second;
  const Counted* const object = first.get();
  first.swap(second);
  EXPECT_FALSE(first);
  EXPECT_EQ(second.get(), object);
  EXPECT_EQ(second->getCount(), 1);
}

}  // namespace
