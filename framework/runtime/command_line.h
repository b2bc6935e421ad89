// Command lines of the command pipe: words between blanks, programs between lone bars, nothing quoted or expanded.
#ifndef COMMAND_LINE_H
#define COMMAND_LINE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qmfi_runtime {

// A program and its arguments; the first word names the program and is never missing.
using ProgramWords = std::vector<std::string>;

// Splits a command line into the programs of its pipeline, at least one. Blanks are the space and the tab. Nothing for
// a line without a program, with an empty stage, or with a NUL, which no argument of a program can hold.
std::optional<std::vector<ProgramWords>> parseCommandLine(std::string_view line);

}  // namespace qmfi_runtime

#endif
