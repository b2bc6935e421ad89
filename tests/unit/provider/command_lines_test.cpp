// The command lines that the provider runs, to the last blank.
#include <gtest/gtest.h>

#include <string>

#include "command_word_of.h"
#include "qmfs_command_lines.h"

namespace {

struct CommandCase {
  std::string command;
  const char* text;
};

TEST(CommandLines, AreWhole) {
  const CommandCase cases[] = {
      {mkdirCommand(wordOf("/data_alt")), "/bin/mkdir -p  /data_alt"},
      {rmdirCommand(wordOf("/data_alt")), "/bin/rmdir  /data_alt"},
      {mkfsCommand(wordOf("/dev/qm/rdsk/g/v")), "/sbin/mkfs -t qmfs  /dev/qm/rdsk/g/v"},
      {fsckCommand(wordOf("/dev/qm/dsk/g/v")), "/sbin/fsck -y -t qmfs  /dev/qm/dsk/g/v"},
      {mountCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data"), "rw,log"),
       "/bin/mount -t qmfs  -o rw,log /dev/qm/dsk/g/v /data"},
      {mountCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data"), ""), "/bin/mount -t qmfs  /dev/qm/dsk/g/v /data"},
      {mountCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data"), " -o mincache=closesync "),
       "/bin/mount -t qmfs  -o  -o mincache=closesync  /dev/qm/dsk/g/v /data"},
      {onlineMountCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data"), "rw"),
       "/bin/mount -t qmfs  -o rw /dev/qm/dsk/g/v /data"},
      {onlineMountCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data"), ""),
       "/bin/mount -t qmfs  -o  /dev/qm/dsk/g/v /data"},
      {snapshotMountCommand(wordOf("/dev/qm/dsk/g/s"), wordOf("/data_alt")),
       "/bin/mount -t qmfs  -o ro /dev/qm/dsk/g/s /data_alt"},
      {accessMountCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data"), "ro"),
       "/bin/mount -t qmfs  -o ro /dev/qm/dsk/g/v /data"},
      {accessMountCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data"), ""),
       "/bin/mount -t qmfs  -o  /dev/qm/dsk/g/v /data"},
      {umountCommand(wordOf("/data")), "/bin/umount  /data"},
      {forcedUmountCommand("/opt/KRIB/bin/qmumount", wordOf("/data")), "/opt/KRIB/bin/qmumount -o force  /data"},
      {fstypCommand("/opt/KRIBqmfs/sbin/fstyp", wordOf("/dev/qm/dsk/g/v")), "/opt/KRIBqmfs/sbin/fstyp /dev/qm/dsk/g/v"},
      {fuserCommand(wordOf("/data")), "/sbin/fuser /data"},
      {mountListCommand(), "/bin/mount -t qmfs "},
      {cacheEnableCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data")),
       "/bin/mount -t qmfs -o remount,log,mincache=closesync /dev/qm/dsk/g/v /data"},
      {cacheDisableCommand(wordOf("/dev/qm/dsk/g/v"), wordOf("/data")),
       "/bin/mount -t qmfs -o remount,delaylog /dev/qm/dsk/g/v /data"},
      {installCheckCommand(), "/bin/rpm -qa  | /bin/grep KRIBqmfs"},
  };
  for (const CommandCase& c : cases) {
    EXPECT_EQ(c.command, c.text);
  }
}

}  // namespace
