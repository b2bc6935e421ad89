// A program run by the command pipe, in hosts of little and of much memory.
//
// Each host is a process of this program: it holds its memory and runs a batch in either way whenever it is told to. So
// the hosts and the ways are measured in turn.
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "cfiexecpipe.h"
#include "comparison.h"
#include "yardsticks/plain_fork.h"
#include "yardsticks/plain_spawn.h"

namespace {

constexpr const char* program = "/bin/echo";
constexpr const char* spawnName = "posix_spawn, pipe, deadline";
constexpr std::size_t leastMegabytes = 10;
constexpr std::size_t mostMegabytes = 4096;
constexpr int repetitions = 75;
constexpr int forkRepetitions = 9;
constexpr int runsInBatch = 5;
constexpr int timeoutSeconds = 600;

using Clock = std::chrono::steady_clock;

enum class Way : char { pipe = 'p', spawn = 's', fork = 'f' };

bool runByPipe() {
  std::vector<std::string> output;
  qmfi_pdk_4_4::CFiExecPipePosix pipe(1);
  return pipe.Exec(std::string(program) + " hello", output, "", timeoutSeconds, "", "", "") == 0;
}

bool runBySpawn() {
  std::string output;
  return bench::spawnAndCapture({{program, "hello"}}, output, std::chrono::seconds(timeoutSeconds)) == 0;
}

bool runByFork() {
  std::string output;
  return bench::forkAndCapture({program, "hello"}, output) == 0;
}

bool runBy(Way way) {
  switch (way) {
    case Way::pipe:
      return runByPipe();
    case Way::spawn:
      return runBySpawn();
    case Way::fork:
      return runByFork();
  }
  return false;
}

// Microseconds a run.
double timeBatch(Way way) {
  const Clock::time_point begin = Clock::now();
  for (int run = 0; run < runsInBatch; ++run) {
    if (!runBy(way)) throw std::runtime_error("a program did not run");
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
  explicit Host(std::size_t megabytes) : m_megabytes(megabytes) {
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

  std::size_t megabytes() const { return m_megabytes; }

  double time(Way way) {
    double answer = 0;
    if (write(m_requests, &way, 1) != 1 || read(m_answers, &answer, sizeof answer) != sizeof answer) {
      throw std::runtime_error("a host has failed");
    }
    return answer;
  }

 private:
  std::size_t m_megabytes;
  int m_requests;
  int m_answers;
  pid_t m_process = -1;
};

// What was measured in one host.
struct Times {
  std::vector<double> pipe;
  std::vector<double> spawn;
  std::vector<double> spawnAgain;
  std::vector<double> fork;
};

// Every way in every host once, in an order that is never the same: what runs first finds other caches than what runs
// last.
void measureAll(std::list<Host>& hosts, std::map<std::size_t, Times>& times, std::mt19937& order) {
  std::vector<std::function<void()>> measurements;
  for (Host& host : hosts) {
    Times& kept = times[host.megabytes()];
    measurements.emplace_back([&] { kept.pipe.push_back(host.time(Way::pipe)); });
    measurements.emplace_back([&] { kept.spawn.push_back(host.time(Way::spawn)); });
    measurements.emplace_back([&] { kept.spawnAgain.push_back(host.time(Way::spawn)); });
  }
  std::shuffle(measurements.begin(), measurements.end(), order);
  for (const auto& measure : measurements) measure();
}

}  // namespace

int main(int count, char** words) {
  if (count == 3 && std::string(words[1]) == "--host") return serve(std::stoul(words[2]));
  if (count != 2) return 2;
  std::list<Host> hosts;
  std::map<std::size_t, Times> times;
  for (const std::size_t megabytes : {leastMegabytes, std::size_t{100}, std::size_t{1000}, mostMegabytes}) {
    hosts.emplace_back(megabytes).time(Way::pipe);
  }
  std::mt19937 order;
  for (int repetition = 0; repetition < repetitions; ++repetition) measureAll(hosts, times, order);
  // By themselves, since a copy of much memory leaves the processor's caches to nobody else.
  for (int repetition = 0; repetition < forkRepetitions; ++repetition) {
    for (Host& host : hosts) times[host.megabytes()].fork.push_back(host.time(Way::fork));
  }
  std::vector<bench::Comparison> results;
  for (const auto& [megabytes, host] : times) {
    const std::string what = "program run, host of " + std::to_string(megabytes) + " MB";
    const bench::PlotPlace place{"start", "", static_cast<double>(megabytes)};
    bench::Comparison comparison{"6", what, spawnName, "us", host.pipe, host.spawn, {}, 0, place};
    if (megabytes == leastMegabytes || megabytes == mostMegabytes) comparison.goal = 1.05;
    results.push_back(comparison);
    results.push_back({"6", what, "fork, pipe", "us", host.pipe, host.fork, {}, 0, place});
  }
  const Times& least = times[leastMegabytes];
  results.push_back(
      {"6", "program run, host of 4096 MB", "host of 10 MB", "us", times[mostMegabytes].pipe, least.pipe, 1.1});
  results.push_back(
      {"A/A", std::string("program run: ") + spawnName, "itself", "us", least.spawnAgain, least.spawn, {}});
  bench::writeComparisons(words[1], results);
  return 0;
}
