// What is said to a splitter program, and what is made of its answers.
#include "volume/command_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "failure/host_error.h"
#include "german_texts.h"
#include "support/temporary_directory.h"
#include "volume/command_split.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

SplitPlan planOf(const std::string& device) {
  return {device, device + "-17b4f33e", device, device + "-17b4f33e", {}, "command"};
}

const std::vector<SplitPlan> twoPlans = {planOf("/dev/sdb"), planOf("/dev/mapper/vg-x")};
constexpr std::chrono::steady_clock::time_point noDeadline = std::chrono::steady_clock::time_point::max();

// A program as a shell script. Nothing here asks who may change it.
class CommandProgramTest : public testing::Test {
 protected:
  const CommandProgram& program(const std::string& script) {
    m_directory.write("program", "#!/bin/sh\n" + script);
    std::filesystem::permissions(m_directory.file("program"), std::filesystem::perms::owner_all);
    return m_program;
  }

  std::string failure(const std::string& verb, const std::string& reason) const {
    return "the splitter program " + m_program.path() + " failed to " + verb + ": " + reason;
  }

  TemporaryDirectory m_directory;
  CommandProgram m_program{m_directory.file("program")};
};

TEST_F(CommandProgramTest, IsAskedInOneLineForAllVolumes) {
  EXPECT_EQ(requestOf("prepare", twoPlans),
            "{\"verb\":\"prepare\",\"volumes\":[{\"name\":\"sdb-17b4f33e\",\"device\":\"/dev/sdb\"},"
            "{\"name\":\"mapper-vg-x-17b4f33e\",\"device\":\"/dev/mapper/vg-x\"}]}\n");
}

TEST_F(CommandProgramTest, IsToldOfPlainNamesBelowTheDeviceDirectoryOnly) {
  EXPECT_NO_THROW(requireTellable(planOf("/dev/disk/by-id/scsi-3600.a_b+c")));
  for (const std::string device : {"/dev/a b", "/dev/a\"", "/dev/\xc3\xa4", "/tmp/a", "/dev"}) {
    EXPECT_THAT([&] { requireTellable(planOf(device)); },
                ThrowsMessage<HostError>("the volume \"" + device +
                                         "\" cannot be split by a program: its name must begin with /dev/ and hold "
                                         "letters, digits and \".\", \"_\", \"+\", \"-\" only; nothing was frozen"))
        << device;
  }
}

TEST_F(CommandProgramTest, FailsInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_THAT([&] { CommandSplit(program("echo nothing"), twoPlans); },
              ThrowsMessage<HostError>("das Splitter-Programm " + m_program.path() +
                                       " ist bei \"prepare\" gescheitert: seine Antwort ist kein JSON-Objekt in einer "
                                       "Zeile"));
}

TEST_F(CommandProgramTest, IsUsedOnlyWhereRootAloneCanChangeIt) {
  EXPECT_THAT([&] { program("").requireUsable(); },
              ThrowsMessage<HostError>(testing::HasSubstr("program cannot be trusted: ")));
  EXPECT_THAT([] { CommandProgram("program").requireUsable(); },
              ThrowsMessage<HostError>("the splitter program program must be named by its absolute path"));
  EXPECT_THAT([] { CommandProgram("/usr/lib/none").requireUsable(); },
              ThrowsMessage<HostError>("the splitter program /usr/lib/none cannot be run: No such file or directory"));
}

TEST_F(CommandProgramTest, PreparesSplitsAndEndsInOneProcess) {
  CommandSplit split(
      program("echo \"$1\" > " + m_directory.file("said") + "\nwhile read line; do echo \"$line\" >> " +
              m_directory.file("said") + "; echo '{\"ok\":true}'; done\necho end >> " + m_directory.file("said")),
      twoPlans);
  EXPECT_EQ(m_directory.read("said"), "prepare\n" + requestOf("prepare", twoPlans));
  split.flush();
  EXPECT_EQ(split.split(noDeadline), 0);
  EXPECT_NO_THROW(split.requireSplit());
  EXPECT_EQ(m_directory.read("said"),
            "prepare\n" + requestOf("prepare", twoPlans) + "{\"verb\":\"split\"}\n" + "end\n");
}

TEST_F(CommandProgramTest, FailsBeforeTheFreezeWithItsOwnWords) {
  const struct {
    const char* script;
    const char* reason;
  } cases[] = {
      {"printf '%s\\n' '{\"error\":\"no\\nlicence\"}'", "no\\x0alicence"},
      {"echo '{\"error\":7}'", "7"},
      {"echo '{\"ok\":true,\"error\":\"no\"}'", "no"},
      {"echo nonsense", "its answer is no JSON object in one line"},
      {"echo []", "its answer is no JSON object in one line"},
      {"echo {}", "its answer has neither \"ok\": true nor \"error\""},
      {"echo '{\"ok\":1}'", "its answer has neither \"ok\": true nor \"error\""},
      {"exit 0", "it ended without an answer"},
      {"while :; do printf xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx; done", "its answer is too long"},
  };
  for (const auto& one : cases) {
    EXPECT_THAT([&] { CommandSplit(program(one.script), twoPlans); },
                ThrowsMessage<HostError>(failure("prepare", one.reason)))
        << one.script;
  }
}

TEST_F(CommandProgramTest, ThatFailsToSplitIsToldOfWithTheVolumes) {
  const std::string prepare = "read line; echo '{\"ok\":true}'; read line; ";
  const struct {
    std::string script;
    int error;
    const char* reason;
  } cases[] = {{"echo '{\"error\":\"the array is full\"}'", 0, "the array is full"},
               {"exit 0", EPIPE, "it ended without an answer"},
               {"sleep 1000", ETIME, "it did not answer in time"}};
  for (const auto& one : cases) {
    CommandSplit split(program(prepare + one.script), twoPlans);
    const bool isLate = one.error == ETIME;
    EXPECT_EQ(split.split(isLate ? std::chrono::steady_clock::now() : noDeadline), one.error) << one.script;
    EXPECT_THAT(
        [&] { split.requireSplit(); },
        ThrowsMessage<HostError>(failure("split", one.reason) + "; the volumes were /dev/sdb, /dev/mapper/vg-x"));
  }
}

TEST_F(CommandProgramTest, MustEndWellAfterTheSplit) {
  CommandSplit split(program("while read line; do echo '{\"ok\":true}'; done; exit 3"), twoPlans);
  EXPECT_EQ(split.split(noDeadline), 0);
  EXPECT_THAT([&] { split.requireSplit(); },
              ThrowsMessage<HostError>("the splitter program " + m_program.path() +
                                       " said that all is split, and then did not end with status 0; the volumes were "
                                       "/dev/sdb, /dev/mapper/vg-x"));
}

}  // namespace
}  // namespace qmfi_host
