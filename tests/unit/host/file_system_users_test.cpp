// Who uses a file system: this test itself, in every way.
#include "snapshot/file_system_users.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>

#include "german_texts.h"
#include "system/descriptor.h"

namespace qmfi_host {
namespace {

using qmfi_system::Descriptor;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Files of /proc have a device number that few processes use.
constexpr const char* place = "/proc/sys";
constexpr const char* file = "/proc/sys/kernel/ostype";

dev_t deviceOf(const char* path) {
  struct stat status {};
  EXPECT_EQ(stat(path, &status), 0);
  return status.st_dev;
}

std::string self() {
  return "process " + std::to_string(getpid()) + " (host_test)";
}

TEST(FileSystemUsers, OfADeviceThatNobodyHasAreNone) {
  EXPECT_THAT(usersOf(makedev(4000, 123456)), IsEmpty());
}

TEST(FileSystemUsers, AreThoseWithAnOpenFile) {
  EXPECT_THAT(usersOf(deviceOf(place)), Not(Contains(StartsWith(self()))));
  const Descriptor opened(open(file, O_RDONLY | O_CLOEXEC));
  EXPECT_THAT(usersOf(deviceOf(place)), Contains(StartsWith(self())));
}

TEST(FileSystemUsers, AreToldInTheUsersLanguage) {
  const GermanTexts german;
  const Descriptor opened(open(file, O_RDONLY | O_CLOEXEC));
  EXPECT_THAT(usersOf(deviceOf(place)), Contains(StartsWith("Prozess " + std::to_string(getpid()) + " (host_test)")));
}

TEST(FileSystemUsers, AreThoseThatWorkThere) {
  const Descriptor before(open(".", O_PATH | O_CLOEXEC));
  ASSERT_EQ(chdir(place), 0);
  const std::vector<std::string> users = usersOf(deviceOf(place));
  ASSERT_EQ(fchdir(before.get()), 0);
  EXPECT_THAT(users, Contains(StartsWith(self())));
}

TEST(FileSystemUsers, AreThoseThatMapAFile) {
  char name[] = "/dev/shm/qmfi-test.XXXXXX";
  const int made = mkstemp(name);
  ASSERT_GE(made, 0);
  ASSERT_EQ(ftruncate(made, 4096), 0);
  void* const mapped = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, made, 0);
  close(made);
  const std::vector<std::string> users = usersOf(deviceOf(name));
  unlink(name);
  ASSERT_EQ(munmap(mapped, 4096), 0);
  EXPECT_THAT(users, Contains(StartsWith(self())));
}

}  // namespace
}  // namespace qmfi_host
