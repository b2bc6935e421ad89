// The machine of its own as its caller sees it: its command line, the command's status, output, disks and kernel, and
// that nothing is left behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <sstream>

#include "build_tree.h"
#include "support/program_run.h"
#include "support/temporary_directory.h"
#include "support/text_file.h"
#include "system/pipe.h"

namespace testbed_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

const std::string vm = QMFI_SOURCE_DIR "/testbed/vm";
constexpr const char* usage = "Usage: testbed/vm [--kernel stock|backports] [--disk SIZE|FILE]... -- COMMAND...\n";

// QEMU's process of a machine; 0 where there is none.
pid_t emulatorOf(pid_t launcher) {
  for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(launcher) + "/task")) {
    std::istringstream children(textOf(entry.path() / "children"));
    for (pid_t child; children >> child;) {
      if (textOf("/proc/" + std::to_string(child) + "/comm") == "qemu-system-x86\n") return child;
    }
  }
  return 0;
}

class MachineOfItsOwn : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(setenv("TMPDIR", m_directory.path().c_str(), 1), 0); }
  void TearDown() override {
    unsetenv("TMPDIR");
    EXPECT_TRUE(fs::is_empty(m_directory.path()));
  }

  static Outcome launch(std::vector<std::string> words) {
    words.insert(words.begin(), vm);
    return run(words);
  }

 private:
  TemporaryDirectory m_directory;
};

TEST_F(MachineOfItsOwn, ExplainsWrongArguments) {
  struct WrongArguments {
    std::vector<std::string> words;
    std::string message;
  };
  const std::string noCommand = "no command is given after \"--\"";
  const std::string noDisk = "a disk is a size such as 512M, or the absolute path of a file";
  for (const auto& [words, message] :
       std::vector<WrongArguments>{{{}, noCommand},
                                   {{"--"}, noCommand},
                                   {{"--disk", "1M"}, noCommand},
                                   {{"true"}, "what is \"true\"?"},
                                   {{"--unknown", "--", "true"}, "what is \"--unknown\"?"},
                                   {{"--kernel"}, "the kernel is stock or backports"},
                                   {{"--kernel", "6.1"}, "the kernel is stock or backports"},
                                   {{"--disk"}, noDisk},
                                   {{"--disk", "0"}, noDisk},
                                   {{"--disk", "1T"}, noDisk},
                                   {{"--disk", "image"}, noDisk}}) {
    const Outcome outcome = launch(words);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "testbed/vm: " + message + "\n" + usage);
  }
}

TEST_F(MachineOfItsOwn, ExplainsItself) {
  const Outcome outcome = launch({"--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output,
              StartsWith("testbed/vm [--kernel stock|backports] [--disk SIZE|FILE]... -- COMMAND...: runs"));
  EXPECT_THAT(outcome.output, testing::Not(HasSubstr("set -e")));
}

TEST_F(MachineOfItsOwn, RunsTheCommandOfTheCallersDirectoryAndForgetsWhatItWrites) {
  const TemporaryDirectory here;
  const TemporaryDirectory caught;
  here.write("a file", "as it is outside\n");
  const std::string command =
      "cat 'a file'; echo changed >'a file'; cat 'a file'; echo \"$1|$2|$WORD\"; echo of errors >&2; cat; uname -r; "
      "lsblk --noheadings --nodeps --bytes --output NAME,SIZE --exclude 7; kill -USR1 $$";
  const Outcome outcome = run({"/usr/bin/env", "--chdir", here.path(), "WORD=a  b", "/bin/bash", "-c",
                               "exec \"$0\" \"$@\" 2>" + caught.file("errors"), vm, "--disk", "64M", "--disk",
                               "1048576", "--", "bash", "-c", command, "name", "it's \"one\"", ""});
  EXPECT_EQ(outcome.status, 128 + SIGUSR1);
  EXPECT_THAT(outcome.output,
              testing::MatchesRegex("as it is outside\nchanged\nit's \"one\"\\|\\|a  b\n6\\.1\\.[^\n]*\n"
                                    "vda +67108864\nvdb +1048576\n"));
  EXPECT_EQ(caught.read("errors"), "of errors\n");
  EXPECT_EQ(here.read("a file"), "as it is outside\n");
}

TEST_F(MachineOfItsOwn, RunsTheNewerKernelAndKeepsADiskThatIsAFile) {
  const TemporaryDirectory kept;
  const std::string disk = kept.write("disk, kept", std::string(1 << 20, 'a'));
  const Outcome outcome =
      launch({"--kernel", "backports", "--disk", disk, "--", "sh", "-c",
              "uname -r; head -c 3 /dev/vda; printf bcd | dd of=/dev/vda conv=fsync status=none; exit 5"});
  EXPECT_EQ(outcome.status, 5);
  EXPECT_THAT(outcome.output, testing::MatchesRegex("6\\.12\\.[^\n]*\naaa"));
  EXPECT_EQ(kept.read("disk, kept"), "bcd" + std::string((1 << 20) - 3, 'a'));
}

TEST_F(MachineOfItsOwn, SaysWhereTheKernelsWordsAreWhenTheMachineEndsFirst) {
  const Outcome outcome = launch({"--", "busybox", "poweroff", "-n", "-f"});
  const std::string log = fs::canonical(QMFI_SOURCE_DIR "/build/machine/console.log");
  EXPECT_EQ(outcome.status, 125);
  EXPECT_EQ(outcome.output,
            "testbed/vm: the machine ended before the command did; " + log + " has what its kernel said\n");
  EXPECT_THAT(textOf(log), HasSubstr("Linux version 6.1."));
}

TEST_F(MachineOfItsOwn, EndsWithItsLauncher) {
  qmfi_system::Pipe output = qmfi_system::makePipe();
  RunningProgram running({vm, "--", "sh", "-c", "echo begun; exec sleep 1000"}, {.output = output.writeEnd.get()});
  output.writeEnd.reset();
  std::array<char, 6> text{};
  ASSERT_EQ(read(output.readEnd.get(), text.data(), text.size()), 6);
  const pid_t emulator = emulatorOf(running.pid());
  const qmfi_system::Descriptor ended(static_cast<int>(syscall(SYS_pidfd_open, emulator, 0)));
  ASSERT_TRUE(ended.valid());
  running.send(SIGTERM);
  EXPECT_EQ(running.wait(), 128 + SIGTERM);
  constexpr int patience = 20'000;
  pollfd watched{ended.get(), POLLIN, 0};
  EXPECT_EQ(poll(&watched, 1, patience), 1);
}

}  // namespace
}  // namespace testbed_test
