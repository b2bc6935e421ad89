// Calling qmfi and reading what it prints.
#include "host_fixture.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "support/freeze_requests.h"
#include "support/json_schema.h"

namespace host_test {

namespace {

constexpr const char* qmfiProgram = "/usr/bin/qmfi";
constexpr const char* script = "/run/script";

// Whatever language the suite runs in, the texts that it compares are English.
[[maybe_unused]] const bool areTextsEnglish = [] {
  if (const char* const language = std::getenv("LC_ALL")) setenv("LANG", language, 1);
  unsetenv("LC_ALL");
  return setenv("LC_MESSAGES", "C", 1) == 0;
}();

std::vector<std::string> qmfiWords(std::vector<std::string> words) {
  words.insert(words.begin(), qmfiProgram);
  return words;
}

std::vector<Snapshot> knownSnapshots() {
  return testbed_test::snapshotsIn(qmfi({"snapshot", "list", "--json"}).output);
}

}  // namespace

testbed_test::Outcome qmfi(const std::vector<std::string>& words, const std::vector<std::string>& variables) {
  testbed_test::Outcome outcome = testbed_test::run(qmfiWords(words), variables);
  if (std::find(words.begin(), words.end(), "--json") != words.end()) {
    EXPECT_EQ(testbed_test::brokenPromises(words, outcome.status, outcome.output), "");
  }
  return outcome;
}

BackgroundQmfi::BackgroundQmfi(const std::vector<std::string>& words) : RunningProgram(qmfiWords(words)) {}

bool BackgroundQmfi::waitUntilItPauses() const {
  return waitUntilInCall(std::to_string(SYS_clock_nanosleep) + " ");
}

pid_t BackgroundQmfi::watchdog() const {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream status(entry.path() / "stat");
    pid_t number = 0;
    std::string name;
    char state = 0;
    pid_t parent = 0;
    if (status >> number >> name >> state >> parent && parent == pid() && name == "(freeze-watchdog)") return number;
  }
  return -1;
}

HeldProgram::HeldProgram(const std::vector<std::string>& words, By by, int fourth)
    : m_by(by), m_pipe(qmfi_system::makePipe()) {
  EXPECT_TRUE(m_pipe.valid());
  if (by == By::output) {
    const int end = m_pipe.writeEnd.get();
    fcntl(end, F_SETPIPE_SZ, 1);
    const std::vector<char> fill(static_cast<std::size_t>(fcntl(end, F_GETPIPE_SZ)));
    EXPECT_EQ(write(end, fill.data(), fill.size()), static_cast<ssize_t>(fill.size()));
  }
  const bool byInput = by == By::input;
  m_program.emplace(words, byInput ? qmfi_system::ProgramStreams{.input = m_pipe.readEnd.get(), .fourth = fourth}
                                   : qmfi_system::ProgramStreams{.output = m_pipe.writeEnd.get(), .fourth = fourth});
  EXPECT_TRUE(
      m_program->waitUntilInCall(std::to_string(byInput ? SYS_read : SYS_write) + (byInput ? " 0x0 " : " 0x1 ")));
}

int HeldProgram::letGo() {
  m_pipe.writeEnd.reset();
  std::array<char, 4096> taken{};
  while (m_by == By::output && read(m_pipe.readEnd.get(), taken.data(), taken.size()) > 0) continue;
  m_pipe.readEnd.reset();
  return m_program->wait();
}

ScriptInPlaceOf::ScriptInPlaceOf(std::string program, const std::string& text) : m_program(std::move(program)) {
  std::ofstream(script) << "#!/bin/sh\n" << text;
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  EXPECT_EQ(mount(script, m_program.c_str(), nullptr, MS_BIND, nullptr), 0);
}

ScriptInPlaceOf::~ScriptInPlaceOf() {
  EXPECT_EQ(umount2(m_program.c_str(), 0), 0);
  std::filesystem::remove(script);
}

std::vector<Snapshot> listedSnapshots() {
  std::vector<Snapshot> snapshots = knownSnapshots();
  std::erase_if(snapshots, [](const Snapshot& one) { return one.state == "interrupted" || one.state == "working"; });
  return snapshots;
}

std::string listedId() {
  const std::vector<Snapshot> snapshots = knownSnapshots();
  return snapshots.empty() ? "" : snapshots.front().id;
}

std::string listedState() {
  const std::vector<Snapshot> snapshots = knownSnapshots();
  return snapshots.empty() ? "" : snapshots.front().phase;
}

bool waitForState(const std::string& state) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
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
  return testbed_test::snapshotIn(outcome.output);
}

void HostTest::TearDown() {
  if (HasFailure()) {
    qmfi({"recover"});
    for (const Snapshot& snapshot : listedSnapshots()) qmfi({"snapshot", "delete", snapshot.id});
  }
  expectNothingLeft();
}

void HostTest::expectNothingLeft() const {
  EXPECT_EQ(qmfi({"snapshot", "list"}).output, emptyList);
  EXPECT_EQ(demo::lastingDifference(m_before), "");
  for (const char* mountPoint : {"/mnt/a", "/mnt/b", "/mnt/c"}) {
    EXPECT_EQ(testbed_test::thaw(testbed_test::OpenDirectory(mountPoint).get()), EINVAL) << mountPoint;
  }
}

}  // namespace host_test
