// The other commands of qmfi, and how it refuses.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c, "spare" blank.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host_fixture.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::mountLines;
using testbed_test::run;
using testbed_test::textOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* spare = "/dev/qm/dsk/dg1/spare";

using CommandsTest = HostTest;

TEST_F(CommandsTest, ProviderSaysWhatItIs) {
  EXPECT_EQ(qmfi({"provider", "show"}).output,
            "provider     qmfsfi\nversion      7.0.0.0\nattributes   16 2\nfile systems qmfs\n");
  EXPECT_EQ(qmfi({"provider", "show", "--json"}).output,
            "{\n  \"name\": \"qmfsfi\",\n  \"version\": \"7.0.0.0\",\n  \"attributes\": [\n    16,\n    2\n  ],\n"
            "  \"fi_types\": [\n    \"qmfs\"\n  ]\n}\n");
}

TEST_F(CommandsTest, ClaimTellsForEachPath) {
  const auto all = qmfi({"claim", "/mnt/a", "/mnt/b"});
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.output, "/mnt/a: claimed in group qmfs-quiesce\n/mnt/b: claimed in group qmfs-quiesce\n");
  const auto some = qmfi({"claim", "/mnt/a", "/mnt/a/", "/proc", "/dev/qm/dsk/dg1/a", "/nonexistent"});
  EXPECT_EQ(some.status, 1);
  EXPECT_EQ(some.output,
            "/mnt/a: claimed in group qmfs-quiesce\n/mnt/a/: not claimed\n/proc: not claimed\n"
            "/dev/qm/dsk/dg1/a: not claimed\n/nonexistent: not claimed\n");
}

TEST_F(CommandsTest, WrongUsageEndsWithTwo) {
  const struct {
    std::vector<std::string> words;
    std::string output;
  } cases[] = {
      {{"snapshot", "create", "/mnt/a", "--name", "a b"},
       "qmfi: \"a b\" cannot name a snapshot: 1 to 64 letters, digits, \".\", \"_\" and \"-\" do\n"},
      {{"snapshot", "create", "/mnt/a", "/mnt/a/"}, "qmfi: /mnt/a is given twice\n"},
      {{"resource", "online", spare, "relative"}, "qmfi: the mount point relative is not an absolute path\n"},
      {{"resource", "online", spare, "/mnt/x", "-o", "rw;ro"}, "qmfi: mount options cannot hold a semicolon\n"},
      {{"--provider", "../evil", "provider", "show"}, "qmfi: \"../evil\" is not the name of a provider\n"},
      {{"snapshot", "create", "/mnt/a", "--freeze-timeout", "0"},
       "qmfi: --freeze-timeout: Value 0 not in range 1 to 3600\nRun with --help for more information.\n"},
      {{"--state-dir", "", "snapshot", "list"},
       "qmfi: --state-dir: the name of a directory is empty\nRun with --help for more information.\n"},
  };
  for (const auto& one : cases) {
    const auto outcome = qmfi(one.words);
    EXPECT_EQ(outcome.status, 2) << testing::PrintToString(one.words);
    EXPECT_EQ(outcome.output, one.output);
  }
}

TEST_F(CommandsTest, UnknownNamesEndWithOne) {
  for (const char* command : {"show", "delete", "mount", "unmount"}) {
    const auto outcome = qmfi({"snapshot", command, "none"});
    EXPECT_EQ(outcome.status, 1) << command;
    EXPECT_EQ(outcome.output, "qmfi: there is no snapshot \"none\"\n");
  }
  const auto provider = qmfi({"--provider", "none", "provider", "show"});
  EXPECT_EQ(provider.status, 1);
  EXPECT_THAT(provider.output, StartsWith("qmfi: the provider none cannot be loaded: "));
  EXPECT_EQ(qmfi({"access", "enable", "/mnt/a"}).output, "qmfi: /mnt/a has not been taken out of use\n");
}

TEST_F(CommandsTest, WhatIsNoMountPointOfTheTypeIsNotSnapshotted) {
  for (const char* path : {"/proc", "/mnt", "/nonexistent", "/dev/qm/dsk/dg1/a", "relative"}) {
    const auto outcome = qmfi({"snapshot", "create", "/mnt/a", path});
    EXPECT_EQ(outcome.status, 1) << path;
    EXPECT_EQ(outcome.output, "qmfi: the provider qmfsfi does not claim " + std::string(path) +
                                  ": no file system of its type is mounted there\n");
  }
}

