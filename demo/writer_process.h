// The writer, as a process beside the demonstration.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "ledger.h"

namespace demo {

class WriterProcess {
 public:
  // Starts it and waits for its first numbers. Throws DemoError.
  WriterProcess();
  WriterProcess(const WriterProcess&) = delete;
  WriterProcess& operator=(const WriterProcess&) = delete;
  // Stops it, which takes until a file system that it waits for is thawed.
  ~WriterProcess();

  // Waits until it has completed some more numbers in all three file systems. Throws DemoError when it has ended.
  void waitForNumbers(int count);

  // What it has completed so far.
  std::vector<LogEntry> log() const { return readLog(m_log); }

 private:
  void start(int progress);

  std::string m_log;
  int m_progress;
  pid_t m_process = -1;
};

}  // namespace demo
