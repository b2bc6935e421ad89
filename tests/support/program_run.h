// Running programs from tests.
#ifndef SUPPORT_PROGRAM_RUN_H
#define SUPPORT_PROGRAM_RUN_H

#include <optional>
#include <string>
#include <vector>

#include "system/child_process.h"

namespace testbed_test {

// A program's end: its status as a shell reports it, and all it wrote to both its outputs.
struct Outcome {
  int status;
  std::string output;
};

// Runs words[0] (an absolute path) and waits for it. `environment`: "NAME=VALUE" texts in place of this process's own.
Outcome run(const std::vector<std::string>& words, const std::optional<std::vector<std::string>>& environment = {});

// A program that runs beside the test, with the test's environment. Its end is waited for at the latest when the object
// ends.
class RunningProgram {
 public:
  explicit RunningProgram(const std::vector<std::string>& words, const qmfi_system::ProgramStreams& streams = {});
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram() { wait(); }

  pid_t pid() const { return m_process.pid(); }
  void send(int signal) const;
  // Whether it has ended, waited for or not.
  bool hasEnded() const;
  // Waits until it is in a system call; false when it ends before. call: the call's number and its first arguments, as
  // the kernel tells them.
  bool waitUntilInCall(const std::string& call) const;
  // Waits for its end. The status as a shell reports it, 127 when it was not started.
  int wait();

 private:
  qmfi_system::ChildProcess m_process;
  std::optional<int> m_status;
};

}  // namespace testbed_test

#endif
