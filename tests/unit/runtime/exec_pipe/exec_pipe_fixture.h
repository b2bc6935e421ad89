// What the tests of the command pipe share: a directory of scripts and one run with everything that came of it.
#ifndef EXEC_PIPE_FIXTURE_H
#define EXEC_PIPE_FIXTURE_H

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <string>
#include <vector>

#include "cfiexecpipe.h"
#include "support/temporary_directory.h"

namespace exec_pipe_test {

using Lines = std::vector<std::string>;

struct Outcome {
  int code = -1;
  Lines output;
  qmfi_pdk_4_4::EFiExecPipe error;
};

inline Outcome exec(const std::string& command, int timeoutSeconds = 30) {
  qmfi_pdk_4_4::CFiExecPipePosix pipe(1);
  Outcome run;
  run.code = pipe.Exec(command, run.output, "", timeoutSeconds, "", "", "");
  run.error = pipe.getLastError();
  return run;
}

class ExecPipe : public testing::Test {
 protected:
  // Whatever a test does, every child has been reaped when it ends.
  ~ExecPipe() override {
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }

  std::string path(const std::string& name) const { return m_directory.file(name); }

  // Writes a shell script and returns its path.
  std::string script(const std::string& text, const std::string& name = "script") const {
    std::string file = m_directory.write(name, "#!/bin/sh\n" + text);
    EXPECT_EQ(chmod(file.c_str(), 0700), 0);
    return file;
  }

 private:
  const TemporaryDirectory m_directory;
};

// Another action for SIGCHLD for as long as it lives.
class ChildSignalAction {
 public:
  ChildSignalAction(void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGCHLD, &action, &m_saved);
  }
  ~ChildSignalAction() { sigaction(SIGCHLD, &m_saved, nullptr); }
  ChildSignalAction(const ChildSignalAction&) = delete;
  ChildSignalAction& operator=(const ChildSignalAction&) = delete;

 private:
  struct sigaction m_saved {};
};

}  // namespace exec_pipe_test

#endif
