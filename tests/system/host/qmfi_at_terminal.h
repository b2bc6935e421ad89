// A qmfi that somebody at a terminal looks at.
#ifndef QMFI_AT_TERMINAL_H
#define QMFI_AT_TERMINAL_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "support/program_run.h"

namespace host_test {

// Runs /usr/bin/qmfi at a terminal of its own, which does not echo; its standard output goes nowhere.
class QmfiAtTerminal {
 public:
  explicit QmfiAtTerminal(const std::vector<std::string>& words);
  QmfiAtTerminal(const QmfiAtTerminal&) = delete;
  QmfiAtTerminal& operator=(const QmfiAtTerminal&) = delete;
  ~QmfiAtTerminal();

  // Types what the terminal may take for a command: "\x03" is Ctrl-C.
  void type(const std::string& text) const;

  // Waits for its end. Returns the status as a shell reports it, and all that was shown. Called once.
  testbed_test::Outcome wait();

 private:
  int m_terminal = -1;
  pid_t m_process;
};

}  // namespace host_test

#endif
