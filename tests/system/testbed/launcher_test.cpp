// The launcher as its caller sees it: its command line, the status it hands on, and that nothing is left behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <thread>

#include "build_tree.h"
#include "support/program_run.h"
#include "support/text_file.h"

namespace testbed_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

const std::string launcher = QMFI_SOURCE_DIR "/testbed/qmfs-testbed";
const std::string scratch = QMFI_BINARY_DIR "/tests/system/testbed/scratch";
const std::string holdFrozen = QMFI_BINARY_DIR "/bin/testbed_hold_frozen";

// Begins the name of every volume here, so that what belongs to these testbeds can be told from what others run
// meanwhile.
const std::string mark = "launched" + std::to_string(getpid());

// All that a testbed could leave on the machine.
struct Traces {
  std::set<std::string> loopDevices;
  std::set<std::string> processes;
  std::set<std::string> mounts;
  std::set<std::string> files;

  bool operator==(const Traces&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Traces& traces) {
  for (const auto* group : {&traces.loopDevices, &traces.processes, &traces.mounts, &traces.files}) {
    for (const auto& one : *group) stream << one << "\n";
  }
  return stream;
}

std::set<std::string> loopDevices() {
  std::set<std::string> found;
  for (const auto& entry : fs::directory_iterator("/sys/block")) {
    const std::string behind = textOf(entry.path() / "loop/backing_file");
    if (behind.find(scratch) != std::string::npos || behind.find(mark) != std::string::npos) {
      found.insert(entry.path().filename().string() + " " + behind);
    }
  }
  return found;
}

std::set<std::string> processes() {
  std::set<std::string> found;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string command = textOf(entry.path() / "cmdline");
    if (command.find(mark) != std::string::npos) found.insert(entry.path().filename().string() + " " + command);
  }
  return found;
}

std::set<std::string> mounts() {
  std::set<std::string> found;
  std::ifstream table("/proc/self/mounts");
  for (std::string line; std::getline(table, line);) {
    if (line.find("qmfs") != std::string::npos) found.insert(line);
  }
  return found;
}

std::set<std::string> files() {
  std::set<std::string> found;
  for (const auto& directory : {scratch, std::string("/dev/qm"), std::string("/qmfs-pool")}) {
    std::error_code error;
    for (const auto& entry : fs::recursive_directory_iterator(directory, error)) found.insert(entry.path());
  }
  return found;
}

// A process by which its end can be waited for, whoever's child it is.
class Watched {
 public:
  explicit Watched(pid_t process) : m_descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0))) {}
  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;
  ~Watched() { close(m_descriptor); }

  // False after twenty seconds.
  bool waitForEnd() const { return endsWithin(20'000); }
  bool hasEnded() const { return endsWithin(0); }

 private:
  bool endsWithin(int milliseconds) const {
    pollfd ended{m_descriptor, POLLIN, 0};
    return poll(&ended, 1, milliseconds) == 1;
  }

  int m_descriptor;
};

// The first child of a process, 0 where there is none.
pid_t childOf(pid_t parent) {
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string status = textOf(entry.path() / "stat");
    const auto name = status.rfind(") ");
    if (name == std::string::npos) continue;
    std::istringstream fields(status.substr(name + 4));
    pid_t candidate;
    if (fields >> candidate && candidate == parent) return std::stoi(entry.path().filename());
  }
  return 0;
}

std::vector<std::string> launcherWords(std::vector<std::string> words) {
  words.insert(words.begin(), launcher);
  return words;
}

// A launcher that runs beside the test.
class RunningLauncher : public RunningProgram {
 public:
  explicit RunningLauncher(const std::vector<std::string>& words) : RunningProgram(launcherWords(words)) {}
  ~RunningLauncher() { send(SIGTERM); }
};

class Launcher : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(scratch);
    ASSERT_EQ(setenv("QMFS_BUILD_DIR", QMFI_BINARY_DIR, 1), 0);
    ASSERT_EQ(setenv("TMPDIR", scratch.c_str(), 1), 0);
    m_before = traces();
  }

  void TearDown() override {
    EXPECT_EQ(settledTraces(), m_before);
    fs::remove_all(scratch);
  }

  static Outcome launch(const std::vector<std::string>& words) { return run(launcherWords(words)); }

  // Another testbed of the machine that looks at a loop device keeps it attached until it has looked.
  Traces settledTraces() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    Traces now = traces();
    while (!(now == m_before) && std::chrono::steady_clock::now() < deadline) now = traces();
    return now;
  }
  static Traces traces() { return {loopDevices(), processes(), mounts(), files()}; }

  // A formatted volume "NAME" on /mnt/NAME.
  static std::string mounted(const std::string& name) { return mark + name + ":320M:/mnt/" + name; }

 private:
  Traces m_before;
};

