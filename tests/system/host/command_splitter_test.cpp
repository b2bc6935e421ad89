// Volumes split by a program of the administrator's, with the example of the documentation and with programs that fail.
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "build_tree.h"
#include "host_fixture.h"
#include "support/text_file.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* program = "/usr/lib/qmfi/splitter";
// Where the example keeps copies: where the volumes of the testbed can share blocks with them.
constexpr const char* copies = "/srv/copies";
constexpr const char* pool = "/qmfs-pool/copies";
constexpr const char* records = "/var/lib/qmfi/records";

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error)) names.push_back(entry.path().filename());
  return names;
}

class CommandSplitterTest : public HostTest {
 protected:
  CommandSplitterTest() {
    fs::create_directory(pool);
    fs::create_directories("/srv");
    fs::remove(copies);
    fs::create_directory_symlink(pool, copies);
    fs::copy_file(QMFI_SOURCE_DIR "/docs/examples/loop-splitter", program, fs::copy_options::overwrite_existing);
  }

  void TearDown() override {
    HostTest::TearDown();
    EXPECT_THAT(namesIn(pool), testing::IsEmpty());
    EXPECT_THAT(namesIn(records), testing::IsEmpty());
    fs::remove(program);
    fs::remove("/run/said");
  }

  // A program that notes its verbs, does for each what the script says, and answers that it is done.
  static void writeProgram(const std::string& script) {
    std::ofstream(program) << "#!/bin/bash\necho \"$1\" >> /run/said\nread -r line\n"
                           << script << "\necho '{\"ok\":true}'\n";
    fs::permissions(program, fs::perms::owner_all);
  }

  static std::vector<std::string> said() { return linesOf("/run/said"); }

  // A failed snapshot of "a" and, by the program, of "b".
  static std::string failure(const std::vector<std::string>& options = {}, int status = 1) {
    std::vector<std::string> words = {"snapshot", "create", "--splitter", "/mnt/b=command", "/mnt/a", "/mnt/b"};
    words.insert(words.end(), options.begin(), options.end());
    const testbed_test::Outcome outcome = qmfi(words);
    EXPECT_EQ(outcome.status, status) << outcome.output;
    return outcome.output;
  }
};

TEST_F(CommandSplitterTest, GroupOfTwoKindsHoldsWhatWasThereAtTheFreeze) {
  const auto write = [](const std::string& text) {
    for (const char* mountPoint : {"/mnt/a", "/mnt/b"}) std::ofstream(std::string(mountPoint) + "/file") << text;
  };
  write("before");
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"}, {"--splitter", "/mnt/b=command", "--name", "nightly"});
  write("after");
  const auto expectContent = [&] {
    for (const SnapshotNode& node : snapshot.nodes) EXPECT_EQ(textOf(node.alternate + "/file"), "before");
  };
  expectContent();
  EXPECT_THAT(namesIn(pool), testing::ElementsAre("qm-dsk-dg1-b-" + snapshot.id));
  EXPECT_THAT(namesIn(records), testing::ElementsAre("%2Fdev%2Fqm%2Fdsk%2Fdg1%2Fb-" + snapshot.id + ".command"));
  const std::string shown = qmfi({"snapshot", "show", "nightly"}).output;
  EXPECT_THAT(shown, HasSubstr("/dev/qm/dsk/dg1/a-" + snapshot.id + "), mounted, "));
  EXPECT_THAT(shown, HasSubstr(" by reflink\n"));
  EXPECT_THAT(shown, HasSubstr(" by command\n"));
  EXPECT_EQ(qmfi({"snapshot", "unmount", "nightly"}).status, 0);
  EXPECT_FALSE(fs::exists("/dev/qm/dsk/dg1/b-" + snapshot.id));
  EXPECT_EQ(listedState(), "unmounted");
  EXPECT_EQ(qmfi({"snapshot", "mount", "nightly"}).status, 0);
  expectContent();
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).output, "snapshot " + snapshot.id + " deleted\n");
  for (const char* mountPoint : {"/mnt/a", "/mnt/b"}) fs::remove(std::string(mountPoint) + "/file");
}

