// The way up to a mount point.
#include "system/mount_point.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <optional>

namespace qmfi_system {

namespace {

std::optional<std::uint64_t> mountOf(const std::filesystem::path& path) {
  struct statx status {};
  if (statx(AT_FDCWD, path.c_str(), AT_NO_AUTOMOUNT, STATX_MNT_ID, &status) != 0) return std::nullopt;
  return status.stx_mnt_id;
}

}  // namespace

std::string mountPointAbove(const std::string& path) {
  std::error_code error;
  std::filesystem::path place = std::filesystem::canonical(path, error);
  const std::optional<std::uint64_t> mount = error ? std::nullopt : mountOf(place);
  if (!mount) return {};
  while (place.has_relative_path() && mountOf(place.parent_path()) == mount) place = place.parent_path();
  return place;
}

}  // namespace qmfi_system
