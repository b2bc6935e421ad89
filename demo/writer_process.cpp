// Starting, watching and stopping of the writer.
#include "writer_process.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "demo_error.h"

namespace demo {

namespace {

// In memory, so that logging neither waits for a frozen file system nor disturbs the numbers.
std::string makeLog() {
  std::string path = "/dev/shm/qmfs-demo-XXXXXX";
  const int file = mkostemp(path.data(), O_CLOEXEC);
  if (file < 0) throw DemoError("no log for the writer");
  close(file);
  return path;
}

}  // namespace

WriterProcess::WriterProcess() : m_log(makeLog()) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw DemoError("no pipe for the writer");
  m_progress.reset(ends[0]);
  qmfi_system::Descriptor progress(ends[1]);
  start(progress);
  progress.reset();
  constexpr int firstNumbers = 3;
  waitForNumbers(firstNumbers);
}

void WriterProcess::start(const qmfi_system::Descriptor& progress) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "qmfs-demo-writer";
  int error = 0;
  const auto started = m_process.start({program, m_log, "3"}, environ, {.fourth = progress.get()},
                                       qmfi_system::ProcessGroup::callers, error);
  if (started != qmfi_system::ChildProcess::StartResult::started) throw DemoError(program + " could not be started");
}

WriterProcess::~WriterProcess() {
  if (m_process.started()) {
    int status = 0;
    kill(m_process.pid(), SIGTERM);
    m_process.waitAndReap(status);
  }
  unlink(m_log.c_str());
}

void WriterProcess::waitForNumbers(int count) {
  std::array<char, 4096> old;
  while (read(m_progress.get(), old.data(), old.size()) > 0) {
  }
  for (int seen = 0; seen < count;) {
    pollfd end{m_progress.get(), POLLIN, 0};
    char byte;
    if (poll(&end, 1, -1) < 0) continue;
    if (read(m_progress.get(), &byte, 1) != 1) throw DemoError("the writer has ended");
    ++seen;
  }
}

}  // namespace demo
