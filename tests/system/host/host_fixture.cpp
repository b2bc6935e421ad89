// Calling qmfi and reading what it prints.
#include "host_fixture.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>
#include <utility>

namespace host_test {

namespace {

constexpr const char* qmfiProgram = "/usr/bin/qmfi";

Snapshot snapshotOf(const nlohmann::json& json) {
  Snapshot snapshot{json.at("id"), json.at("name"), json.at("frozen_us"), {}};
  for (const auto& node : json.at("nodes")) {
    snapshot.nodes.push_back(
        {node.at("mount_point"), node.at("device"), node.at("snapshot_device"), node.at("alternate")});
  }
  return snapshot;
}

int statusOf(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

bool hasEnded(pid_t process) {
  siginfo_t end{};
  return waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid != 0;
}

// call: its number and the first arguments, as the kernel tells them. False when the process ends before.
bool waitUntilInCall(pid_t process, const std::string& call) {
  const std::string current = "/proc/" + std::to_string(process) + "/syscall";
  while (!testbed_test::textOf(current).starts_with(call)) {
    if (hasEnded(process)) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace

testbed_test::Outcome qmfi(std::vector<std::string> words, const std::vector<std::string>& variables) {
  words.insert(words.begin(), qmfiProgram);
  return testbed_test::run(words, variables);
}

BackgroundQmfi::BackgroundQmfi(std::vector<std::string> words) {
  words.insert(words.begin(), qmfiProgram);
  std::vector<char*> pointers;
  for (const auto& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  posix_spawn(&m_process, qmfiProgram, nullptr, nullptr, pointers.data(), environ);
}

BackgroundQmfi::~BackgroundQmfi() {
  wait();
}

void BackgroundQmfi::send(int signal) const {
  kill(m_process, signal);
}

bool BackgroundQmfi::waitUntilItPauses() const {
  return waitUntilInCall(m_process, std::to_string(SYS_clock_nanosleep) + " ");
}

int BackgroundQmfi::wait() {
  if (!m_status) m_status = statusOf(m_process);
  return *m_status;
}

HeldProgram::HeldProgram(const std::vector<std::string>& words, By by, int openDescriptors) : m_by(by) {
  EXPECT_EQ(pipe2(m_pipe, O_CLOEXEC), 0);
  const bool byInput = by == By::input;
  if (!byInput) {
    fcntl(m_pipe[1], F_SETPIPE_SZ, 1);
    const std::vector<char> fill(static_cast<std::size_t>(fcntl(m_pipe[1], F_GETPIPE_SZ)));
    EXPECT_EQ(write(m_pipe[1], fill.data(), fill.size()), static_cast<ssize_t>(fill.size()));
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, byInput ? m_pipe[0] : m_pipe[1], byInput ? STDIN_FILENO : STDOUT_FILENO);
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  constexpr int first = 100;
  for (int i = 0; i < openDescriptors; ++i) posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, first + i);
  std::vector<char*> pointers;
  for (const auto& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  EXPECT_EQ(posix_spawn(&m_process, words[0].c_str(), &actions, nullptr, pointers.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  EXPECT_TRUE(
      waitUntilInCall(m_process, byInput ? std::to_string(SYS_read) + " 0x0 " : std::to_string(SYS_write) + " 0x1 "));
}

HeldProgram::~HeldProgram() {
  letGo();
}

int HeldProgram::letGo() {
  if (m_process < 0) return 0;
  close(m_pipe[1]);
  std::array<char, 4096> taken{};
  while (m_by == By::output && read(m_pipe[0], taken.data(), taken.size()) > 0) continue;
  close(m_pipe[0]);
  return statusOf(std::exchange(m_process, -1));
}

std::vector<Snapshot> listedSnapshots() {
  std::vector<Snapshot> snapshots;
  for (const auto& json : nlohmann::json::parse(qmfi({"snapshot", "list", "--json"}).output)) {
    snapshots.push_back(snapshotOf(json));
  }
  return snapshots;
}

namespace {

// A word of the first snapshot's line in the list that people see, counted from 0; empty when there is none.
std::string listedWord(int number) {
  std::istringstream list(qmfi({"snapshot", "list"}).output);
  std::string word;
  std::getline(list, word);
  word.clear();
  for (int place = 0; place <= number; ++place) {
    if (!(list >> word)) return {};
  }
  return word;
}

}  // namespace

std::string listedId() {
  return listedWord(0);
}

std::string listedState() {
  constexpr int state = 6;  // behind id, name, date, time, and the time frozen with its unit
  return listedWord(state);
}

bool waitForState(const std::string& state) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (listedState() != state) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

Snapshot create(const std::vector<std::string>& mountPoints, const std::vector<std::string>& options) {
  // A busy machine may need more than the two seconds of the default.
  std::vector<std::string> words = {"snapshot", "create", "--json", "--freeze-timeout", "20"};
  words.insert(words.end(), mountPoints.begin(), mountPoints.end());
  words.insert(words.end(), options.begin(), options.end());
  const testbed_test::Outcome outcome = qmfi(words);
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  const auto json = nlohmann::json::parse(outcome.output, nullptr, false);
  return json.is_object() ? snapshotOf(json) : Snapshot{};
}

void HostTest::TearDown() {
  if (HasFailure()) {
    qmfi({"recover"});
    for (const Snapshot& snapshot : listedSnapshots()) qmfi({"snapshot", "delete", snapshot.id});
  }
  expectNothingLeft();
}

void HostTest::expectNothingLeft() const {
  EXPECT_EQ(qmfi({"snapshot", "list"}).output,
            "ID        NAME  CREATED              FROZEN FOR  STATE       FILE SYSTEMS\n");
  EXPECT_EQ(demo::lastingDifference(m_before), "");
  for (const char* mountPoint : {"/mnt/a", "/mnt/b", "/mnt/c"}) {
    EXPECT_EQ(testbed_test::thaw(testbed_test::OpenDirectory(mountPoint).get()), EINVAL) << mountPoint;
  }
}

}  // namespace host_test
