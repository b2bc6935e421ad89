// Files that are replaced as a whole.
#include "system/durable_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "support/temporary_directory.h"

namespace qmfi_system {
namespace {

TEST(DurableFile, ReplacesWhatWasThere) {
  const TemporaryDirectory directory;
  directory.write("file", "a longer text than the new one");
  directory.write("file.new", "of a process that was killed");
  EXPECT_EQ(replaceFile(directory.file("file"), "new text"), 0);
  EXPECT_EQ(directory.read("file"), "new text");
  EXPECT_FALSE(std::filesystem::exists(directory.file("file.new")));
}

TEST(DurableFile, BelongsToItsOwnerAlone) {
  const TemporaryDirectory directory;
  const mode_t before = umask(0);
  EXPECT_EQ(replaceFile(directory.file("file"), ""), 0);
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(directory.file("file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST(DurableFile, WritesThroughNoLink) {
  const TemporaryDirectory directory;
  directory.write("elsewhere", "somebody else's");
  for (const char* name : {"file", "file.new"}) std::filesystem::create_symlink("elsewhere", directory.file(name));
  EXPECT_EQ(replaceFile(directory.file("file"), "text"), 0);
  EXPECT_EQ(directory.read("elsewhere"), "somebody else's");
  EXPECT_EQ(directory.read("file"), "text");
}

TEST(DurableFile, ThatCannotBeWrittenIsAnErrorAndLeavesNothing) {
  const TemporaryDirectory directory;
  EXPECT_EQ(replaceFile(directory.file("none/file"), "text"), ENOENT);
  directory.makeDirectory("taken/below");
  EXPECT_EQ(replaceFile(directory.file("taken"), "text"), EISDIR);
  EXPECT_FALSE(std::filesystem::exists(directory.file("taken.new")));
  EXPECT_EQ(writeOutDirectory(directory.file("none")), ENOENT);
}

}  // namespace
}  // namespace qmfi_system