TEST_F(Launcher, HandsOnTheStatusOfTheCommand) {
  for (const int status : {0, 1, 7, 255}) {
    EXPECT_EQ(launch({"--", "/bin/sh", "-c", "exit " + std::to_string(status)}).status, status);
  }
  EXPECT_EQ(launch({"--", "/bin/sh", "-c", "kill -ABRT $$"}).status, 128 + SIGABRT);
}

TEST_F(Launcher, HandsOnWordsAndOutputAsTheyAre) {
  const Outcome outcome = launch({"--", "/bin/echo", "a  b", "--", "--volume", "[x]", ""});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "a  b -- --volume [x] \n");
}

TEST_F(Launcher, FindsTheCommandByThePath) {
  EXPECT_EQ(launch({"--", "true"}).status, 0);
  const Outcome missing = launch({"--", "/no/such/program"});
  EXPECT_EQ(missing.status, 127);
  EXPECT_EQ(missing.output, "qmfs-testbed: /no/such/program: No such file or directory\n");
  EXPECT_EQ(launch({"--", "/etc"}).status, 126);
}

struct WrongArguments {
  std::vector<std::string> words;
  std::string message;
};

TEST_F(Launcher, ExplainsWrongArguments) {
  for (const auto& [words, message] : std::vector<WrongArguments>{
           {{}, "no command is given after \"--\""},
           {{"--volume", "a"}, "no command is given after \"--\""},
           {{"--"}, "no command is given after \"--\""},
           {{"--unknown", "--", "true"}, "The following argument was not expected: --unknown"},
           {{"true"}, "The following argument was not expected: true"},
           {{"--volume"}, "--volume: "},
           {{"--volume", "a/b", "--", "true"}, "volume \"a/b\" is not of the form NAME[:SIZE[:MOUNTPOINT[:TYPE]]]"},
           {{"--volume", "", "--", "true"}, "volume \"\" is not of the form NAME[:SIZE[:MOUNTPOINT[:TYPE]]]"},
           {{"--volume", "a:512M:/mnt:btrfs", "--", "true"},
            "the type of volume \"a:512M:/mnt:btrfs\" is none of qmfs, xfs and ext4"},
           {{"--volume", "a:big", "--", "true"},
            "size of a volume (with K, M, G or T) \"big\" is not a number from 1 to 17592186044416"},
           {{"--volume", "a:17T", "--", "true"},
            "size of a volume (with K, M, G or T) \"17\" is not a number from 1 to 16"},
           {{"--volume", "a:M", "--", "true"},
            "size of a volume (with K, M, G or T) \"\" is not a number from 1 to 16777216"},
           {{"--volume", "a:-1", "--", "true"},
            "size of a volume (with K, M, G or T) \"-1\" is not a number from 1 to 17592186044416"},
           {{"--volume", "a:99999999999999999999", "--", "true"},
            "size of a volume (with K, M, G or T) \"99999999999999999999\" is not a number from 1 to 17592186044416"},
           {{"--volume", "a:512M:mnt", "--", "true"},
            "the mount point of volume \"a:512M:mnt\" is not an absolute path"},
           {{"--volume", "a:512M:/", "--", "true"}, "the mount point of volume \"a:512M:/\" is not an absolute path"},
           {{"--volume", "a:299M:/a", "--", "true"}, "volume \"a:299M:/a\" is smaller than the 300M of a file system"},
           {{"--volume", "a", "--volume", "a:1G", "--", "true"}, "volume a is given twice"},
           {{"--volume", "a::/m", "--volume", "b::/m", "--", "true"}, "mount point /m is given twice"},
           {{"--volume", "a::/mnt/m", "--volume", "b::/mnt/./m//", "--", "true"}, "mount point /mnt/m is given twice"},
           {{"--set", "KEY", "--", "true"}, "setting \"KEY\" is not of the form KEY=VALUE"},
           {{"--driver", "fail", "--", "true"},
            "driver behaviour \"fail\" is neither fail=REQUEST@N:ERRNO nor delay=REQUEST@N:MS"},
           {{"--driver", "fail=QM_MELT@1:EIO", "--", "true"},
            "request \"QM_MELT\" is none of QM_FREEZE, QM_THAW and QM_FREEZE_ALL"},
           {{"--driver", "fail=QM_THAW@0:EIO", "--", "true"}, "request number \"0\" is not a number from 1 to 1000000"},
           {{"--driver", "fail=QM_THAW@1:EWHAT", "--", "true"}, "error \"EWHAT\" is not a number from 1 to 4095"},
           {{"--driver", "delay=QM_THAW@1:-5", "--", "true"}, "delay \"-5\" is not a number from 0 to 3600000"},
           {{"--pool", "/no/such/directory", "--", "true"},
            "the pool /no/such/directory cannot be used: No such file or directory"}}) {
    const Outcome outcome = launch(words);
    EXPECT_EQ(outcome.status, 2) << message;
    EXPECT_THAT(outcome.output, StartsWith("qmfs-testbed: " + message));
    EXPECT_THAT(outcome.output, HasSubstr("Usage: qmfs-testbed "));
  }
}

