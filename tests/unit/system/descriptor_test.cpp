// Ownership of file descriptors.
#include "system/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <system_error>

#include "system/checked.h"

namespace qmfi_system {
namespace {

int openNull() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

TEST(Descriptor, OwnsNoneAtFirst) {
  const Descriptor none;
  EXPECT_FALSE(none.valid());
  EXPECT_EQ(none.get(), -1);
  EXPECT_FALSE(Descriptor(-1).valid());
}

TEST(Descriptor, ClosesAtItsEnd) {
  const int fd = openNull();
  {
    const Descriptor owner(fd);
    EXPECT_TRUE(owner.valid());
    EXPECT_EQ(owner.get(), fd);
    EXPECT_TRUE(isOpen(fd));
  }
  EXPECT_FALSE(isOpen(fd));
}

TEST(Descriptor, GivesAwayWhatItOwns) {
  const int fd = openNull();
  Descriptor first(fd);
  Descriptor second(std::move(first));
  EXPECT_FALSE(first.valid());  // NOLINT(bugprone-use-after-move): it says what it has left.
  EXPECT_EQ(second.get(), fd);
  EXPECT_TRUE(isOpen(fd));
}

TEST(Descriptor, ClosesItsOwnWhenItTakesAnotherOver) {
  const int fd = openNull();
  const int next = openNull();
  Descriptor owner(fd);
  owner = Descriptor(next);
  EXPECT_FALSE(isOpen(fd));
  EXPECT_EQ(owner.get(), next);
  EXPECT_TRUE(isOpen(next));
}

TEST(Descriptor, StaysWhatItIsWhenItIsAssignedToItself) {
  const int fd = openNull();
  Descriptor owner(fd);
  Descriptor& same = owner;
  owner = std::move(same);
  EXPECT_EQ(owner.get(), fd);
  EXPECT_TRUE(isOpen(fd));
}

TEST(Descriptor, ClosesWhenItIsReset) {
  const int fd = openNull();
  Descriptor owner(fd);
  owner.reset();
  EXPECT_FALSE(owner.valid());
  EXPECT_FALSE(isOpen(fd));
}

TEST(Descriptor, LeavesErrnoAsItWas) {
  Descriptor owner(openNull());
  close(owner.get());
  errno = ENOSPC;
  owner.reset();
  EXPECT_EQ(errno, ENOSPC);
}

TEST(Checked, ReturnsAResultAndThrowsAFailure) {
  EXPECT_EQ(checked(3, "three"), 3);
  errno = ENOENT;
  try {
    checked(-1, "opening it");
    FAIL();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::error_code(ENOENT, std::generic_category()));
    EXPECT_STREQ(error.what(), "opening it: No such file or directory");
  }
}

}  // namespace
}  // namespace qmfi_system
