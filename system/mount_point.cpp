// The way up to a mount point.
#include "system/mount_point.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

namespace qmfi_system {

std::optional<std::uint64_t> mountNumberOf(const std::string& path) {
  struct statx status {};
  if (statx(AT_FDCWD, path.c_str(), AT_NO_AUTOMOUNT, STATX_MNT_ID, &status) != 0) return std::nullopt;
  return status.stx_mnt_id;
}

std::string mountPointAbove(const std::string& path) {
  std::error_code error;
  std::filesystem::path place = std::filesystem::canonical(path, error);
  const std::optional<std::uint64_t> mount = error ? std::nullopt : mountNumberOf(place);
  if (!mount) return {};
  while (place.has_relative_path() && mountNumberOf(place.parent_path()) == mount) place = place.parent_path();
  return place;
}

}  // namespace qmfi_system
