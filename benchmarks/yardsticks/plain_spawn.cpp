// Running a program by the shortest safe way.
#include "yardsticks/plain_spawn.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

// Without an input it reads nothing.
pid_t spawn(const Words& words, int input, int output) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  char* environment[] = {const_cast<char*>("LC_ALL=C"), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (input >= 0) {
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  } else {
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  }
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
  pid_t child = -1;
  const int error = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environment);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : -1;
}

// Reads until the end of the stream; false at the deadline.
bool readAll(int input, std::string& output, Clock::time_point deadline) {
  std::array<char, 65536> buffer;
  pollfd watched{input, POLLIN, 0};
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0 || poll(&watched, 1, static_cast<int>(left)) <= 0) return false;
    const ssize_t size = read(input, buffer.data(), buffer.size());
    if (size <= 0) return size == 0;
    output.append(buffer.data(), static_cast<std::size_t>(size));
  }
}

}  // namespace

int spawnAndCapture(const std::vector<Words>& programs, std::string& output, std::chrono::milliseconds time) {
  const Clock::time_point deadline = Clock::now() + time;
  std::vector<pid_t> children;
  int input = -1;
  for (const Words& words : programs) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) break;
    children.push_back(spawn(words, input, ends[1]));
    close(ends[1]);
    if (input >= 0) close(input);
    input = ends[0];
  }
  const bool ended = readAll(input, output, deadline);
  close(input);
  int status = -1;
  for (const pid_t child : children) {
    if (child <= 0) continue;
    if (!ended) kill(child, SIGKILL);
    if (waitpid(child, &status, 0) != child) status = -1;
  }
  const bool last = children.size() == programs.size() && children.back() > 0;
  return last && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace bench