// The name of a device that is not the copy's any more may be left from before a restart.
TEST_F(CommandSplitterTest, DeviceThatIsLeftUnderTheNameOfTheCopyIsReplaced) {
  std::ofstream("/mnt/b/file") << "before";
  const Snapshot snapshot = create({"/mnt/b"}, {"--splitter", "command"});
  EXPECT_EQ(qmfi({"snapshot", "unmount", snapshot.id}).status, 0);
  constexpr dev_t noDevice = 0;
  ASSERT_EQ(mknod(("/dev/qm/dsk/dg1/b-" + snapshot.id).c_str(), S_IFBLK | 0600, noDevice), 0);
  EXPECT_EQ(qmfi({"snapshot", "mount", snapshot.id}).status, 0);
  EXPECT_EQ(textOf(snapshot.nodes.front().alternate + "/file"), "before");
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
  fs::remove("/mnt/b/file");
}

TEST_F(CommandSplitterTest, SnapshotIsFoundAgainByItsRecordWhenTheStateIsLost) {
  const Snapshot snapshot = create({"/mnt/b"}, {"--splitter", "command"});
  fs::remove("/var/lib/qmfi/state.db");
  EXPECT_EQ(qmfi({"recover", "--rescan"}).output, "snapshot " + snapshot.id + " found\n");
  EXPECT_EQ(listedState(), "ready");
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
}

TEST_F(CommandSplitterTest, WhatTheProgramTellsOfACopyIsShown) {
  const Snapshot snapshot = create({"/mnt/b"}, {"--splitter", "command"});
  const std::string example = textOf(program);
  std::ofstream(program) << R"(#!/bin/sh
read -r line
echo '{"ok":true,"exists":true,"bytes":1000,"storage":"array","occupied":3000,"needs":2000,"free":4000}'
)";
  const std::string shown = qmfi({"snapshot", "show", snapshot.id, "--json"}).output;
  std::ofstream(program) << example;
  const nlohmann::json node = nlohmann::json::parse(shown).at("nodes").at(0);
  EXPECT_EQ(node.at("size"), 1000);
  EXPECT_EQ(node.at("needs"), 2000);
  EXPECT_EQ(node.at("free"), 4000);
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
}

// The device of the copy is the program's affair: that it is one over another file tells nothing.
TEST_F(CommandSplitterTest, SnapshotWhoseNodeIsGoneIsTakenDownAllTheSame) {
  const Snapshot snapshot = create({"/mnt/b"}, {"--splitter", "command"});
  fs::remove(snapshot.nodes[0].snapshotDevice);
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
  EXPECT_FALSE(fs::exists(snapshot.nodes[0].alternate));
}

TEST_F(CommandSplitterTest, RefusalToPrepareComesBeforeTheFreezeAndIsUndone) {
  writeProgram("[[ $1 == prepare ]] && echo '{\"error\":\"no licence\"}' && exit");
  EXPECT_EQ(failure(), "qmfi: the splitter program /usr/lib/qmfi/splitter failed to prepare: no licence\n");
  EXPECT_THAT(said(), testing::ElementsAre("exists", "prepare", "detach", "remove"));
}

TEST_F(CommandSplitterTest, SplitThatFailsIsUndoneOnceAllIsThawed) {
  writeProgram(
      "if [[ $1 == prepare ]]; then echo '{\"ok\":true}'; read -r; echo '{\"error\":\"the array is full\"}'; exit; fi");
  EXPECT_EQ(failure({"--freeze-timeout", "20"}),
            "qmfi: the splitter program /usr/lib/qmfi/splitter failed to split: the array is full; the volumes were "
            "/dev/qm/dsk/dg1/b\n");
  EXPECT_THAT(said(), testing::ElementsAre("exists", "prepare", "detach", "remove"));
}

TEST_F(CommandSplitterTest, SplitThatIsLateIsGivenUpAtTheTimeout) {
  writeProgram("if [[ $1 == prepare ]]; then echo '{\"ok\":true}'; read -r; exec sleep 1000; fi");
  EXPECT_THAT(failure({"--freeze-timeout", "1"}, 6),
              MatchesRegex("qmfi: the snapshot is not consistent: freezing and splitting took [0-9]+ ms, and the "
                           "freeze time-out of 1 s may have ended the freeze before; --freeze-timeout sets a longer "
                           "one\n"));
  EXPECT_THAT(said(), testing::ElementsAre("exists", "prepare", "detach", "remove"));
}