TEST_F(Launcher, SaysThatItNeedsRoot) {
  const std::string built = QMFI_BINARY_DIR "/bin/qmfs-testbed-run";
  const Outcome outcome = run({"/usr/bin/setpriv", "--reuid=65534", "--clear-groups", built, "--", "true"});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.output, "qmfs-testbed: it must be run by root\n");
}

TEST_F(Launcher, SaysWhereItLooksForABuildTree) {
  const Outcome outcome =
      run({launcher, "--", "true"}, std::vector<std::string>{"QMFS_BUILD_DIR=/no/such/tree", "PATH=/bin"});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_THAT(outcome.output, HasSubstr("/no/such/tree/bin/qmfs-testbed-run is not built"));
  for (const auto& [tree, message] : std::vector<std::pair<std::string, std::string>>{
           {"", "QMFS_BUILD_DIR does not name the build tree"},
           {"/no/such/tree", "the build tree /no/such/tree cannot be used: No such file or directory"}}) {
    const Outcome called =
        run({QMFI_BINARY_DIR "/bin/qmfs-testbed-run", "--", "true"}, std::vector{"QMFS_BUILD_DIR=" + tree});
    EXPECT_EQ(called.status, 125);
    EXPECT_EQ(called.output, "qmfs-testbed: " + message + "\n");
  }
}

TEST_F(Launcher, SaysWhenASetUpStepFails) {
  const Outcome outcome = launch({"--volume", mark + ":320M:/etc/passwd", "--", "true"});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_THAT(outcome.output, StartsWith("qmfs-testbed: "));
}

TEST_F(Launcher, LeavesTheMachinesFilesAlone) {
  const std::string result = scratch + "/result";
  const std::vector<std::string> outside = {"/etc/qmfs-testbed-trace", "/tmp/qmfs-testbed-trace",
                                            "/usr/lib/qmfs-testbed-trace"};
  std::vector<std::string> words = {"--", "/usr/bin/tee", result};
  words.insert(words.end(), outside.begin(), outside.end());
  EXPECT_EQ(launch(words).status, 0);
  for (const auto& file : outside) EXPECT_FALSE(fs::exists(file)) << file;
  EXPECT_TRUE(fs::exists(result)) << "what is written to the build tree stays";
  fs::remove(result);
}

TEST_F(Launcher, EndsWhatTheCommandLeavesRunning) {
  EXPECT_EQ(launch({"--", "/bin/sh", "-c", "sleep 1000 " + mark + " & exec setsid sh -c 'sleep 1000 &'"}).status, 0);
}

TEST_F(Launcher, TwoTestbedsDoNotSeeEachOther) {
  const auto one = [](const std::string& text) {
    return launch({"--volume", mounted("same"), "--", "/bin/sh", "-c",
                   "echo " + text +
                       " > /mnt/same/file; umount /mnt/same; "
                       "mount -t qmfs /dev/qm/dsk/dg1/" +
                       mark + "same /mnt/same; cat /mnt/same/file; wc -l < /etc/mtab"});
  };
  Outcome first;
  std::thread beside([&] { first = one("first"); });
  const Outcome second = one("second");
  beside.join();
  EXPECT_THAT(first.output, StartsWith("first\n"));
  EXPECT_THAT(second.output, StartsWith("second\n"));
}

