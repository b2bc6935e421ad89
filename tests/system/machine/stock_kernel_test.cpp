// The kernel of Debian 12 cannot split a logical volume whose file system is frozen.
#include <sys/utsname.h>

#include "kinds_fixture.h"
#include "support/program_run.h"

namespace machine_test {
namespace {

TEST(StockKernel, RefusesLogicalVolumesBeforeTheFreezeAndSplitsFilesAllTheSame) {
  const MountedLayout mounted(fileFirst);
  const std::string before = machineState();
  utsname kernel{};
  ASSERT_EQ(uname(&kernel), 0);
  const testbed_test::Outcome outcome =
      testbed_test::run({"/usr/bin/qmfi", "snapshot", "create", mountPoints()[0], mountPoints()[1], mountPoints()[2]});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, std::string("qmfi: the kernel ") + kernel.release +
                                " cannot suspend a logical volume whose file system is frozen, so lvm cannot split it; "
                                "Linux 6.8 and later can; nothing was frozen\n");
  EXPECT_EQ(machineState(), before);
  TakenSnapshot({mountPoints()[0]}).let("delete");
  EXPECT_EQ(machineState(), before);
}

}  // namespace
}  // namespace machine_test
