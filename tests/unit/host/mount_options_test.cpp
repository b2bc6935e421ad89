// Looking for options in a mount table.
#include "provider/mount_options.h"

#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

TEST(MountOptions, AreThoseOfWhatWasMountedLast) {
  const TemporaryDirectory directory;
  const std::string table = directory.write("mtab",
                                            "/dev/a /mnt/a qmfs rw,log,mincache=closesync 0 0\n"
                                            "/dev/b /mnt/b qmfs rw,delaylog 0 0\n"
                                            "/dev/c /mnt/with\\040blank qmfs ro 0 0\n"
                                            "/dev/d /mnt/b qmfs ro,nodelaylog 0 0\n");
  const struct {
    const char* mountPoint;
    const char* option;
    bool isThere;
  } cases[] = {
      {"/mnt/a", "mincache=closesync", true},
      {"/mnt/a", "rw", true},
      {"/mnt/a", "mincache", false},
      {"/mnt/b", "delaylog", false},
      {"/mnt/b", "nodelaylog", true},
      {"/mnt/with blank", "ro", true},
      {"/mnt", "rw", false},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(hasMountOption(one.mountPoint, one.option, table), one.isThere) << one.mountPoint << " " << one.option;
  }
  EXPECT_FALSE(hasMountOption("/mnt/a", "rw", directory.file("none")));
}

}  // namespace
}  // namespace qmfi_host
