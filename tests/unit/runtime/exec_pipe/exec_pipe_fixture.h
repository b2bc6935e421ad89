// What the tests of the command pipe share: a directory of scripts and one run with everything that came of it.
#ifndef EXEC_PIPE_FIXTURE_H
#define EXEC_PIPE_FIXTURE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cfiexecpipe.h"

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
  ExecPipe() {
    std::string pattern = (std::filesystem::temp_directory_path() / "exec_pipe.XXXXXX").string();
    m_directory = mkdtemp(pattern.data());
  }

  // Whatever a test does, every child has been reaped when it ends.
  ~ExecPipe() override {
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    std::filesystem::remove_all(m_directory);
  }

  std::string path(const std::string& name) const { return m_directory + "/" + name; }

  // Writes a shell script and returns its path.
  std::string script(const std::string& text, const std::string& name = "script") const {
    const std::string file = path(name);
    std::ofstream(file) << "#!/bin/sh\n" << text;
    EXPECT_EQ(chmod(file.c_str(), 0700), 0);
    return file;
  }

 private:
  std::string m_directory;
};

}  // namespace exec_pipe_test

#endif
