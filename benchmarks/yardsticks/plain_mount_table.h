// Other ways to read a mount table.
#ifndef PLAIN_MOUNT_TABLE_H
#define PLAIN_MOUNT_TABLE_H

#include <cstddef>

namespace bench {

// Reads the file's bytes and nothing else; returns their number.
std::size_t readWhole(const char* path);

// Whether libmount, having parsed the table, finds the mount point and its device and options.
bool libmountFinds(const char* path, const char* mountPoint);

// The same by the C library's reader over every line.
bool everyLineFinds(const char* path, const char* mountPoint);

}  // namespace bench

#endif
