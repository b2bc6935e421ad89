// Look-ups in the system mount table.
#ifndef QMFS_MOUNT_TABLE_H
#define QMFS_MOUNT_TABLE_H

#include <cstdlib>
#include <memory>

// File-system type of this provider.
inline constexpr const char* QMFS_TYPE = "qmfs";

// The exported look-ups read "/etc/mtab" anew on each call; the first entry that matches is the answer. Comparisons are
// exact, byte for byte. They return 1 when an entry matches, 0 when none does (or the path is null), and -1 when the
// table cannot be read or a copy cannot be made. Out strings are copies that the caller frees with free, null unless
// the result is 1; an out pointer may be null. Any thread may call them.
extern "C" {

// By device path, whatever the file-system type: its mount point and mount options.
int qmfs_getmnt(const char* device, char** mountPoint, char** options);

// By mount point of a qmfs file system: its device and mount options.
int qmfs_getsubobj(const char* mountPoint, char** device, char** options);

// Whether a qmfs file system is mounted on the mount point.
int qmfs_check_claim(const char* mountPoint);
}

// Owner of a string that was allocated with malloc.
struct FreeDeleter {
  // Frees the block, which malloc or strdup has made.
  void operator()(void* block) const { std::free(block); }
};
using MallocString = std::unique_ptr<char, FreeDeleter>;

// Answer of a look-up with owned copies.
struct MountTableAnswer {
  int result;            // 1, 0 or -1
  MallocString found;    // device or mount point, null unless result is 1
  MallocString options;  // mount options, null unless result is 1
};

// Both look up like qmfs_getmnt and qmfs_getsubobj, with their copies owned.
MountTableAnswer mountOfDevice(const char* device);
MountTableAnswer deviceOfMount(const char* mountPoint);

// The field that a look-up compares.
enum class MountTableKey { device, mountPoint };
// The same look-ups in a table of the caller's choice, by its file's path. type: null for any file-system type.
int searchMountTable(const char* table, MountTableKey key, const char* value, const char* type, char** found,
                     char** options);

#endif
