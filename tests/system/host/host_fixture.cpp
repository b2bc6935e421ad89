// Calling qmfi and reading what it prints.
#include "host_fixture.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

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

int BackgroundQmfi::wait() {
  if (m_status) return *m_status;
  int status = 0;
  waitpid(m_process, &status, 0);
  m_status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return *m_status;
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
