// Splitting of command lines.
#include "command_line.h"

#include <algorithm>

namespace qmfi_runtime {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kBar = "|";

}  // namespace

std::optional<std::vector<ProgramWords>> parseCommandLine(std::string_view line) {
  if (line.find('\0') != std::string_view::npos) return std::nullopt;
  std::vector<ProgramWords> programs(1);
  for (auto begin = line.find_first_not_of(kBlanks); begin != std::string_view::npos;
       begin = line.find_first_not_of(kBlanks, begin)) {
    const auto end = std::min(line.find_first_of(kBlanks, begin), line.size());
    const std::string_view word = line.substr(begin, end - begin);
    if (word == kBar) {
      programs.emplace_back();
    } else {
      programs.back().emplace_back(word);
    }
    begin = end;
  }
  const bool complete =
      std::none_of(programs.begin(), programs.end(), [](const ProgramWords& words) { return words.empty(); });
  return complete ? std::optional(std::move(programs)) : std::nullopt;
}

}  // namespace qmfi_runtime
