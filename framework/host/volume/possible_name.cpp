// Asking for the limits.
#include "volume/possible_name.h"

#include <unistd.h>

#include <climits>
#include <filesystem>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

void requirePossibleName(const std::string& path) {
  const std::filesystem::path asked = path;
  const long told = pathconf(asked.parent_path().c_str(), _PC_NAME_MAX);
  const auto longest = static_cast<std::size_t>(told > 0 ? told : NAME_MAX);
  // The byte that ends it counts.
  if (asked.filename().native().size() <= longest && path.size() < PATH_MAX) return;
  throw HostError(
      translate("the name {0}, which the snapshot needs, is too long: between slashes it may have {1} bytes, and {2} "
                "in all; nothing was frozen",
                path, longest, PATH_MAX - 1));
}

}  // namespace qmfi_host
