// Telling what lies in the directory of hooks.
#include "doctor/hook_findings.h"

#include "failure/host_error.h"
#include "snapshot/hook_directory.h"

namespace qmfi_host {

Findings hookFindings(const std::filesystem::path& directory) {
  Findings findings;
  try {
    const HookDirectory found = hooksIn(directory);
    const std::string count = std::to_string(found.programs.size());
    findings.push_back(
        {Weight::good, "hooks", directory.string() + " has programs that run around a freeze: " + count});
    for (const std::string& path : found.ignored) {
      const std::string why =
          " is not run: a hook is an executable file named by letters, digits, \"_\" and \"-\" only";
      findings.push_back({Weight::notice, "hooks", path + why});
    }
  } catch (const HostError& error) {
    findings.push_back({Weight::problem, "hooks", error.what()});
  }
  return findings;
}

}  // namespace qmfi_host
