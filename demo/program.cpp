// posix_spawn with both outputs in one pipe.
#include "program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "demo_error.h"

namespace demo {

namespace {

std::string readAll(int descriptor) {
  std::string text;
  std::array<char, 4096> part;
  for (;;) {
    const ssize_t length = read(descriptor, part.data(), part.size());
    if (length == 0 || (length < 0 && errno != EINTR)) return text;
    if (length > 0) text.append(part.data(), static_cast<std::size_t>(length));
  }
}

}  // namespace

Outcome runProgram(const std::vector<std::string>& words) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw DemoError("no pipe for " + words[0]);
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const auto& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  pid_t process = -1;
  const int failure = posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  Outcome outcome{failure == 0 ? 0 : 127, readAll(ends[0])};
  close(ends[0]);
  int status = 0;
  if (failure == 0 && waitpid(process, &status, 0) == process) {
    outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }
  return outcome;
}

std::string mustRun(const std::vector<std::string>& words) {
  Outcome outcome = runProgram(words);
  if (outcome.status == 0) return std::move(outcome.output);
  std::string line;
  for (const auto& word : words) line += word + " ";
  throw DemoError(line + "failed with status " + std::to_string(outcome.status) + ":\n" + outcome.output);
}

}  // namespace demo
