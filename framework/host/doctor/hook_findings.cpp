// Telling what lies in the directory of hooks.
#include "doctor/hook_findings.h"

#include "failure/host_error.h"
#include "snapshot/hook_directory.h"
#include "texts/translation.h"

namespace qmfi_host {

Findings hookFindings(const std::filesystem::path& directory) {
  Findings findings;
  try {
    const HookDirectory found = hooksIn(directory);
    findings.push_back(
        {Weight::good, "hooks",
         translate("{0} has programs that run around a freeze: {1}", directory.string(), found.programs.size())});
    for (const std::string& path : found.ignored) {
      findings.push_back(
          {Weight::notice, "hooks",
           translate("{0} is not run: a hook is an executable file named by letters, digits, \"_\" and \"-\" only",
                     path)});
    }
  } catch (const HostError& error) {
    findings.push_back({Weight::problem, "hooks", error.what()});
  }
  return findings;
}

}  // namespace qmfi_host
