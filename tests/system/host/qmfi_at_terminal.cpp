// Starting qmfi at a pseudo terminal, and reading what is shown there.
#include "qmfi_at_terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>

namespace host_test {

namespace {

constexpr const char* program = "/usr/bin/qmfi";
constexpr int notStarted = 127;
constexpr int endedBySignal = 128;

// In the child, whose standard streams are the terminal.
[[noreturn]] void becomeQmfi(std::vector<std::string> words) {
  termios settings{};
  tcgetattr(STDIN_FILENO, &settings);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(STDIN_FILENO, TCSANOW, &settings);
  dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
  words.insert(words.begin(), program);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(program, arguments.data());
  _exit(notStarted);
}

}  // namespace

QmfiAtTerminal::QmfiAtTerminal(const std::vector<std::string>& words)
    : m_process(forkpty(&m_terminal, nullptr, nullptr, nullptr)) {
  if (m_process == 0) becomeQmfi(words);
}

QmfiAtTerminal::~QmfiAtTerminal() {
  close(m_terminal);
}

void QmfiAtTerminal::type(const std::string& text) const {
  EXPECT_EQ(write(m_terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

testbed_test::Outcome QmfiAtTerminal::wait() {
  std::string shown;
  std::array<char, 256> part{};
  for (ssize_t length = 0; (length = read(m_terminal, part.data(), part.size())) > 0;) {
    shown.append(part.data(), static_cast<std::size_t>(length));
  }
  // A line feed of a program is shown as one with a carriage return.
  std::erase(shown, '\r');
  int status = 0;
  EXPECT_EQ(waitpid(m_process, &status, 0), m_process);
  return {WIFSIGNALED(status) ? endedBySignal + WTERMSIG(status) : WEXITSTATUS(status), shown};
}

}  // namespace host_test
