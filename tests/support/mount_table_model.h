// A mount table as the system's own reader sees it, and look-ups in it in their plainest form.
#ifndef SUPPORT_MOUNT_TABLE_MODEL_H
#define SUPPORT_MOUNT_TABLE_MODEL_H

#include <mntent.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mount_table_model {

struct Entry {
  std::string device;
  std::string mountPoint;
  std::string type;
  std::string options;
};

// longestLine: the reader cuts lines that are longer.
inline std::vector<Entry> readEntries(const std::string& path, std::size_t longestLine) {
  struct Closer {
    void operator()(std::FILE* table) const { endmntent(table); }
  };
  std::vector<Entry> entries;
  std::vector<char> room(longestLine + 2);
  const std::unique_ptr<std::FILE, Closer> table(setmntent(path.c_str(), "r"));
  mntent entry{};
  while (getmntent_r(table.get(), &entry, room.data(), static_cast<int>(room.size())) != nullptr) {
    entries.push_back({entry.mnt_fsname, entry.mnt_dir, entry.mnt_type, entry.mnt_opts});
  }
  return entries;
}

// What a look-up finds: the mount point of a device or the device of a mount point, and the options.
using Answer = std::optional<std::pair<std::string, std::string>>;

// The answer of the first entry of that value and, unless it is null, type.
inline Answer lookUp(const std::vector<Entry>& entries, bool byDevice, const std::string& value, const char* type) {
  for (const Entry& entry : entries) {
    if ((byDevice ? entry.device : entry.mountPoint) != value) continue;
    if (type != nullptr && entry.type != type) continue;
    return std::pair(byDevice ? entry.mountPoint : entry.device, entry.options);
  }
  return std::nullopt;
}

}  // namespace mount_table_model

#endif
