// Reading files as a whole.
#include "system/small_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace qmfi_system {
namespace {

namespace fs = std::filesystem;

class SmallFile : public testing::Test {
 protected:
  SmallFile() {
    std::string pattern = fs::temp_directory_path() / "small-file-XXXXXX";
    m_directory = mkdtemp(pattern.data());
  }
  ~SmallFile() override { fs::remove_all(m_directory); }

  std::string path(const char* name) const { return m_directory / name; }

  std::string write(const std::string& text) const {
    std::ofstream(path("file"), std::ios::binary) << text;
    return path("file");
  }

  // The error that a file is refused with; 0 when it is read.
  static int refusal(const std::string& file, std::size_t largest = largestSmallFile) {
    errno = 0;
    return readSmallFile(file, largest) ? 0 : errno;
  }

 private:
  fs::path m_directory;
};

TEST_F(SmallFile, IsReadWhole) {
  EXPECT_EQ(readSmallFile(write("")), "");
  EXPECT_EQ(readSmallFile(write("one\ntwo")), "one\ntwo");
  EXPECT_EQ(readSmallFile(write(std::string("a\0b\n", 4))), std::string("a\0b\n", 4));
  const std::string longText(100'000, 'x');
  EXPECT_EQ(readSmallFile(write(longText)), longText);
}

TEST_F(SmallFile, MayBeOneOfTheKernelThatTellsNoSize) {
  const std::string expected = fs::read_symlink("/proc/self/exe").string();
  const auto text = readSmallFile("/proc/self/cmdline");
  ASSERT_TRUE(text);
  EXPECT_EQ(fs::canonical(text->c_str()), expected);
  EXPECT_EQ(text->back(), '\0');
}

TEST_F(SmallFile, MayBeAsLargeAsAllowedAndNoLarger) {
  const std::string file = write("12345");
  EXPECT_EQ(readSmallFile(file, 5), "12345");
  EXPECT_EQ(refusal(file, 4), EFBIG);
  EXPECT_EQ(refusal("/proc/self/status", 10), EFBIG);
  EXPECT_EQ(refusal(write(std::string(largestSmallFile, 'x'))), 0);
  EXPECT_EQ(refusal(write(std::string(largestSmallFile + 1, 'x'))), EFBIG);
}

TEST_F(SmallFile, IsNotThere) {
  EXPECT_EQ(refusal(path("missing")), ENOENT);
}

TEST_F(SmallFile, MayBeReachedThroughALink) {
  fs::create_symlink(write("text"), path("link"));
  EXPECT_EQ(readSmallFile(path("link")), "text");
}

TEST_F(SmallFile, IsNoDirectoryPipeOrDevice) {
  EXPECT_EQ(refusal("/"), EISDIR);
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(refusal(path("fifo")), EINVAL);
  EXPECT_EQ(refusal("/dev/null"), EINVAL);
}

}  // namespace
}  // namespace qmfi_system
