// Starting, watching and stopping of the writer.
#include "writer_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
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
  m_progress = ends[0];
  start(ends[1]);
  close(ends[1]);
  constexpr int firstNumbers = 3;
  waitForNumbers(firstNumbers);
}

void WriterProcess::start(int progress) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "qmfs-demo-writer";
  constexpr int inherited = 3;
  const std::string number = std::to_string(inherited);
  const std::array<char*, 4> words = {const_cast<char*>(program.c_str()), m_log.data(),
                                      const_cast<char*>(number.c_str()), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, progress, inherited);
  const int failure = posix_spawn(&m_process, program.c_str(), &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw DemoError(program + " could not be started");
}

WriterProcess::~WriterProcess() {
  if (m_process > 0) {
    kill(m_process, SIGTERM);
    waitpid(m_process, nullptr, 0);
  }
  close(m_progress);
  unlink(m_log.c_str());
}

void WriterProcess::waitForNumbers(int count) {
  std::array<char, 4096> old;
  while (read(m_progress, old.data(), old.size()) > 0) {
  }
  for (int seen = 0; seen < count;) {
    pollfd end{m_progress, POLLIN, 0};
    char byte;
    if (poll(&end, 1, -1) < 0) continue;
    if (read(m_progress, &byte, 1) != 1) throw DemoError("the writer has ended");
    ++seen;
  }
}

}  // namespace demo
