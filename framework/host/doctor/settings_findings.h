// Whether the settings files are as they should be.
#ifndef SETTINGS_FINDINGS_H
#define SETTINGS_FINDINGS_H

#include "doctor/finding.h"
#include "settings/settings_files.h"

namespace qmfi_host {

// A problem for everything that commands fail for, a notice for each key that nobody knows; one good finding where
// there is neither.
Findings settingsFindings(const SettingsFiles& files);

}  // namespace qmfi_host

#endif
