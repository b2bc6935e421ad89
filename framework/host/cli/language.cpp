// Locale names.
#include "cli/language.h"

#include <cstdlib>

namespace qmfi_host {

std::string localeName(const std::string& language) {
  const std::string name = language.substr(0, language.find_first_of(".@"));
  return name == "C" || name == "POSIX" ? std::string() : name;
}

std::string userLanguage() {
  for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = secure_getenv(variable);
    if (value != nullptr && *value != '\0') return localeName(value);
  }
  return {};
}

}  // namespace qmfi_host
