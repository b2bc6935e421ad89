// Splitting of command lines.
#include "command_line.h"

#include <algorithm>

namespace qmfi_runtime {

namespace {

constexpr std::string_view blanks = " \t";
constexpr std::string_view pipeBar = "|";

}  // namespace

std::optional<std::vector<ProgramWords>> parseCommandLine(std::string_view line) {
  if (line.find('\0') != std::string_view::npos) return std::nullopt;
  std::vector<ProgramWords> programs(1);
  for (auto begin = line.find_first_not_of(blanks); begin != std::string_view::npos;
       begin = line.find_first_not_of(blanks, begin)) {
    const auto end = std::min(line.find_first_of(blanks, begin), line.size());
    const std::string_view word = line.substr(begin, end - begin);
    if (word == pipeBar) {
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
