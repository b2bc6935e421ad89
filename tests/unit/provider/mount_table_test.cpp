// Look-ups in mount tables that are written for the test.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "qmfs_mount_table.h"
#include "support/temporary_directory.h"

namespace {

// The answer of a look-up with its out strings.
struct Answer {
  int result;
  std::optional<std::string> found;
  std::optional<std::string> options;

  bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
  *out << answer.result << " [" << answer.found.value_or("null") << "] [" << answer.options.value_or("null") << "]";
}

const Answer NOT_FOUND{0, std::nullopt, std::nullopt};
const Answer UNREADABLE{-1, std::nullopt, std::nullopt};

Answer found(const std::string& name, const std::string& options) {
  return {1, name, options};
}

class MountTable : public testing::Test {
 protected:
  void write(const std::string& text) { m_table = m_directory.write("mtab", text); }

  Answer search(MountTableKey key, const char* value, const char* type) const {
    char left[] = "left over";
    char* name = left;
    char* options = left;
    const int result = searchMountTable(m_table.c_str(), key, value, type, &name, &options);
    const MallocString ownedName(name);
    const MallocString ownedOptions(options);
    Answer answer{result, std::nullopt, std::nullopt};
    if (name != nullptr) answer.found = name;
    if (options != nullptr) answer.options = options;
    return answer;
  }

  Answer byDevice(const char* device) const { return search(MountTableKey::device, device, nullptr); }
  Answer byMountPoint(const char* path) const { return search(MountTableKey::mountPoint, path, QMFS_TYPE); }

