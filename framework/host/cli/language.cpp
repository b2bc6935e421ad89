// Locale names.
#include "cli/language.h"

namespace qmfi_host {

std::string localeName(const std::string& language) {
  const std::string name = language.substr(0, language.find_first_of(".@"));
  return name == "C" || name == "POSIX" ? std::string() : name;
}

}  // namespace qmfi_host