TEST_F(CommandSplitterTest, DeviceThatCannotBeTheCopyIsNotMounted) {
  const struct {
    const char* device;
    const char* reason;
  } cases[] = {{"", "its answer has no absolute path as \"device\""},
               {"loop3", "its answer has no absolute path as \"device\""},
               {"/dev/null", "its \"device\" /dev/null is no block device"},
               {"/dev/qm/dsk/dg1/b", "its \"device\" /dev/qm/dsk/dg1/b is the volume itself"}};
  for (const auto& one : cases) {
    writeProgram(
        "case $1 in\n"
        "  prepare) echo '{\"ok\":true}'; read -r ;;\n"
        "  attach) echo '{\"ok\":true,\"device\":\"'" +
        std::string(one.device) + "'\"}'; exit ;;\nesac");
    EXPECT_EQ(failure({"--freeze-timeout", "20"}),
              std::string("qmfi: the splitter program /usr/lib/qmfi/splitter failed to attach: ") + one.reason + "\n");
  }
}

TEST_F(CommandSplitterTest, ProgramThatOthersCanChangeIsNotRun) {
  writeProgram("");
  fs::permissions(program, fs::perms::owner_all | fs::perms::group_write);
  EXPECT_THAT(failure({}, 8), StartsWith("qmfi: /usr/lib/qmfi/splitter cannot be trusted: group 0 can write to "));
  EXPECT_THAT(said(), testing::IsEmpty());
}

TEST_F(CommandSplitterTest, ProgramIsTheOneThatTheUserNames) {
  fs::rename(program, "/usr/lib/qmfi/another");
  EXPECT_EQ(failure(), "qmfi: the splitter program /usr/lib/qmfi/splitter cannot be run: No such file or directory\n");
  const testbed_test::Outcome outcome =
      qmfi({"snapshot", "create", "--name", "n", "--splitter", "command", "/mnt/b", "--freeze-timeout", "20"},
           {"QMFI_SPLITTER_COMMAND=/usr/lib/qmfi/another"});
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_EQ(qmfi({"--splitter-command", "/usr/lib/qmfi/another", "snapshot", "delete", "n"}).status, 0);
  fs::remove("/usr/lib/qmfi/another");
}

TEST_F(CommandSplitterTest, ChoiceForWhatIsNotSplitIsWrongUsage) {
  const testbed_test::Outcome outcome = qmfi({"snapshot", "create", "--splitter", "/mnt/c=command", "/mnt/a"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "qmfi: --splitter: no snapshot of /mnt/c is asked for\n");
  const testbed_test::Outcome unknown = qmfi({"snapshot", "create", "--splitter", "saw", "/mnt/a"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_THAT(unknown.output, StartsWith("qmfi: there is no splitter \"saw\"; there are reflink, "));
}

TEST_F(CommandSplitterTest, SizeOfASnapshotThatIsNoneIsWrongUsage) {
  const testbed_test::Outcome outcome = qmfi({"snapshot", "create", "--snapshot-size", "3X", "/mnt/a"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.output, StartsWith("qmfi: \"3X\" is no size of a snapshot: "));
}

// What the program made of a snapshot is known by its name alone.
TEST_F(CommandSplitterTest, RecoveryRemovesWhatAKilledQmfiHadMade) {
  writeProgram("if [[ $1 == prepare ]]; then mkfifo /run/gate; echo '{\"ok\":true}' > /run/gate; fi");
  BackgroundQmfi interrupted({"snapshot", "create", "--splitter", "command", "/mnt/b"});
  while (!fs::exists("/run/gate") && !interrupted.hasEnded()) std::this_thread::yield();
  interrupted.send(SIGKILL);
  EXPECT_EQ(interrupted.wait(), 128 + SIGKILL);
  const std::string id = listedId();
  EXPECT_EQ(qmfi({"recover"}).output, "snapshot " + id + " removed\n");
  EXPECT_THAT(said(), testing::ElementsAre("exists", "prepare", "exists", "detach", "remove"));
  textOf("/run/gate");
  fs::remove("/run/gate");
}

}  // namespace
}  // namespace host_test
