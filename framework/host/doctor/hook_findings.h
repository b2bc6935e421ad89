// Which programs run around a freeze.
#ifndef HOOK_FINDINGS_H
#define HOOK_FINDINGS_H

#include <filesystem>

#include "doctor/finding.h"

namespace qmfi_host {

// What lies in the directory of hooks: which run, which do not, and whether they keep snapshots from being taken.
Findings hookFindings(const std::filesystem::path& directory);

}  // namespace qmfi_host

#endif
