// Pipes for the standard streams of programs.
#include "system/pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <array>
#include <cerrno>

namespace qmfi_system {
namespace {

// Has no standard streams while it lives.
class ClosedStandardStreams {
 public:
  ClosedStandardStreams() {
    for (int fd = 0; fd < 3; ++fd) {
      m_saved[fd].reset(fcntl(fd, F_DUPFD_CLOEXEC, 10));
      close(fd);
    }
  }
  ClosedStandardStreams(const ClosedStandardStreams&) = delete;
  ClosedStandardStreams& operator=(const ClosedStandardStreams&) = delete;
  ~ClosedStandardStreams() {
    for (int fd = 0; fd < 3; ++fd) dup2(m_saved[fd].get(), fd);
  }

 private:
  std::array<Descriptor, 3> m_saved;
};

TEST(Pipe, LeadsFromOneEndToTheOther) {
  const Pipe pipe = makePipe();
  ASSERT_TRUE(pipe.valid());
  ASSERT_EQ(write(pipe.writeEnd.get(), "ab", 2), 2);
  std::array<char, 3> bytes{};
  EXPECT_EQ(read(pipe.readEnd.get(), bytes.data(), bytes.size()), 2);
  EXPECT_STREQ(bytes.data(), "ab");
}

TEST(Pipe, IsClosedOnExec) {
  const Pipe pipe = makePipe();
  EXPECT_EQ(fcntl(pipe.readEnd.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(pipe.writeEnd.get(), F_GETFD), FD_CLOEXEC);
}

TEST(Pipe, TakesNoStandardStreamsPlace) {
  int readEnd = -1;
  int writeEnd = -1;
  int flags = 0;
  {
    const ClosedStandardStreams closed;
    const Pipe pipe = makePipe();
    readEnd = pipe.readEnd.get();
    writeEnd = pipe.writeEnd.get();
    flags = fcntl(readEnd, F_GETFD) & fcntl(writeEnd, F_GETFD);
  }
  EXPECT_GT(readEnd, 2);
  EXPECT_GT(writeEnd, 2);
  EXPECT_EQ(flags, FD_CLOEXEC);
}

TEST(Pipe, IsInvalidWithoutDescriptors) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  errno = 0;
  const Pipe pipe = makePipe();
  const int error = errno;
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(pipe.valid());
  EXPECT_EQ(error, EMFILE);
}

TEST(AboveStandardStreams, LeavesOthersWhereTheyAre) {
  Descriptor null(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int number = null.get();
  ASSERT_GT(number, 2);
  EXPECT_EQ(aboveStandardStreams(std::move(null)).get(), number);
  EXPECT_FALSE(aboveStandardStreams(Descriptor()).valid());
}

}  // namespace
}  // namespace qmfi_system
