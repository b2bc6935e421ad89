// The per-plug-in singletons: one object for all callers, a new one after it was dropped.
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <fstream>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cficontextsingleton.h"

namespace {

using namespace qmfi_pdk_4_4;

struct FirstPlugin;
struct SecondPlugin;

std::atomic<int> madeObjects{0};

class Plain : public virtual CFiRefCount {
 public:
  Plain() { ++madeObjects; }
};

template <typename Plugin>
using Plains = CFiContextSingleton<Plain, Plugin>;

TEST(ContextSingleton, HandsOutOneObject) {
  const auto first = Plains<FirstPlugin>::instance(false);
  const auto second = Plains<FirstPlugin>::instance(false);
  ASSERT_TRUE(first);
  EXPECT_EQ(first.get(), second.get());
  // The singleton's own count and those of the two callers.
  EXPECT_EQ(first->getCount(), 3);
}

TEST(ContextSingleton, IsAnotherForAnotherPlugin) {
  EXPECT_NE(Plains<FirstPlugin>::instance(false).get(), Plains<SecondPlugin>::instance(false).get());
}

TEST(ContextSingleton, DroppingGivesAnEmptyPointer) {
  Plains<FirstPlugin>::instance(false);
  EXPECT_FALSE(Plains<FirstPlugin>::instance(true));
}

TEST(ContextSingleton, DroppingWhatWasNeverMadeMakesNothing) {
  struct UnusedPlugin;
  const int before = madeObjects;
  EXPECT_FALSE((CFiContextSingleton<Plain, UnusedPlugin>::instance(true)));
  EXPECT_EQ(madeObjects, before);
}

TEST(ContextSingleton, IsANewObjectAfterItWasDropped) {
  const auto former = Plains<FirstPlugin>::instance(false);
  Plains<FirstPlugin>::instance(true);
  const auto present = Plains<FirstPlugin>::instance(false);
  EXPECT_NE(former.get(), present.get());
  EXPECT_EQ(former->getCount(), 1);
  EXPECT_EQ(present->getCount(), 2);
}

TEST(ContextSingleton, DroppedObjectLivesAsLongAsACallerHoldsIt) {
  static int deaths = 0;
  class Mortal : public virtual CFiRefCount {
   public:
    ~Mortal() override { ++deaths; }
  };
  auto holder = CFiContextSingleton<Mortal, FirstPlugin>::instance(false);
  CFiContextSingleton<Mortal, FirstPlugin>::instance(true);
  EXPECT_EQ(deaths, 0);
  EXPECT_EQ(holder.release(), 0);
  EXPECT_EQ(deaths, 1);
}

// Whether a thread of this process sleeps, as one does that waits for a mutex.
bool sleeps(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string text;
  std::getline(file, text);
  const std::size_t name = text.rfind(") ");
  return name != std::string::npos && text[name + 2] == 'S';
}

// The destructor of the first one goes on until the thread that asks for the next one waits, or has got it.
class SlowToDie : public virtual CFiRefCount {
 public:
  using Singleton = CFiContextSingleton<SlowToDie, FirstPlugin>;

  SlowToDie() {
    overlapped = overlapped || dying;
    ++made;
  }
  ~SlowToDie() override {
    if (made != 1) return;
    dying = true;
    deathBegun.count_down();
    asker.wait(0);
    while (!sleeps(asker) && made == 1) std::this_thread::yield();
    dying = false;
  }

  static std::latch deathBegun;
  static std::atomic<pid_t> asker;
  static std::atomic<bool> dying;
  static std::atomic<bool> overlapped;
  static std::atomic<int> made;
};
std::latch SlowToDie::deathBegun(1);
std::atomic<pid_t> SlowToDie::asker{0};
std::atomic<bool> SlowToDie::dying{false};
std::atomic<bool> SlowToDie::overlapped{false};
std::atomic<int> SlowToDie::made{0};

TEST(ContextSingleton, NextObjectIsMadeWhenTheFormerIsDestroyed) {
  SlowToDie::Singleton::instance(false);
  std::thread asking([] {
    SlowToDie::deathBegun.wait();
    SlowToDie::asker = ::gettid();
    SlowToDie::asker.notify_one();
    EXPECT_TRUE(SlowToDie::Singleton::instance(false));
  });
  SlowToDie::Singleton::instance(true);
  asking.join();
  EXPECT_EQ(SlowToDie::made, 2);
  EXPECT_FALSE(SlowToDie::overlapped);
}

TEST(ContextSingleton, FailedConstructionReachesTheCallerAndIsTriedAgain) {
  static bool refuses = true;
  class Refusing : public virtual CFiRefCount {
   public:
    Refusing() {
      if (refuses) throw std::runtime_error("refused");
    }
  };
  using Singleton = CFiContextSingleton<Refusing, FirstPlugin>;
  EXPECT_THROW(Singleton::instance(false), std::runtime_error);
  refuses = false;
  EXPECT_TRUE(Singleton::instance(false));
}

TEST(ContextSingleton, ThreadsThatComeTogetherGetTheSameObject) {
  struct RacedPlugin;
  constexpr int threadCount = 4;
  constexpr int rounds = 200;
  using Singleton = CFiContextSingleton<Plain, RacedPlugin>;
  std::barrier together(threadCount);
  std::vector<std::vector<Singleton::Pointer>> seen(threadCount);
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        together.arrive_and_wait();
        seen[i].push_back(Singleton::instance(false));
        together.arrive_and_wait();
        if (i == 0) Singleton::instance(true);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int round = 0; round < rounds; ++round) {
    for (int i = 0; i < threadCount; ++i) {
      ASSERT_TRUE(seen[i][round]);
      EXPECT_EQ(seen[i][round].get(), seen[0][round].get());
    }
    EXPECT_EQ(seen[0][round]->getCount(), threadCount);
  }
}

TEST(SmartPointer, ThreadsThatShareAnObjectCountItExactly) {
  constexpr int threadCount = 4;
  constexpr int rounds = 5000;
  const CFiSmartPtr<Plain> shared(true);
  std::vector<std::thread> threads;
  for (int i = 0; i < threadCount; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        const CFiSmartPtr<Plain> copy(shared);
        CFiSmartPtr<Plain> other;
        other = copy;
        other.release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(shared->getCount(), 1);
}

}  // namespace
