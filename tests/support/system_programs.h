// The system's programs that the plug-in may run.
#ifndef SUPPORT_SYSTEM_PROGRAMS_H
#define SUPPORT_SYSTEM_PROGRAMS_H

#include <array>

inline constexpr std::array systemPrograms = {
    "/bin/mount",
    "/bin/umount",
    "/bin/mkdir",
    "/bin/rmdir",
    "/bin/rpm",
    "/bin/grep",
    "/sbin/mkfs",
    "/sbin/fsck",
    "/sbin/fuser",
    "/opt/KRIB/bin/qmumount",
    "/opt/KRIBqmfs/sbin/fstyp",
};

// Further places where it looks for the file system's own.
inline constexpr std::array otherCandidates = {
    "/sbin/fs/qmfs/qmumount",    "/usr/lib/fs/qmfs/qmumount",
    "/opt/KRIB/bin/umount",      "/usr/lib/fs/qmfs/umount",
    "/opt/KRIBqmfs/sbin/umount", "/opt/KRIB/bin/fstyp",
    "/usr/sbin/fstyp",           "/sbin/fstyp",
    "/usr/lib/fs/qmfs/fstyp",    "/etc/fstyp",
};

#endif
