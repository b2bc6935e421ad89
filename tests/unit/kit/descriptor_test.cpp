// When an owned descriptor is closed.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "cfidescriptor.h"

namespace {

using qmfi_pdk_4_4::CFiDescriptor;

bool isOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) >= 0;
}

TEST(Descriptor, IsClosedAtItsEndAndErrnoIsKept) {
  int number = -1;
  {
    const CFiDescriptor descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
    number = descriptor.get();
    EXPECT_TRUE(descriptor.isOpen());
    EXPECT_TRUE(isOpen(number));
    errno = ENOMSG;
  }
  EXPECT_EQ(errno, ENOMSG);
  EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, IsHandedOn) {
  CFiDescriptor first(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int number = first.get();
  {
    const CFiDescriptor second(std::move(first));
    EXPECT_EQ(second.get(), number);
    EXPECT_TRUE(isOpen(number));
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, MayBeNone) {
  const CFiDescriptor none(-1);
  EXPECT_FALSE(none.isOpen());
}

}  // namespace