TEST_F(CommandsTest, NameThatIsTakenIsRefused) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  for (const std::string& name : {std::string("nightly"), snapshot.id}) {
    const auto outcome = qmfi({"snapshot", "create", "/mnt/b", "--name", name});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "qmfi: a snapshot \"" + name + "\" exists already\n");
  }
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
}

TEST_F(CommandsTest, StateDirectoryOnAFileSystemThatIsToBeFrozenIsRefused) {
  const auto outcome = qmfi({"--state-dir", "/mnt/a/state", "snapshot", "create", "/mnt/b", "/mnt/a"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: the state directory /mnt/a/state lies on the file system of /mnt/a, which is to be frozen; "
            "--state-dir names another one\n");
  EXPECT_FALSE(fs::exists("/mnt/a/state"));
}

TEST_F(CommandsTest, StateDirectoriesOfTheirOwnKnowTheirOwnSnapshots) {
  const Snapshot snapshot = create({"/mnt/a"});
  EXPECT_EQ(qmfi({"snapshot", "list", "--json"}, {"QMFI_STATE_DIR=/tmp/other-state"}).output, "[]\n");
  EXPECT_EQ(qmfi({"--state-dir", "/tmp/other-state", "snapshot", "show", snapshot.id}).status, 1);
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
}

TEST_F(CommandsTest, OtherUsersThanRootAreRefused) {
  int status = 0;
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t nobody = 65534;
    _exit(setuid(nobody) == 0 ? qmfi({"snapshot", "list"}).status : 99);
  }
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 1);
}

// What mount says of a blank device is not ours to fix, so the text is compared up to it.
TEST_F(CommandsTest, ErrorOfTheProviderIsShownWithItsIdentifierInTheUsersLanguage) {
  const std::vector<std::string> words = {"resource", "online", spare, "/mnt/spare"};
  const auto withLanguage = [&](const std::string& language) {
    std::vector<std::string> all = {"--language", language};
    all.insert(all.end(), words.begin(), words.end());
    return qmfi(all);
  };
  const std::string first = "qmfi: /dev/qm/dsk/dg1/spare could not be brought online: status 6\n";
  const std::string identifier = "  MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION: ";
  const std::string english = first + identifier + "A command could not be run or failed: ";
  const std::string german =
      first + identifier + "Ein Kommando konnte nicht ausgeführt werden oder ist fehlgeschlagen: ";
  const auto outcome = qmfi(words);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, StartsWith(english));
  EXPECT_THAT(withLanguage("de").output, StartsWith(german));
  EXPECT_THAT(withLanguage("de_AT.UTF-8").output, StartsWith(german));
  EXPECT_THAT(withLanguage("fr").output, StartsWith(english));
  EXPECT_THAT(qmfi(words, {"LANG=de_DE.UTF-8"}).output, StartsWith(german));
  EXPECT_THAT(qmfi(words, {"LANG=de_DE.UTF-8", "LC_ALL=C"}).output, StartsWith(english));
  fs::remove("/mnt/spare");
}

TEST_F(CommandsTest, DeviceIsFormattedBroughtOnlineTakenOutOfUseAndBack) {
  EXPECT_EQ(qmfi({"resource", "format", "--force", spare}).output, std::string(spare) + " formatted\n");
  const auto online = qmfi({"resource", "online", spare, "/mnt/spare", "-o", "rw,noatime"});
  EXPECT_EQ(online.output, "/mnt/spare\n");
  EXPECT_EQ(mountLines("/mnt/spare").size(), 1U);
  EXPECT_EQ(qmfi({"resource", "online", spare, "/mnt/spare"}).output, "/mnt/spare\n");
  const auto elsewhere = qmfi({"resource", "online", spare, "/mnt/elsewhere"});
  EXPECT_EQ(elsewhere.status, 1);
  EXPECT_THAT(elsewhere.output, StartsWith("qmfi: /dev/qm/dsk/dg1/spare could not be brought online: status 1088\n"));
  std::ofstream("/mnt/spare/file") << "kept";

  EXPECT_EQ(qmfi({"access", "disable", "/mnt/spare", "/mnt/a"}).status, 0);
  EXPECT_TRUE(mountLines("/mnt/spare").empty());
  EXPECT_TRUE(mountLines("/mnt/a").empty());
  EXPECT_EQ(qmfi({"access", "disable", "/mnt/spare"}).status, 0);
  EXPECT_EQ(qmfi({"access", "enable", "/mnt/spare", "/mnt/a"}).status, 0);
  EXPECT_EQ(textOf("/mnt/spare/file"), "kept");
  EXPECT_EQ(mountLines("/mnt/a").size(), 1U);
  EXPECT_EQ(qmfi({"access", "enable", "/mnt/spare"}).status, 1);

  EXPECT_EQ(run({"/bin/umount", "/mnt/spare"}).status, 0);
  fs::remove("/mnt/spare");
}

