// Telling what the reading of the settings files has found.
#include "doctor/settings_findings.h"

#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr const char* check = "qmfi config check";

}  // namespace

Findings settingsFindings(const SettingsFiles& files) {
  Findings findings;
  for (const FileError& error : files.errors) findings.push_back({Weight::problem, "settings", error.what(), check});
  for (const FileError& error : files.unknown) findings.push_back({Weight::notice, "settings", error.what(), check});
  if (findings.empty()) {
    findings.push_back({Weight::good, "settings", translate("settings files that are read: {0}", files.count)});
  }
  return findings;
}

}  // namespace qmfi_host
