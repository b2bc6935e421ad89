// The writer, as a process beside the demonstration.
#ifndef WRITER_PROCESS_H
#define WRITER_PROCESS_H

#include <string>
#include <vector>

#include "ledger.h"
#include "system/child_process.h"

namespace demo {

// The writer, from its start to the end of this object.
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
  void start(const qmfi_system::Descriptor& progress);

  std::string m_log;
  qmfi_system::Descriptor m_progress;
  qmfi_system::ChildProcess m_process;
};

}  // namespace demo

#endif
