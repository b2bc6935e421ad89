// Running qmfi: the command line is read, one command does its work, failures become messages and an exit status.
#ifndef COMMAND_LINE_H
#define COMMAND_LINE_H

#include <ostream>
#include <span>

#include "cli/command.h"

namespace qmfi_host {

// words: the command line with the program's name at its head. Results go to out, failures to errors. Returns the exit
// status: success, failure or wrongUsage.
int runCommandLine(int count, const char* const* words, std::ostream& out, std::ostream& errors);

}  // namespace qmfi_host

#endif
