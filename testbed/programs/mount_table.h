// The lines of type qmfs in /etc/mtab.
#ifndef MOUNT_TABLE_H
#define MOUNT_TABLE_H

#include <optional>
#include <string>
#include <vector>

namespace testbed {

// One mounted qmfs file system.
struct MountLine {
  std::string device;
  std::string directory;
  std::string options;
};

// Each of these reads or replaces the table whole, under a lock that the file system's programs share; a reader of the
// file never sees half of it. They throw std::runtime_error when the table cannot be read or written.

// The lines of type qmfs, in the table's order.
std::vector<MountLine> qmfsMounts();

// Adds a line at the end.
void addMount(const MountLine& line);

// Gives the last qmfs line of the directory new options; does nothing where there is none.
void changeMountOptions(const std::string& directory, const std::string& options);

// Removes the last qmfs line of the directory; does nothing where there is none.
void removeMount(const std::string& directory);

// As removeMount, but only for a line to which no mount belongs; tells whether there was one.
bool removeStaleLine(const std::string& directory);

// How many file systems the kernel has mounted on the directory, one over the other. Throws std::runtime_error.
std::size_t mountsOn(const std::string& directory);

}  // namespace testbed

#endif
