// The plug-in's start and stop.
#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

using Start = LoadedPlugin;

TEST_F(Start, RunsTheInstallCheckAndReadsTheConfiguration) {
  ASSERT_EQ(0, startPlugin());
  EXPECT_THAT(programs.commands(), UnorderedElementsAre("/bin/rpm -qa", "/bin/grep KRIBqmfs"));
}

}  // namespace
