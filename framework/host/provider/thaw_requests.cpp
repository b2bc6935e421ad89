// Reading of all descriptor files.
#include "provider/thaw_requests.h"

#include <linux/fs.h>

#include <set>
#include <system_error>

#include "failure/host_error.h"
#include "provider/provider_descriptor.h"

namespace qmfi_host {

namespace fs = std::filesystem;

std::vector<unsigned long> installedThawRequests(const fs::path& directory) {
  std::set<unsigned long> requests;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (entry->path().extension() != ".provider") continue;
    tryOrReport([&] { requests.insert(readDescriptor(entry->path()).thawRequest); });
  }
  requests.erase(FITHAW);
  std::vector<unsigned long> inOrder(requests.begin(), requests.end());
  inOrder.push_back(FITHAW);
  return inOrder;
}

}  // namespace qmfi_host
