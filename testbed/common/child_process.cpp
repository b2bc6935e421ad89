// Runs another program and waits for it.
#include "common/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "common/checked.h"
#include "common/descriptor.h"

namespace testbed {

namespace {

constexpr int notStarted = 127;

// The two attribute records of posix_spawn.
class SpawnSettings {
 public:
  SpawnSettings() {
    posix_spawn_file_actions_init(&m_actions);
    posix_spawnattr_init(&m_attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&m_attributes, &none);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&m_actions);
    posix_spawnattr_destroy(&m_attributes);
  }

  void output(int descriptor) {
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
      posix_spawn_file_actions_adddup2(&m_actions, descriptor, stream);
    }
  }

  // The new process, or -1.
  pid_t start(const std::vector<std::string>& words) {
    pid_t process = -1;
    const auto arguments = argumentVector(words);
    return posix_spawn(&process, arguments[0], &m_actions, &m_attributes, arguments.data(), environ) == 0 ? process
                                                                                                          : -1;
  }

 private:
  posix_spawn_file_actions_t m_actions;
  posix_spawnattr_t m_attributes;
};

int statusOf(pid_t process) {
  if (process < 0) return notStarted;
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return notStarted;
  }
  return shellStatus(status);
}

}  // namespace

std::vector<char*> argumentVector(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const auto& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

int shellStatus(int waitStatus) {
  return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

int runProgram(const std::vector<std::string>& words) {
  return statusOf(SpawnSettings().start(words));
}

std::string programOutput(const std::vector<std::string>& words, int& status) {
  int ends[2];
  checked(pipe2(ends, O_CLOEXEC), "pipe");
  Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  SpawnSettings settings;
  settings.output(writer.get());
  const pid_t process = settings.start(words);
  writer.close();
  std::string text;
  char part[4096];
  for (ssize_t length; (length = read(reader.get(), part, sizeof part)) > 0;)
    text.append(part, static_cast<std::size_t>(length));
  status = statusOf(process);
  return text;
}

}  // namespace testbed
