// The file systems of one quiesce, on directories of the test's own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "qmfs_frozen_set.h"
#include "support/temporary_directory.h"

namespace {

class FrozenSet : public testing::Test {
 protected:
  ~FrozenSet() override { closeEach(m_set.descriptors(), m_set.opened()); }

  void hold(const std::vector<std::string>& mountPoints) {
    std::vector<CQmFSFrozenSet::FileSystem> fileSystems;
    for (const std::string& mountPoint : mountPoints) fileSystems.push_back({mountPoint, false});
    m_set.hold(std::move(fileSystems));
  }
  static bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; }

  const TemporaryDirectory m_first;
  const TemporaryDirectory m_second;
  CQmFSFrozenSet m_set;
};

TEST_F(FrozenSet, HoldsNothingAtFirst) {
  EXPECT_FALSE(m_set.isHolding());
  EXPECT_EQ(m_set.descriptors(), nullptr);
  EXPECT_EQ(m_set.opened(), 0);
  EXPECT_EQ(m_set.frozen(), 0);
  EXPECT_FALSE(m_set.isOfThisProcess());
}

TEST_F(FrozenSet, OpensOneAfterAnotherReadOnlyAndClosesThemForCommands) {
  hold({m_first.path(), m_second.path()});
  const std::string paths[] = {m_first.path(), m_second.path()};
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(m_set.openNext());
    EXPECT_EQ(m_set.opened(), i + 1);
    const int descriptor = m_set.descriptors()[i];
    struct stat opened {};
    struct stat named {};
    ASSERT_EQ(::fstat(descriptor, &opened), 0);
    ASSERT_EQ(::stat(paths[i].c_str(), &named), 0);
    EXPECT_EQ(opened.st_ino, named.st_ino);
    EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
  }
}

TEST_F(FrozenSet, TellsWhyOneCannotBeOpenedAndKeepsThoseBeforeIt) {
  hold({m_first.path(), m_first.path() + "/missing"});
  ASSERT_TRUE(m_set.openNext());
  errno = 0;
  EXPECT_FALSE(m_set.openNext());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(m_set.opened(), 1);
  EXPECT_TRUE(isOpen(m_set.descriptors()[0]));
}

TEST_F(FrozenSet, RemembersWhatIsFrozenOnlyWhileItHoldsSomething) {
  m_set.setFrozen(1);
  EXPECT_EQ(m_set.frozen(), 0);
  hold({m_first.path()});
  m_set.setFrozen(1);
  EXPECT_EQ(m_set.frozen(), 1);
  m_set.release();
  EXPECT_EQ(m_set.frozen(), 0);
}

TEST_F(FrozenSet, TellsOfFailedThawsAfterItWasReleasedButNotOfThoseOfAnEarlierSet) {
  hold({m_first.path(), m_second.path()});
  m_set.noteFailedThaw(1);
  m_set.release();
  EXPECT_FALSE(m_set.isHolding());
  ASSERT_EQ(m_set.fileSystems().size(), 2U);
  EXPECT_FALSE(m_set.fileSystems()[0].thawFailed);
  EXPECT_TRUE(m_set.fileSystems()[1].thawFailed);
  EXPECT_EQ(m_set.fileSystems()[1].mountPoint, m_second.path());
  hold({m_first.path(), m_second.path()});
  EXPECT_FALSE(m_set.fileSystems()[1].thawFailed);
}

TEST_F(FrozenSet, IsOfTheProcessThatHoldsItAndNotOfAChild) {
  hold({m_first.path()});
  EXPECT_TRUE(m_set.isOfThisProcess());
  const pid_t child = ::fork();
  if (child == 0) ::_exit(m_set.isOfThisProcess() ? 1 : 0);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(FrozenSet, ClosesTheFirstOfAListAndNothingOfNone) {
  hold({m_first.path(), m_second.path()});
  ASSERT_TRUE(m_set.openNext());
  ASSERT_TRUE(m_set.openNext());
  const std::int32_t descriptors[] = {m_set.descriptors()[0], m_set.descriptors()[1]};
  m_set.release();
  closeEach(descriptors, 0);
  closeEach(descriptors, -1);
  closeEach(nullptr, 2);
  EXPECT_TRUE(isOpen(descriptors[0]));
  closeEach(descriptors, 1);
  EXPECT_FALSE(isOpen(descriptors[0]));
  EXPECT_TRUE(isOpen(descriptors[1]));
  closeEach(descriptors + 1, 1);
}

}  // namespace