  TemporaryDirectory m_directory;
  std::string m_table = m_directory.path() + "/missing";
};

TEST_F(MountTable, FindsByDeviceWhateverTheType) {
  write(
      "/dev/a /a xfs rw 0 0\n"
      "/dev/b /b qmfs ro,delaylog 0 0\n");
  EXPECT_EQ(byDevice("/dev/a"), found("/a", "rw"));
  EXPECT_EQ(byDevice("/dev/b"), found("/b", "ro,delaylog"));
  EXPECT_EQ(byDevice("/dev/c"), NOT_FOUND);
}

TEST_F(MountTable, FindsByMountPointOfItsTypeOnly) {
  write(
      "/dev/a /a xfs rw 0 0\n"
      "/dev/b /b qmfs ro 0 0\n"
      "/dev/c /c qmfs2 rw 0 0\n"
      "/dev/d /d qmf rw 0 0\n"
      "/dev/e /e QMFS rw 0 0\n");
  EXPECT_EQ(byMountPoint("/b"), found("/dev/b", "ro"));
  for (const char* const path : {"/a", "/c", "/d", "/e", "/f"}) {
    EXPECT_EQ(byMountPoint(path), NOT_FOUND) << path;
  }
}

TEST_F(MountTable, EntryOfAnotherTypeDoesNotHideALaterOne) {
  write(
      "/dev/a /data xfs rw 0 0\n"
      "/dev/b /data qmfs ro 0 0\n");
  EXPECT_EQ(byMountPoint("/data"), found("/dev/b", "ro"));
}

TEST_F(MountTable, FirstOfSeveralEntriesIsTheAnswer) {
  write(
      "/dev/a /first qmfs rw 0 0\n"
      "/dev/a /second qmfs ro 0 0\n"
      "/dev/b /first qmfs ro 0 0\n");
  EXPECT_EQ(byDevice("/dev/a"), found("/first", "rw"));
  EXPECT_EQ(byMountPoint("/first"), found("/dev/a", "rw"));
}

TEST_F(MountTable, ComparesByteForByte) {
  write("/dev/a /mnt/a qmfs rw 0 0\n");
  for (const char* const path : {"/mnt/a/", "/mnt//a", "/mnt/A", "/mnt/a ", "mnt/a", "/mnt", "/mnt/ab", ""}) {
    EXPECT_EQ(byMountPoint(path), NOT_FOUND) << path;
  }
  EXPECT_EQ(byDevice("/dev/a/"), NOT_FOUND);
}

TEST_F(MountTable, TrailingSlashInTheTableIsKept) {
  write("/dev/a /mnt/a/ qmfs rw 0 0\n");
  EXPECT_EQ(byMountPoint("/mnt/a/"), found("/dev/a", "rw"));
  EXPECT_EQ(byMountPoint("/mnt/a"), NOT_FOUND);
}

TEST_F(MountTable, DecodesEscapes) {
  write("/dev/a\\134b /with\\040blank\\011tab\\012line\\134040 qmfs opt\\040ion 0 0\n");
  EXPECT_EQ(byMountPoint("/with blank\ttab\nline\\040"), found("/dev/a\\b", "opt ion"));
  EXPECT_EQ(byDevice("/dev/a\\b"), found("/with blank\ttab\nline\\040", "opt ion"));
  EXPECT_EQ(byMountPoint("/with\\040blank\\011tab\\012line\\134040"), NOT_FOUND);
}

TEST_F(MountTable, TakesBlanksAndTabsAsSeparators) {
  write(
      "  \t /dev/a\t\t/a \t qmfs\trw\t0\t0\n"
      "/dev/b   /b   qmfs   ro   0   0   \n");
  EXPECT_EQ(byMountPoint("/a"), found("/dev/a", "rw"));
  EXPECT_EQ(byMountPoint("/b"), found("/dev/b", "ro"));
}

TEST_F(MountTable, PassesOverCommentsAndBlankLines) {
  write(
      "# a comment\n"
      "\n"
      "   \t\n"
      "#/dev/a /a qmfs rw 0 0\n"
      "   # /dev/a /a qmfs rw 0 0\n"
      "/dev/a /a qmfs ro 0 0\n");
  EXPECT_EQ(byMountPoint("/a"), found("/dev/a", "ro"));
  EXPECT_EQ(byDevice("#/dev/a"), NOT_FOUND);
  EXPECT_EQ(byDevice("#"), NOT_FOUND);
}

TEST_F(MountTable, MissingFieldsAreEmpty) {
  write(
      "/dev/a\n"
      "/dev/b /b\n"
      "/dev/c /c qmfs\n");
  EXPECT_EQ(byDevice("/dev/a"), found("", ""));
  EXPECT_EQ(byDevice("/dev/b"), found("/b", ""));
  EXPECT_EQ(byMountPoint("/b"), NOT_FOUND);
  EXPECT_EQ(byMountPoint("/c"), found("/dev/c", ""));
  EXPECT_EQ(byMountPoint(""), NOT_FOUND);
}

TEST_F(MountTable, LastLineNeedsNoLineFeed) {
  write("/dev/a /a qmfs rw 0 0\n/dev/b /b qmfs ro");
  EXPECT_EQ(byMountPoint("/b"), found("/dev/b", "ro"));
}

TEST_F(MountTable, EmptyTableHasNothing) {
  write("");
  EXPECT_EQ(byDevice("/dev/a"), NOT_FOUND);
  EXPECT_EQ(byMountPoint("/a"), NOT_FOUND);
}

TEST_F(MountTable, ReadsLinesOfAnyLength) {
  const std::string longOptions(100UL * 1024, 'o');
  const std::string longPath = "/" + std::string(100UL * 1024, 'p');
  write("/dev/a /a qmfs " + longOptions + " 0 0\n/dev/b " + longPath + " qmfs rw 0 0\n/dev/c /c qmfs ro 0 0\n");
  EXPECT_EQ(byMountPoint("/a"), found("/dev/a", longOptions));
  EXPECT_EQ(byMountPoint(longPath.c_str()), found("/dev/b", "rw"));
  EXPECT_EQ(byDevice("/dev/b"), found(longPath, "rw"));
  EXPECT_EQ(byMountPoint("/c"), found("/dev/c", "ro"));
}

TEST_F(MountTable, AutomountsThatAskToBeIgnoredAre) {
  write(
      "auto /a autofs rw,ignore 0 0\n"
      "other /b autofs rw 0 0\n");
  EXPECT_EQ(byDevice("auto"), NOT_FOUND);
  EXPECT_EQ(byDevice("other"), found("/b", "rw"));
}

TEST_F(MountTable, ThatIsMissingIsUnreadable) {
  EXPECT_EQ(byDevice("/dev/a"), UNREADABLE);
  EXPECT_EQ(byMountPoint("/a"), UNREADABLE);
}

TEST_F(MountTable, ThatIsADirectoryIsUnreadable) {
  m_table = m_directory.path();
  EXPECT_EQ(byDevice("/dev/a"), UNREADABLE);
  EXPECT_EQ(byMountPoint("/a"), UNREADABLE);
}

TEST_F(MountTable, NoPathFindsNothingEvenInAMissingTable) {
  EXPECT_EQ(byDevice(nullptr), NOT_FOUND);
  EXPECT_EQ(byMountPoint(nullptr), NOT_FOUND);
  EXPECT_EQ(qmfs_check_claim(nullptr), 0);
}

TEST_F(MountTable, NeedsNoPlaceForWhatIsNotWanted) {
  write("/dev/a /a qmfs rw 0 0\n");
  const auto search = [this](const char* value, char** name, char** options) {
    return searchMountTable(m_table.c_str(), MountTableKey::mountPoint, value, QMFS_TYPE, name, options);
  };
  char* text = nullptr;
  EXPECT_EQ(search("/a", nullptr, nullptr), 1);
  EXPECT_EQ(search("/b", nullptr, nullptr), 0);
  EXPECT_EQ(search("/a", &text, nullptr), 1);
  EXPECT_STREQ(MallocString(text).get(), "/dev/a");
  EXPECT_EQ(search("/a", nullptr, &text), 1);
  EXPECT_STREQ(MallocString(text).get(), "rw");
}

}  // namespace
