// Programs that are started with closed standard streams.
#include "cli/standard_streams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

namespace qmfi_host {
namespace {

// What the function says in a child process, where it may close any descriptor.
bool holdsInChild(const std::function<bool()>& function) {
  const pid_t child = fork();
  if (child == 0) _exit(function() ? 0 : 1);
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

bool fails(ssize_t result) {
  return result == -1 && errno == EBADF;
}

TEST(StandardStreams, AreOccupiedWhereTheyAreClosedAndCannotBeUsed) {
  EXPECT_TRUE(holdsInChild([] {
    for (const int stream : {0, 1, 2}) close(stream);
    occupyClosedStreams();
    char byte = 'x';
    return fails(read(0, &byte, 1)) && fails(write(1, &byte, 1)) && fails(write(2, &byte, 1)) &&
           open("/dev/null", O_RDONLY | O_CLOEXEC) > 2;
  }));
}

TEST(StandardStreams, StayWhatTheyAreWhereTheyAreOpen) {
  EXPECT_TRUE(holdsInChild([] {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    if (dup2(ends[0], 0) != 0 || dup2(ends[1], 1) != 1) return false;
    close(2);
    occupyClosedStreams();
    char byte = 'x';
    return write(1, &byte, 1) == 1 && read(0, &byte, 1) == 1 && fails(write(2, &byte, 1));
  }));
}

}  // namespace
}  // namespace qmfi_host
