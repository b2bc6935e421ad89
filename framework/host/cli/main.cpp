// qmfi, the command-line host of snapshot providers.
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "cli/command_line.h"
#include "cli/standard_streams.h"
#include "cli/terminal_output.h"

int main(int argc, char** argv) {
  qmfi_host::occupyClosedStreams();
  // A reader of the output that goes away must not end the host in the middle of its work.
  std::signal(SIGPIPE, SIG_IGN);
  const qmfi_host::TerminalOutput output(std::cout, STDOUT_FILENO);
  const qmfi_host::TerminalOutput errors(std::cerr, STDERR_FILENO);
  return qmfi_host::runCommandLine(argc, argv, std::cout, std::cerr, isatty(STDERR_FILENO) != 0);
}
