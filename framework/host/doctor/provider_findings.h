// Whether the installed providers work.
#ifndef PROVIDER_FINDINGS_H
#define PROVIDER_FINDINGS_H

#include <string>
#include <vector>

#include "doctor/finding.h"
#include "provider/providers.h"

namespace qmfi_host {

// A finding for each name; each provider is started. names: those that are installed.
Findings providerFindings(Providers& providers, const std::vector<std::string>& names);

}  // namespace qmfi_host

#endif
