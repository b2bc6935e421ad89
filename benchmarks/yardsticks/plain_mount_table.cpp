// Other ways to read a mount table.
#include "yardsticks/plain_mount_table.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <mntent.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace bench {

std::size_t readWhole(const char* path) {
  std::array<char, 65536> buffer;
  const int table = open(path, O_RDONLY | O_CLOEXEC);
  std::size_t total = 0;
  for (ssize_t size = 1; table >= 0 && size > 0;) {
    size = read(table, buffer.data(), buffer.size());
    total += size > 0 ? static_cast<std::size_t>(size) : 0;
  }
  close(table);
  return total;
}

bool libmountFinds(const char* path, const char* mountPoint) {
  libmnt_table* const table = mnt_new_table_from_file(path);
  if (table == nullptr) return false;
  libmnt_fs* const entry = mnt_table_find_target(table, mountPoint, MNT_ITER_FORWARD);
  const bool found = entry != nullptr && mnt_fs_get_source(entry) != nullptr && mnt_fs_get_options(entry) != nullptr;
  mnt_unref_table(table);
  return found;
}

bool everyLineFinds(const char* path, const char* mountPoint) {
  std::FILE* const table = setmntent(path, "re");
  if (table == nullptr) return false;
  std::array<char, 4096> buffer;
  mntent entry{};
  bool found = false;
  while (!found && getmntent_r(table, &entry, buffer.data(), static_cast<int>(buffer.size())) != nullptr) {
    found = std::strcmp(entry.mnt_dir, mountPoint) == 0;
  }
  endmntent(table);
  return found;
}

}  // namespace bench
