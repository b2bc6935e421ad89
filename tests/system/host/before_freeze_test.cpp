// What can be known before a freeze is known before it: nothing is frozen for a snapshot that could not be made.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <climits>
#include <filesystem>

#include "cfiscopeexit.h"
#include "host_fixture.h"
#include "support/supervision/frozen_calls.h"
#include "support/supervision/tracer.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::StartsWith;

using qmfi_pdk_4_4::CFiScopeExit;

using BeforeFreezeTest = HostTest;

class NoFreeze : public faults::CallWatcher {
 public:
  faults::Decision before(const faults::SystemCall& call) override {
    EXPECT_FALSE(faults::isFreezeAll(call));
    return {};
  }
};

std::string errorsOfCreation(const std::vector<std::string>& options = {}, const std::string& before = "exec ") {
  constexpr std::chrono::seconds limit(60);
  std::string command = before + "/usr/bin/qmfi snapshot create /mnt/a";
  for (const std::string& option : options) command += " " + option;
  faults::Tracer tracer;
  NoFreeze watcher;
  const faults::Ended ended = tracer.run({"/bin/sh", "-c", command}, &watcher, limit);
  EXPECT_TRUE(tracer.waitForAll(limit).empty());
  EXPECT_EQ(ended.status, 1);
  return ended.errors;
}

// The copy could have its name, the record beside it could not.
TEST_F(BeforeFreezeTest, NameOfARecordThatIsTooLongIsRefused) {
  const fs::path file = "/qmfs-pool/dg1/a";
  const fs::path renamed = file.parent_path() / std::string(NAME_MAX - std::string("-17b4f33e.qmfi").size(), 'a');
  fs::rename(file, renamed);
  const CFiScopeExit rename([&] { fs::rename(renamed, file); });
  const std::string errors = errorsOfCreation();
  EXPECT_THAT(errors, StartsWith("qmfi: the name " + renamed.string() + "-"));
  EXPECT_THAT(errors, HasSubstr(".qmfi.new, which the snapshot needs, is too long: between slashes it may have 255 "
                                "bytes, and 4095 in all; nothing was frozen\n"));
}

TEST_F(BeforeFreezeTest, AlternateWhosePathIsTooLongIsRefused) {
  std::string place = "/run/qmfi";
  while (place.size() + 200 < PATH_MAX - 8) place += "/" + std::string(199, 'x');
  place += "/" + std::string(PATH_MAX - 8 - place.size(), 'y');
  EXPECT_EQ(errorsOfCreation({"--name", "n", "--alternate-dir", place}),
            "qmfi: the name " + place +
                "/n/mnt/a, which the snapshot needs, is too long: between slashes it may have "
                "255 bytes, and 4095 in all; nothing was frozen\n");
}

TEST_F(BeforeFreezeTest, MissingLoopControlIsAFailure) {
  fs::rename("/dev/loop-control", "/dev/loop-control-away");
  const CFiScopeExit rename([] { fs::rename("/dev/loop-control-away", "/dev/loop-control"); });
  EXPECT_EQ(errorsOfCreation(),
            "qmfi: /dev/loop-control, which gives the devices of snapshots, cannot be opened; \"modprobe loop\" makes "
            "it: No such file or directory\n");
}

// Without the right to raise it.
TEST_F(BeforeFreezeTest, VolumeLargerThanFilesMayBeIsRefused) {
  EXPECT_EQ(errorsOfCreation({}, "ulimit -f 2048; exec setpriv --bounding-set -sys_resource --inh-caps -sys_resource "),
            "qmfi: the volume /dev/qm/dsk/dg1/a is larger than files of this process may be (1048576 bytes); \"ulimit "
            "-f unlimited\" lifts that limit; nothing was frozen\n");
}

// The kernel ends by a signal who writes beyond the limit.
TEST_F(BeforeFreezeTest, LimitOfFileSizesIsLifted) {
  const testbed_test::Outcome outcome = testbed_test::run(
      {"/bin/sh", "-c",
       "ulimit -S -f 2048; exec /usr/bin/qmfi snapshot create --freeze-timeout 20 --name limited /mnt/a"});
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_EQ(qmfi({"snapshot", "delete", "limited"}).status, 0);
}

}  // namespace
}  // namespace host_test
