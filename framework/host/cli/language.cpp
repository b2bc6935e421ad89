// Locale names, and the texts that belong to them.
#include "cli/language.h"

#include <unistd.h>

#include "failure/host_error.h"
#include "provider/trusted_files.h"
#include "settings/setting_table.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

std::string localeName(const std::string& language) {
  const std::string name = language.substr(0, language.find_first_of(".@"));
  return name == "C" || name == "POSIX" ? std::string() : name;
}

namespace {

bool areTrusted(const std::vector<std::filesystem::path>& files) {
  try {
    for (const std::filesystem::path& file : files) requireTrusted(file);
    return true;
  } catch (const HostError&) {
    return false;
  }
}

}  // namespace

void useLanguage(const std::string& locale) {
  const bool isBelieved = locale.empty() || geteuid() != 0 || areTrusted(filesOfTexts("qmfi"));
  chooseLanguage(isBelieved ? locale : std::string(), textsOf("qmfi"));
}

void useLanguageOfEnvironment() {
  const SettingValues variables = settingsOfVariables();
  const auto language = variables.find("language");
  const auto* const name = language == variables.end() ? nullptr : std::get_if<std::string>(&language->second.data);
  useLanguage(name == nullptr ? std::string() : localeName(*name));
}

}  // namespace qmfi_host
