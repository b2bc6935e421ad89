// Making of the state directory.
#include "state/state_directory.h"

#include <sys/stat.h>

#include <cerrno>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

void makeStateDirectory(const fs::path& directory) {
  const std::string what = translate("the state directory {0} cannot be used", directory.string());
  std::error_code error;
  const fs::path withoutSlash = directory.has_filename() ? directory : directory.parent_path();
  fs::create_directories(withoutSlash.parent_path(), error);
  if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) throw systemError(what).about(directory.string());
  if (!fs::is_directory(directory, error)) throw systemError(what, ENOTDIR).about(directory.string());
}

fs::path databaseIn(const fs::path& directory) {
  return directory / "state.db";
}

void requireOutside(const fs::path& directory, const std::vector<std::string>& mountPoints) {
  // A directory that is still to be made will lie where the nearest one above it lies.
  fs::path present = fs::absolute(directory);
  while (!fs::exists(present) && present.has_relative_path()) present = present.parent_path();
  struct stat own {};
  if (stat(present.c_str(), &own) != 0) {
    throw systemError(translate("{0} cannot be read", present.string())).about(present.string());
  }
  for (const std::string& mountPoint : mountPoints) {
    struct stat frozen {};
    // What is no mount point is for the provider to refuse.
    if (stat(mountPoint.c_str(), &frozen) != 0 || own.st_dev != frozen.st_dev) continue;
    throw HostError(translate("the state directory {0} lies on the file system of {1}, which is to be frozen; "
                              "--state-dir names another one",
                              directory.string(), mountPoint))
        .about(directory.string())
        .advise(translate("name another one by --state-dir"));
  }
}

}  // namespace qmfi_host
