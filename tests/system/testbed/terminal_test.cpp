// A testbed that is started on a terminal: who gets what is typed there. Runs outside the testbed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "build_tree.h"

namespace testbed_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const std::string launcher = QMFI_SOURCE_DIR "/testbed/qmfs-testbed";
const std::string interrupt = "\x03";
const std::string stop = "\x1a";

// A shell with a terminal of its own, whose other side the test holds.
class TerminalSession {
 public:
  explicit TerminalSession(const std::string& script) {
    m_shell = forkpty(&m_terminal, nullptr, nullptr, nullptr);
    if (m_shell != 0) return;
    setenv("QMFS_BUILD_DIR", QMFI_BINARY_DIR, 1);
    execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
    _exit(127);
  }
  TerminalSession(const TerminalSession&) = delete;
  TerminalSession& operator=(const TerminalSession&) = delete;
  ~TerminalSession() {
    if (m_terminal >= 0) close(m_terminal);
    if (m_shell > 0) kill(m_shell, SIGKILL);
    if (m_shell > 0) waitpid(m_shell, nullptr, 0);
  }

  // Waits until `text` has been shown; false when it never will be.
  bool shows(const std::string& text) {
    while (m_shown.find(text) == std::string::npos) {
      if (!readMore()) return false;
    }
    return true;
  }

  void type(const std::string& text) const {
    EXPECT_EQ(write(m_terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  // Waits for the end of all that is shown.
  std::string shown() {
    while (readMore()) {
    }
    return m_shown;
  }

  // Waits for the shell's end; who still has the terminal then is hung up.
  int status() {
    shown();
    close(m_terminal);
    m_terminal = -1;
    int status = 0;
    EXPECT_EQ(waitpid(m_shell, &status, 0), m_shell);
    m_shell = -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  // False when nobody has the terminal any more, or twenty seconds have passed.
  bool readMore() {
    if (m_terminal < 0) return false;
    pollfd readable{m_terminal, POLLIN, 0};
    char part[4096];
    const ssize_t length = poll(&readable, 1, 20'000) == 1 ? read(m_terminal, part, sizeof part) : -1;
    if (length > 0) m_shown.append(part, static_cast<std::size_t>(length));
    return length > 0;
  }

  int m_terminal = -1;
  pid_t m_shell = -1;
  std::string m_shown;
};

TEST(Terminal, WhatIsTypedThereGoesToTheCommand) {
  TerminalSession session("stty -echo; " + launcher + " -- sh -c 'echo ready; read line; echo got $line'");
  ASSERT_TRUE(session.shows("ready\r\n")) << session.shown();
  session.type("text\n");
  EXPECT_EQ(session.status(), 0);
  EXPECT_THAT(session.shown(), EndsWith("got text\r\n"));
}

TEST(Terminal, AnInterruptIsTheCommandsAndNotTheTestbeds) {
  TerminalSession session(launcher + " -- sh -c 'trap \"exit 3\" INT; echo ready; read line'");
  ASSERT_TRUE(session.shows("ready\r\n")) << session.shown();
  session.type(interrupt);
  EXPECT_EQ(session.status(), 3);
}

TEST(Terminal, ACommandIsNotStoppedWhereNobodyWouldWakeIt) {
  TerminalSession session(launcher + " -- sh -c 'trap \"exit 3\" INT; echo ready; read line'");
  ASSERT_TRUE(session.shows("ready\r\n")) << session.shown();
  session.type(stop + interrupt);
  EXPECT_EQ(session.status(), 3);
}

TEST(Terminal, AShellInsideControlsItsJobs) {
  TerminalSession session(launcher + " -- env PS1= LC_ALL=C bash --norc --noediting -i");
  session.type("sh -c 'echo star''ted; exec sleep 1000'\n");
  ASSERT_TRUE(session.shows("started")) << session.shown();
  session.type(stop);
  ASSERT_TRUE(session.shows("Stopped")) << session.shown();
  session.type("exit 4\nexit 4\n");
  EXPECT_EQ(session.status(), 4);
  EXPECT_THAT(session.shown(), Not(HasSubstr("no job control")));
}

TEST(Terminal, TheCallerHasItBackAtTheEnd) {
  TerminalSession session("stty -echo; " + launcher + " -- true; echo ready; read line; echo got $line");
  ASSERT_TRUE(session.shows("ready\r\n")) << session.shown();
  session.type("text\n");
  EXPECT_EQ(session.status(), 0);
  EXPECT_THAT(session.shown(), EndsWith("got text\r\n"));
}

TEST(Terminal, APagerBehindTheTestbedKeepsIt) {
  TerminalSession session("stty -echo; " + launcher + " -- sh -c 'echo ready; exec sleep 1000' | (" +
                          "read line; echo $line; read line </dev/tty; echo got $line)");
  ASSERT_TRUE(session.shows("ready")) << session.shown();
  session.type("text\n");
  ASSERT_TRUE(session.shows("got text")) << session.shown();
  session.type(interrupt);
  EXPECT_EQ(session.status(), 128 + SIGINT);
}

}  // namespace
}  // namespace testbed_test
