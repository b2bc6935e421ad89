// Static objects that end with the process that made them. A program of its own, since it stands between the objects
// and the C library that notes down what is to be destroyed.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

#include "cficontextsingleton.h"
#include "cfiprocessowned.h"

namespace {

using namespace qmfi_pdk_4_4;

bool canBeNotedDown = true;

}  // namespace

extern "C" int __real___cxa_atexit(void (*destructor)(void*), void* object, void* library);
extern "C" int __wrap___cxa_atexit(void (*destructor)(void*), void* object, void* library) {
  return canBeNotedDown ? __real___cxa_atexit(destructor, object, library) : -1;
}

namespace {

constexpr int hasEnded = 7;

int statusOf(pid_t child) {
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status);
}

// With what status a process ends that does so.
int statusOfProcess(const std::function<void()>& act) {
  const pid_t child = fork();
  if (child == 0) {
    act();
    std::exit(0);
  }
  return statusOf(child);
}

struct ToldByItsEnd {
  ~ToldByItsEnd() { _exit(hasEnded); }
};

TEST(ProcessOwned, IsDestroyedByTheProcessThatMadeIt) {
  EXPECT_EQ(statusOfProcess([] { static CFiProcessOwned<ToldByItsEnd> owned; }), hasEnded);
}

TEST(ProcessOwned, IsLeftAsItIsByAForkedChild) {
  EXPECT_EQ(statusOfProcess([] {
              static CFiProcessOwned<ToldByItsEnd> owned;
              const pid_t child = fork();
              if (child == 0) std::exit(0);
              _exit(statusOf(child));
            }),
            0);
}

struct Counted : virtual CFiRefCount {
  Counted() { ++living; }
  ~Counted() override { --living; }
  static int living;
};

int Counted::living = 0;

TEST(ProcessOwned, IsNotMadeWhenItsEndCannotBeNotedDown) {
  struct Plugin;
  canBeNotedDown = false;
  EXPECT_THROW((CFiContextSingleton<Counted, Plugin>::instance(false)), std::bad_alloc);
  canBeNotedDown = true;
  EXPECT_EQ(Counted::living, 0);
  EXPECT_TRUE((CFiContextSingleton<Counted, Plugin>::instance(false)));
}

TEST(ProcessOwned, IsNeverDestroyedWhenNobodyCouldBeToldThatItsEndCannotBeNotedDown) {
  EXPECT_EQ(statusOfProcess([] {
              canBeNotedDown = false;
              static CFiProcessOwned<ToldByItsEnd> owned(std::nothrow);
            }),
            0);
}

}  // namespace
