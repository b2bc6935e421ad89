// The terminal that the testbed was started on.
#include "launcher/terminal.h"

#include <unistd.h>

#include <csignal>

namespace testbed {

Terminal::Terminal()
    : m_ours(isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 && tcgetpgrp(STDIN_FILENO) == getpgrp()) {}

void Terminal::take() const {
  if (!m_ours) return;
  // Who asks from the background would be stopped.
  sigset_t stop;
  sigset_t previous;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  sigprocmask(SIG_BLOCK, &stop, &previous);
  tcsetpgrp(STDIN_FILENO, getpgrp());
  sigprocmask(SIG_SETMASK, &previous, nullptr);
}

}  // namespace testbed
