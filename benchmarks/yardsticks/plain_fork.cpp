// Running a program in a copy of the process.
#include "yardsticks/plain_fork.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace bench {

int forkAndCapture(const std::vector<std::string>& words, std::string& output) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(ends[1]);
  std::array<char, 65536> buffer;
  for (ssize_t size = 1; size > 0;) {
    size = read(ends[0], buffer.data(), buffer.size());
    if (size > 0) output.append(buffer.data(), static_cast<std::size_t>(size));
  }
  close(ends[0]);
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace bench