TEST_F(Launcher, TestbedsCanShareAPool) {
  const std::string script = "set -e; mkdir pool; truncate -s 2G image; mkfs.xfs -q image; mount -o loop image pool; " +
                             launcher + " --pool pool --volume " + mounted("shared") +
                             " -- sh -c 'echo text > /mnt/shared/file'; " + launcher + " --pool pool --volume " +
                             mounted("shared") + " -- cat /mnt/shared/file; umount pool; rm -r pool image";
  const Outcome outcome = run({"/usr/bin/unshare", "-m", "/bin/bash", "-c", "cd " + scratch + "; " + script});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "text\n");
}

TEST_F(Launcher, TakesDownWhatIsFrozenBehindTheDriversBack) {
  EXPECT_EQ(launch({"--volume", mounted("a"), "--", "/usr/sbin/fsfreeze", "-f", "/mnt/a"}).status, 0);
}

TEST_F(Launcher, TakesDownWhatIsFrozenAndNoLongerInTheMountTable) {
  const std::string marker = scratch + "/ready";
  EXPECT_EQ(launch({"--volume", mounted("a"), "--", "/bin/sh", "-c",
                    holdFrozen + " " + marker + " /mnt/a & while ! test -e " + marker +
                        "; do sleep 0.01; done; umount -l /mnt/a"})
                .status,
            0);
  fs::remove(marker);
}

// Who is hit by which signal while file systems are frozen and writers wait for them, and how the launcher ends.
struct Blow {
  std::string what;
  std::function<pid_t(pid_t launcher)> victim;
  int signal;
  int status;
};

class LauncherHit : public Launcher, public testing::WithParamInterface<Blow> {};

TEST_P(LauncherHit, TakesEverythingDown) {
  const std::string marker = scratch + "/ready";
  RunningLauncher running(
      {"--volume", mounted("a"), "--volume", mounted("b"), "--", holdFrozen, marker, "/mnt/a", "/mnt/b"});
  const Watched itsEnd(running.pid());
  while (!fs::exists(marker) && !itsEnd.hasEnded()) std::this_thread::yield();
  ASSERT_TRUE(fs::exists(marker));
  fs::remove(marker);
  const Watched supervisor(childOf(running.pid()));
  EXPECT_EQ(kill(GetParam().victim(running.pid()), GetParam().signal), 0);
  EXPECT_EQ(running.wait(), GetParam().status);
  EXPECT_TRUE(supervisor.waitForEnd());
}

pid_t itself(pid_t process) {
  return process;
}
pid_t supervisorOf(pid_t process) {
  return childOf(process);
}
pid_t commandOf(pid_t process) {
  return childOf(childOf(process));
}

INSTANTIATE_TEST_SUITE_P(
    Signals, LauncherHit,
    testing::Values(Blow{"LauncherInterrupted", itself, SIGINT, 130}, Blow{"LauncherTerminated", itself, SIGTERM, 143},
                    Blow{"LauncherHungUp", itself, SIGHUP, 129}, Blow{"LauncherQuit", itself, SIGQUIT, 131},
                    Blow{"LauncherKilled", itself, SIGKILL, 137}, Blow{"SupervisorKilled", supervisorOf, SIGKILL, 125},
                    Blow{"CommandKilled", commandOf, SIGKILL, 137}),
    [](const auto& blow) { return blow.param.what; });

TEST_F(Launcher, TakesEverythingDownWhenKilledAtAnyMoment) {
  for (int delay = 0; delay < 200; delay += 7) {
    RunningLauncher running(
        {"--volume", mounted("a"), "--volume", mounted("b"), "--", holdFrozen, "/tmp/ready", "/mnt/a", "/mnt/b"});
    std::this_thread::sleep_for(std::chrono::milliseconds(delay));  // the moment is what varies, nothing is waited for
    const pid_t inner = childOf(running.pid());
    const Watched supervisor(inner == 0 ? running.pid() : inner);
    kill(running.pid(), SIGKILL);
    EXPECT_EQ(running.wait(), 137);
    EXPECT_TRUE(supervisor.waitForEnd()) << delay;
  }
}

}  // namespace
}  // namespace testbed_test
