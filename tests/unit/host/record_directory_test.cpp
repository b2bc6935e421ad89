// Records that lie in a directory of their own.
#include "volume/record_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "failure/host_error.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RecordDirectoryTest : public testing::Test {
 protected:
  static std::vector<std::string> texts(const std::vector<KeptRecord>& records) {
    std::vector<std::string> texts;
    for (const KeptRecord& record : records) texts.push_back(record.snapshotFile + ": " + record.text);
    std::sort(texts.begin(), texts.end());
    return texts;
  }

  TemporaryDirectory m_directory;
  RecordDirectory m_records{m_directory.file("records"), "lvm"};
};

TEST_F(RecordDirectoryTest, GivesBackWhatWasKeptByTheNameOfTheCopy) {
  EXPECT_THAT(m_records.all(), IsEmpty());
  m_records.keep("/dev/vg/a%2F-1", "first");
  m_records.keep("/dev/vg/b-1.x", "second");
  m_records.keep("/dev/vg/b-1.x", "third");
  RecordDirectory(m_directory.file("records"), "command").keep("/dev/vg/a-1", "another's");
  EXPECT_THAT(texts(m_records.all()), ElementsAre("/dev/vg/a%2F-1: first", "/dev/vg/b-1.x: third"));
  m_records.remove("/dev/vg/a%2F-1");
  m_records.remove("/dev/vg/none");
  EXPECT_THAT(texts(m_records.all()), ElementsAre("/dev/vg/b-1.x: third"));
}

TEST_F(RecordDirectoryTest, IsRootsAlone) {
  const mode_t before = umask(0);
  m_records.keep("/dev/a", "text");
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(m_directory.file("records").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
  ASSERT_EQ(stat(m_directory.file("records/%2Fdev%2Fa.lvm").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(RecordDirectoryTest, RefusesANameThatIsTooLongForAFile) {
  // A name has 255 bytes at most: "%2Fdev%2F", the copy's own, ".lvm", and ".new" while a text is replaced.
  const std::string longest = "/dev/" + std::string(255 - 9 - 4 - 4, 'x');
  EXPECT_NO_THROW(m_records.requirePossible(longest));
  EXPECT_NO_THROW(m_records.keep(longest, "text"));
  EXPECT_THAT([&] { m_records.requirePossible(longest + "x"); },
              testing::ThrowsMessage<HostError>("the name " + longest +
                                                "x, which the snapshot needs, is too long; nothing was frozen"));
}

}  // namespace
}  // namespace qmfi_host
