// A program run by the command pipe, in hosts of little and of much memory.
//
// Each host is a process of this program: it holds its memory and runs a batch in either way whenever it is told to. So
// the hosts and the ways are measured in turn.
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cfiexecpipe.h"
#include "comparison.h"
#include "yardsticks/plain_spawn.h"

namespace {

constexpr const char* program = "/bin/echo";
constexpr int repetitions = 75;
constexpr int runsInBatch = 5;
constexpr int timeoutSeconds = 600;

using Clock = std::chrono::steady_clock;

enum class Way : char { pipe = 'p', spawn = 's' };

bool runByPipe() {
  std::vector<std::string> output;
  qmfi_pdk_4_4::CFiExecPipePosix pipe(1);
  return pipe.Exec(std::string(program) + " hello", output, "", timeoutSeconds, "", "", "") == 0;
}

bool runBySpawn() {
  std::string output;
  return bench::spawnAndCapture({{program, "hello"}}, output, std::chrono::seconds(timeoutSeconds)) == 0;
}

// Microseconds a run.
double timeBatch(Way way) {
  const Clock::time_point begin = Clock::now();
  for (int run = 0; run < runsInBatch; ++run) {
    if (!(way == Way::pipe ? runByPipe() : runBySpawn())) throw std::runtime_error("a program did not run");
  }
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / runsInBatch;
}

// What a host does: batches on request, until there are no more requests.
int serve(std::size_t megabytes) {
  const std::size_t bytes = megabytes << 20;
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (memory == MAP_FAILED) return 1;
  for (char way; read(STDIN_FILENO, &way, 1) == 1;) {
    const double time = timeBatch(static_cast<Way>(way));
    if (write(STDOUT_FILENO, &time, sizeof time) != sizeof time) return 1;
  }
  return 0;
}

class Host {
 public:
  explicit Host(std::size_t megabytes) {
    int requests[2];
    int answers[2];
    if (pipe2(requests, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) throw std::runtime_error("no pipes");
    m_requests = requests[1];
    m_answers = answers[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, requests[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
    std::string size = std::to_string(megabytes);
    char* words[] = {const_cast<char*>("/proc/self/exe"), const_cast<char*>("--host"), size.data(), nullptr};
    const int error = posix_spawn(&m_process, words[0], &actions, nullptr, words, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(requests[0]);
    close(answers[1]);
    if (error != 0) throw std::runtime_error("no host process");
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() {
    close(m_requests);
    close(m_answers);
    waitpid(m_process, nullptr, 0);
  }

  double time(Way way) {
    double answer = 0;
    if (write(m_requests, &way, 1) != 1 || read(m_answers, &answer, sizeof answer) != sizeof answer) {
      throw std::runtime_error("a host has failed");
    }
    return answer;
  }

 private:
  int m_requests;
  int m_answers;
  pid_t m_process = -1;
};

}  // namespace

int main(int count, char** words) {
  if (count == 3 && std::string(words[1]) == "--host") return serve(std::stoul(words[2]));
  if (count != 2) return 2;
  Host small(10);
  Host large(4096);
  std::vector<double> smallPipe;
  std::vector<double> smallSpawn;
  std::vector<double> smallSpawnAgain;
  std::vector<double> largePipe;
  std::vector<double> largeSpawn;
  for (Host* const host : {&small, &large}) host->time(Way::pipe);
  for (int repetition = 0; repetition < repetitions; ++repetition) {
    smallPipe.push_back(small.time(Way::pipe));
    smallSpawn.push_back(small.time(Way::spawn));
    largePipe.push_back(large.time(Way::pipe));
    largeSpawn.push_back(large.time(Way::spawn));
    smallSpawnAgain.push_back(small.time(Way::spawn));
  }
  const std::string spawn = "posix_spawn, pipe, deadline";
  bench::writeComparisons(words[1],
                          {{"6", "program run, host of 10 MB", spawn, "us", smallPipe, smallSpawn, 1.05},
                           {"6", "program run, host of 4 GB", spawn, "us", largePipe, largeSpawn, 1.05},
                           {"6", "program run, host of 4 GB", "host of 10 MB", "us", largePipe, smallPipe, 1.1},
                           {"A/A", "program run: " + spawn, "itself", "us", smallSpawnAgain, smallSpawn, {}}});
  return 0;
}
