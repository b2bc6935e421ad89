// The mount options of qmfs, apart from those that the file system below it knows too.
#ifndef MOUNT_OPTIONS_H
#define MOUNT_OPTIONS_H

#include <string>

namespace testbed {

// A mount option string, sorted out. Items keep their order.
struct MountOptions {
  std::string table;     // for the mount table: everything but "remount" and empty items
  std::string below;     // for the file system below: without the options that only qmfs knows
  bool remount = false;  // a mounted file system gets new options
};

// Reads a comma-separated option string. Blanks around an item and a "-o" before it are dropped: a caller's own default
// options may repeat the flag.
MountOptions sortMountOptions(const std::string& text);

}  // namespace testbed

#endif
