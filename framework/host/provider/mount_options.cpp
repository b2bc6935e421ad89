// Looking for options.
#include "provider/mount_options.h"

#include <mntent.h>

#include <cstdio>
#include <memory>
#include <sstream>

namespace qmfi_host {

namespace {

bool hasOption(const std::string& options, const std::string& option) {
  std::istringstream list(options);
  for (std::string one; std::getline(list, one, ',');) {
    if (one == option) return true;
  }
  return false;
}

}  // namespace

bool hasMountOption(const std::string& mountPoint, const std::string& option, const std::filesystem::path& mountTable) {
  const std::unique_ptr<FILE, int (*)(FILE*)> table(setmntent(mountTable.c_str(), "re"), endmntent);
  if (table == nullptr) return false;
  constexpr std::size_t longestLine = 1 << 16;
  std::string line(longestLine, '\0');
  std::string last;
  mntent entry{};
  while (getmntent_r(table.get(), &entry, line.data(), static_cast<int>(line.size())) != nullptr) {
    if (mountPoint == entry.mnt_dir) last = entry.mnt_opts;
  }
  return hasOption(last, option);
}

}  // namespace qmfi_host