TEST_F(CommandsTest, DeviceAndMountPointMayBeWrittenInOtherWays) {
  fs::create_symlink(spare, "/tmp/link-to-spare");
  fs::create_directory("/mnt/spare");
  fs::create_directory_symlink("/mnt/spare", "/tmp/link-to-mount-point");
  EXPECT_EQ(qmfi({"resource", "format", "--force", "/tmp/link-to-spare"}).output, std::string(spare) + " formatted\n");
  const std::vector<std::pair<std::string, std::string>> ways = {{"/tmp/link-to-spare", "/tmp/link-to-mount-point/"},
                                                                 {"/tmp/../tmp/link-to-spare", "/mnt/spare/"},
                                                                 {"/dev/qm/dsk/../dsk//dg1/spare", "/mnt/./spare"}};
  for (const auto& [device, mountPoint] : ways) {
    const auto online = qmfi({"resource", "online", device, mountPoint});
    EXPECT_EQ(online.status, 0) << device;
    EXPECT_EQ(online.output, "/mnt/spare\n") << device;
  }
  EXPECT_THAT(mountLines("/mnt/spare"), ElementsAre(StartsWith(std::string(spare) + " /mnt/spare qmfs ")));
  EXPECT_EQ(run({"/bin/umount", "/mnt/spare"}).status, 0);
  for (const char* path : {"/mnt/spare", "/tmp/link-to-spare", "/tmp/link-to-mount-point"}) fs::remove(path);
}

TEST_F(CommandsTest, CacheModesAreSwitched) {
  EXPECT_EQ(qmfi({"cache", "disable", "/mnt/a"}).status, 0);
  EXPECT_THAT(mountLines("/mnt/a"), ElementsAre(HasSubstr("delaylog")));
  EXPECT_EQ(qmfi({"cache", "enable", "/mnt/a"}).status, 0);
  EXPECT_THAT(mountLines("/mnt/a"), ElementsAre(HasSubstr("mincache=closesync")));
  EXPECT_EQ(qmfi({"cache", "enable", "/proc"}).status, 1);
  ASSERT_EQ(run({"/bin/umount", "/mnt/a"}).status, 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/a", "/mnt/a"}).status, 0);
}

TEST_F(CommandsTest, NothingIsFormattedWithoutConsent) {
  const auto unasked = qmfi({"resource", "format", spare});
  EXPECT_EQ(unasked.status, 1);
  EXPECT_EQ(
      unasked.output,
      "qmfi: formatting destroys what is on /dev/qm/dsk/dg1/spare; without a terminal to ask, --force is needed\n");
  const auto mounted = qmfi({"resource", "format", "--force", "/dev/qm/dsk/dg1/a"});
  EXPECT_EQ(mounted.status, 1);
  EXPECT_EQ(mounted.output, "qmfi: /dev/qm/dsk/dg1/a cannot be formatted: Device or resource busy\n");
}

TEST_F(CommandsTest, DeviceWithSomethingElseOnItIsFormattedByForceOnly) {
  ASSERT_EQ(run({"/sbin/mkswap", spare}).status, 0);
  const auto outcome = qmfi({"resource", "format", spare});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: /dev/qm/dsk/dg1/spare holds something else (swap); --force formats it all the same\n");
  EXPECT_EQ(qmfi({"resource", "format", "--force", spare}).status, 0);
}

}  // namespace
}  // namespace host_test
