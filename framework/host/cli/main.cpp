// qmfi, the command-line host of snapshot providers.
#include <csignal>
#include <iostream>

#include "cli/command_line.h"

int main(int argc, char** argv) {
  // A reader of the output that goes away must not end the host in the middle of its work.
  std::signal(SIGPIPE, SIG_IGN);
  return qmfi_host::runCommandLine(argc, argv, std::cout, std::cerr);
}
