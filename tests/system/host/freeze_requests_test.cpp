// What a mounted file system asks of its driver, whose answers are the test's.
// Volume: "a" mounted on /mnt/a.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include "snapshot/mounted_file_system.h"
#include "support/driver_requests.h"
#include "support/foreign_framework.h"

namespace {

using Requests = std::vector<std::pair<std::uint32_t, std::uintptr_t>>;

Requests requests;
int freezeError = 0;

}  // namespace

int answerDriverRequest(int /*descriptor*/, std::uint32_t request, std::uintptr_t argument) {
  requests.emplace_back(request, argument);
  if (request != QM_FREEZE || freezeError == 0) return 0;
  errno = freezeError;
  return -1;
}

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::Pair;

class FreezeRequestsTest : public testing::Test {
 protected:
  FreezeRequestsTest() : m_fileSystem(KernelFileSystems().open({"/mnt/a", "/dev/qm/dsk/dg1/a", QM_FREEZE, QM_THAW})) {
    requests.clear();
    freezeError = 0;
  }

  const std::unique_ptr<MountedFileSystem> m_fileSystem;
};

// Should this process end before the thaw, the driver ends the freeze within a second.
TEST_F(FreezeRequestsTest, ASecondFreezeThatComesAboutIsForOneSecondAndThawed) {
  EXPECT_EQ(m_fileSystem->freezeAgain(), 0);
  EXPECT_THAT(requests, ElementsAre(Pair(QM_FREEZE, 1), Pair(QM_THAW, 0)));
}

TEST_F(FreezeRequestsTest, ASecondFreezeThatIsRefusedIsThatErrorAndNoThaw) {
  for (const int error : {EBUSY, EIO}) {
    requests.clear();
    freezeError = error;
    EXPECT_EQ(m_fileSystem->freezeAgain(), error);
    EXPECT_THAT(requests, ElementsAre(Pair(QM_FREEZE, 1)));
  }
}

}  // namespace
}  // namespace qmfi_host
