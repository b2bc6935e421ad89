// Dates in names.
#include "cli/dated_name.h"

#include <array>
#include <iomanip>
#include <sstream>
#include <string_view>

namespace qmfi_host {

std::string datedName(const std::string& name, std::time_t now) {
  // Those that are made of digits and hyphens, which a name may have.
  constexpr std::string_view conversions = "YmdHMSF";
  std::tm local{};
  localtime_r(&now, &local);
  std::ostringstream dated;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const bool isConversion =
        name[i] == '%' && i + 1 < name.size() && conversions.find(name[i + 1]) != std::string_view::npos;
    if (!isConversion) {
      dated << name[i];
      continue;
    }
    const std::array<char, 3> format = {'%', name[++i], '\0'};
    dated << std::put_time(&local, format.data());
  }
  return dated.str();
}

}  // namespace qmfi_host
