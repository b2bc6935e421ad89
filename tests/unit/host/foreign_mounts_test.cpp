// Which mounts are somebody else's. /proc is mounted everywhere, and on no device of a volume.
#include "snapshot/foreign_mounts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "fake_provider.h"

namespace qmfi_host {
namespace {

class ForeignMountsTest : public testing::Test {
 protected:
  bool isForeign(const std::string& alternate, std::optional<dev_t> device) {
    m_splitter.volumes["/dev/a"].device = device;
    return isForeignMount({"/data", {"/dev/a", {}, {}, "/files/a-17b4f33e", {}}, alternate, {}, {}}, m_splitters);
  }

  static dev_t deviceOf(const char* path) {
    struct stat status {};
    EXPECT_EQ(stat(path, &status), 0);
    return status.st_dev;
  }

  static constexpr dev_t notMounted = 1;

  Journal m_journal;
  FakeSplitter m_splitter{m_journal};
  Splitters m_splitters{{&m_splitter}};
};

TEST_F(ForeignMountsTest, AreThoseOnAnotherDevice) {
  EXPECT_TRUE(isForeign("/proc", notMounted));
  EXPECT_FALSE(isForeign("/proc", deviceOf("/proc")));
}

TEST_F(ForeignMountsTest, AreNotThoseThatMayCoverTheSnapshot) {
  EXPECT_FALSE(isForeign("/proc", deviceOf("/sys")));
}

TEST_F(ForeignMountsTest, AreOnlyThoseThatAreCertain) {
  EXPECT_FALSE(isForeign("/proc", std::nullopt));
}

TEST_F(ForeignMountsTest, AreNotWhereNothingIsMounted) {
  EXPECT_FALSE(isForeign("/proc/self", notMounted));
  EXPECT_FALSE(isForeign("/nonexistent", notMounted));
}

}  // namespace
}  // namespace qmfi_host
