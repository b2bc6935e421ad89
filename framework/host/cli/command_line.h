// Running qmfi: the command line is read, one command does its work, failures become messages and an exit status.
#ifndef COMMAND_LINE_H
#define COMMAND_LINE_H

#include <ostream>
#include <span>

#include "cli/command.h"

namespace qmfi_host {

// words: the command line with the program's name at its head. Results go to out, failures and progress to errors.
// isTerminal: whether that leads to a terminal, which is told of progress unless the words say otherwise. Returns the
// exit status: success, failure or wrongUsage.
int runCommandLine(int count, const char* const* words, std::ostream& out, std::ostream& errors,
                   bool isTerminal = false);

}  // namespace qmfi_host

#endif
