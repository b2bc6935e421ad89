// Files of snapshots that are copied back, or into a directory.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c; of the type that QMFI_PROVIDER_DIR is for.
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "host_fixture.h"
#include "support/json_schema.h"
#include "support/text_file.h"
#include "system/descriptor.h"
#include "system/program.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using Json = nlohmann::json;
using testbed_test::Outcome;
using testbed_test::run;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* settings = "/run/restore-settings";
constexpr const char* restored = "/run/restored";
constexpr const char* slowRsync = "/run/restore-rsync";
constexpr const char* errors = "/run/restore-errors";

// Extended attributes, ACLs among them, of what a path names and not of what it leads to.
std::string attributesOf(const std::string& path) {
  std::array<char, 4096> names{};
  const ssize_t length = llistxattr(path.c_str(), names.data(), names.size());
  std::map<std::string, std::string> values;
  for (const char* name = names.data(); name < names.data() + length; name += std::strlen(name) + 1) {
    std::array<char, 4096> value{};
    const ssize_t size = lgetxattr(path.c_str(), name, value.data(), value.size());
    values[name] = size < 0 ? "?" : std::string(value.data(), static_cast<std::size_t>(size));
  }
  std::string text;
  for (const auto& [name, value] : values) text += " " + name + "=" + testing::PrintToString(value);
  return text;
}

// Where a file has data and where it has none, in pieces of 64 KiB.
std::string holesOf(const std::string& path) {
  constexpr off_t piece = 65536;
  const qmfi_system::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  const off_t end = lseek(file.get(), 0, SEEK_END);
  std::string text;
  for (off_t at = 0; at < end; at += piece) {
    const off_t data = lseek(file.get(), at, SEEK_DATA);
    text += data >= 0 && data < at + piece ? 'x' : '.';
  }
  return text;
}

std::string contentOf(const std::string& path, const struct stat& status) {
  if (S_ISLNK(status.st_mode)) return " -> " + fs::read_symlink(path).string();
  if (S_ISREG(status.st_mode)) {
    return " " + holesOf(path) + " " + std::to_string(std::hash<std::string>{}(textOf(path)));
  }
  if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) {
    return " " + std::to_string(major(status.st_rdev)) + ":" + std::to_string(minor(status.st_rdev));
  }
  return {};
}

// Everything below a directory and itself, a line for each in the order of the names; of a file with several names the
// first of them. A directory's size is its file system's affair.
std::string treeAt(const std::string& top) {
  std::set<std::string> paths = {""};
  if (fs::symlink_status(top).type() == fs::file_type::directory) {
    for (const auto& entry : fs::recursive_directory_iterator(top)) {
      paths.insert(entry.path().string().substr(top.size()));
    }
  }
  std::map<ino_t, std::string> firstNames;
  std::ostringstream text;
  for (const std::string& path : paths) {
    struct stat status {};
    EXPECT_EQ(lstat((top + path).c_str(), &status), 0) << path;
    text << testing::PrintToString(path) << std::oct << " " << status.st_mode << std::dec << " " << status.st_uid << ":"
         << status.st_gid << " " << status.st_mtim.tv_sec << "." << status.st_mtim.tv_nsec;
    if (!S_ISDIR(status.st_mode)) {
      text << " " << status.st_size << " as " << firstNames.try_emplace(status.st_ino, path).first->second;
    }
    text << contentOf(top + path, status) << attributesOf(top + path) << "\n";
  }
  return text.str();
}

// Its access times would say that the test has looked.
void age(const std::string& path, long nanoseconds) {
  const timespec times[] = {{1700000000, nanoseconds}, {1700000000, nanoseconds}};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

void write(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

// An access list that gives one more user rights, as the kernel keeps it.
void grant(const std::string& path, const char* name, std::uint16_t rights) {
  struct Entry {
    std::uint16_t tag;
    std::uint16_t rights;
    std::uint32_t id;
  };
  struct List {
    std::uint32_t version = 2;
    std::array<Entry, 5> entries;
  };
  constexpr std::uint32_t nobody = 0xffffffff;
  const List list{2, {{{1, 6, nobody}, {2, rights, 1003}, {4, 4, nobody}, {16, 7, nobody}, {32, 0, nobody}}}};
  EXPECT_EQ(setxattr(path.c_str(), name, &list, sizeof(list), 0), 0) << path << " " << strerror(errno);
}

// Names that a program could take for something else.
const std::vector<std::string>& oddNames() {
  static const std::vector<std::string> names = {"-x",   "--delete", "a:b",    "host::m", "*",
                                                 "[ab]", " ",        "\n\xff", "\\#012"};
  return names;
}

// One of everything that a file system has.
void plant(const std::string& top) {
  fs::create_directories(top + "/sub/deep");
  write(top + "/file", "one");
  write(top + "/sub/deep/file", "deep one");
  write(top + "/gone", "gone");
  fs::create_directories(top + "/gone-directory/inner");
  write(top + "/gone-directory/inner/file", "inner");
  write(top + "/becomes-directory", "a file");
  fs::create_directory(top + "/becomes-file");
  fs::create_hard_link(top + "/file", top + "/sub/hard");
  fs::create_symlink("sub/deep", top + "/link");
  fs::create_symlink("/nonexistent\n", top + "/dangling");
  EXPECT_EQ(lchown((top + "/dangling").c_str(), 1001, 1002), 0);
  std::ofstream(top + "/holes").seekp(4 << 20) << "end";
  EXPECT_EQ(mkfifo((top + "/fifo").c_str(), 0640), 0);
  EXPECT_EQ(mknod((top + "/null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
  EXPECT_EQ(mknod((top + "/block").c_str(), S_IFBLK | 0600, makedev(7, 250)), 0);
  for (const std::string& name : oddNames()) write(fs::path(top) / name, "odd " + name);
  EXPECT_EQ(chown((top + "/file").c_str(), 1001, 1002), 0);
  EXPECT_EQ(chmod((top + "/file").c_str(), 04751), 0);
  EXPECT_EQ(chown((top + "/sub").c_str(), 1001, 1002), 0);
  EXPECT_EQ(chmod((top + "/sub").c_str(), 02775), 0);
  EXPECT_EQ(setxattr((top + "/file").c_str(), "user.note", "a\0b", 3, 0), 0);
  EXPECT_EQ(setxattr((top + "/sub").c_str(), "trusted.note", "mine", 4, 0), 0);
  grant(top + "/gone", "system.posix_acl_access", 6);
  grant(top + "/sub", "system.posix_acl_default", 5);
  long nanoseconds = 123456789;
  for (const char* path : {"/file", "/dangling", "/holes", "/fifo", "/sub/deep/file", "/sub/deep", "/sub", ""}) {
    age(top + path, nanoseconds++);
  }
}

// What happens to files between a snapshot and the day on which they are missed.
void spoil(const std::string& top) {
  write(top + "/file", "two");
  EXPECT_EQ(chmod((top + "/sub/deep").c_str(), 0700), 0);
  EXPECT_EQ(removexattr((top + "/file").c_str(), "user.note"), 0);
  EXPECT_EQ(removexattr((top + "/sub").c_str(), "system.posix_acl_default"), 0);
  fs::remove(top + "/gone");
  fs::remove_all(top + "/gone-directory");
  fs::remove(top + "/becomes-directory");
  fs::create_directories(top + "/becomes-directory/full/of");
  write(top + "/becomes-directory/full/of/files", "new");
  fs::remove(top + "/becomes-file");
  write(top + "/becomes-file", "new");
  fs::remove(top + "/sub/hard");
  write(top + "/sub/hard", "one");
  fs::remove(top + "/link");
  fs::create_symlink("elsewhere", top + "/link");
  write(top + "/new", "new");
  fs::create_directories(top + "/new-directory/-x");
  write(top + "/new-directory/\n", "new");
}

void empty(const std::string& mountPoint) {
  for (const auto& entry : fs::directory_iterator(mountPoint)) {
    if (entry.path().filename() != "lost+found") fs::remove_all(entry.path());
  }
}

// Where it is mounted besides.
void mountVolume(const std::string& device, const std::string& mountPoint) {
  std::vector<std::string> words = {"/bin/mount", device, mountPoint};
  if (getenv("QMFI_PROVIDER_DIR") == nullptr) words.insert(words.begin() + 1, {"-t", "qmfs"});
  EXPECT_EQ(run(words).status, 0);
}

class RestoreTest : public HostTest {
 protected:
  void SetUp() override {
    fs::create_directory(settings);
    write(std::string(settings) + "/qmfi.toml", "[create]\nfreeze_timeout = 20\n");
    setenv("QMFI_CONFIG_DIR", settings, 1);
    plant("/mnt/a/tree");
    write("/mnt/b/file", "b one");
  }

  void TearDown() override {
    for (const std::string& name : namesOfSnapshots()) qmfiHere({"snapshot", "delete", name});
    for (const char* mountPoint : {"/mnt/a", "/mnt/b", "/mnt/c"}) empty(mountPoint);
    for (const char* left : {settings, restored, slowRsync, errors}) fs::remove_all(left);
    HostTest::TearDown();
  }

  // With the test's environment.
  static Outcome qmfiHere(const std::vector<std::string>& words) { return qmfi(words, qmfi_system::ownEnvironment()); }

  static void takeSnapshot(const std::vector<std::string>& mountPoints = {"/mnt/a", "/mnt/b"}) {
    std::vector<std::string> words = {"snapshot", "create", "--name", "nightly"};
    words.insert(words.end(), mountPoints.begin(), mountPoints.end());
    const Outcome outcome = qmfiHere(words);
    ASSERT_EQ(outcome.status, 0) << outcome.output;
  }

  static Outcome restore(std::vector<std::string> words) {
    words.insert(words.begin(), {"snapshot", "restore"});
    Outcome outcome = qmfiHere(words);
    outcome.output = withoutDates(outcome.output);
    return outcome;
  }

  static std::string withoutDates(const std::string& text) {
    static const std::regex name("before-restore-[0-9]{4}-[0-9]{2}-[0-9]{2}-[0-9]{6}(-[0-9]+)?");
    return std::regex_replace(text, name, "BEFORE");
  }

  static std::vector<std::string> namesOfSnapshots() {
    std::istringstream lines(qmfiHere({"snapshot", "list", "--no-headings", "-o", "name"}).output);
    std::vector<std::string> names;
    for (std::string name; std::getline(lines, name);) names.push_back(name);
    return names;
  }

  // The newest one that a restore has taken; empty without one.
  static std::string snapshotBefore() {
    const std::vector<std::string> names = namesOfSnapshots();
    return names.back().starts_with("before-restore-") ? names.back() : "";
  }

  static std::string stateOfNightly() {
    return qmfiHere({"snapshot", "list", "--no-headings", "-o", "name,state"}).output;
  }
};

constexpr const char* keptBefore = "snapshot BEFORE holds what was there before\n";

TEST_F(RestoreTest, NewDirectoryGetsAllFileSystemsWithAllThatBelongsToTheirFiles) {
  const std::string tree = treeAt("/mnt/a");
  takeSnapshot();
  spoil("/mnt/a/tree");
  const std::string spoilt = treeAt("/mnt/a");
  const Outcome outcome = restore({"nightly", "--to", "/mnt/c/restored"});
  EXPECT_EQ(outcome.output, "/mnt/a restored to /mnt/c/restored/mnt/a\n/mnt/b restored to /mnt/c/restored/mnt/b\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(treeAt("/mnt/c/restored/mnt/a"), tree);
  EXPECT_EQ(textOf("/mnt/c/restored/mnt/b/file"), "b one");
  EXPECT_EQ(treeAt("/mnt/a"), spoilt);
  for (const char* made : {"/mnt/c/restored", "/mnt/c/restored/mnt"}) {
    EXPECT_EQ(fs::status(made).permissions(), fs::perms::owner_all) << made;
  }
  EXPECT_EQ(namesOfSnapshots().size(), 1U);
}

TEST_F(RestoreTest, InPlaceEverythingIsAsItWas) {
  const std::string a = treeAt("/mnt/a");
  const std::string b = treeAt("/mnt/b");
  takeSnapshot();
  spoil("/mnt/a/tree");
  write("/mnt/b/file", "b two");
  write("/mnt/b/new", "new");
  const Outcome outcome = restore({"nightly", "--in-place"});
  EXPECT_EQ(outcome.output, std::string(keptBefore) + "/mnt/a restored\n/mnt/b restored\n");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(treeAt("/mnt/a"), a);
  EXPECT_EQ(treeAt("/mnt/b"), b);
}

TEST_F(RestoreTest, SnapshotOfWhatWasThereBeforeBringsItBack) {
  takeSnapshot();
  spoil("/mnt/a/tree");
  const std::string spoilt = treeAt("/mnt/a");
  EXPECT_EQ(restore({"nightly", "--in-place"}).status, 0);
  EXPECT_NE(treeAt("/mnt/a"), spoilt);
  const Outcome outcome = restore({snapshotBefore(), "--in-place"});
  EXPECT_EQ(outcome.output, std::string(keptBefore) + "/mnt/a restored\n/mnt/b restored\n");
  EXPECT_EQ(treeAt("/mnt/a"), spoilt);
  EXPECT_EQ(namesOfSnapshots().size(), 3U);
}

TEST_F(RestoreTest, PathInPlaceIsAsItWasAndNothingElseIsChanged) {
  const std::string deep = treeAt("/mnt/a/tree/sub/deep");
  takeSnapshot();
  spoil("/mnt/a/tree");
  write("/mnt/a/tree/sub/deep/file", "deep two");
  write("/mnt/a/tree/sub/deep/new", "new");
  fs::remove_all("/mnt/a/tree/sub/hard");
  const std::string file = treeAt("/mnt/a/tree/file");
  const Outcome outcome = restore({"nightly", "/mnt/a/tree/sub/deep/", "/mnt/a/tree/becomes-directory", "--in-place"});
  EXPECT_EQ(outcome.output,
            std::string(keptBefore) + "/mnt/a/tree/sub/deep restored\n/mnt/a/tree/becomes-directory restored\n");
  EXPECT_EQ(treeAt("/mnt/a/tree/sub/deep"), deep);
  EXPECT_EQ(textOf("/mnt/a/tree/becomes-directory"), "a file");
  EXPECT_EQ(treeAt("/mnt/a/tree/file"), file);
  EXPECT_FALSE(fs::exists("/mnt/a/tree/sub/hard"));
  EXPECT_EQ(textOf("/mnt/a/tree/new"), "new");
}

TEST_F(RestoreTest, DirectoriesThatAreMissingOnTheWayToAPathComeWithIt) {
  write("/mnt/a/tree/sub/deep/other", "not asked for");
  takeSnapshot({"/mnt/a"});
  const std::string file = treeAt("/mnt/a/tree/sub/deep/file");
  struct stat before {};
  ASSERT_EQ(stat("/mnt/a/tree/sub", &before), 0);
  fs::remove_all("/mnt/a/tree/sub");
  EXPECT_EQ(restore({"nightly", "/mnt/a/tree/sub/deep/file", "--in-place"}).status, 0);
  EXPECT_EQ(treeAt("/mnt/a/tree/sub/deep/file"), file);
  struct stat after {};
  ASSERT_EQ(stat("/mnt/a/tree/sub", &after), 0);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_FALSE(fs::exists("/mnt/a/tree/sub/deep/other"));
}

TEST_F(RestoreTest, PathBelowWhatIsNoDirectoryAnyMoreIsRefused) {
  takeSnapshot({"/mnt/a"});
  fs::remove_all("/mnt/a/tree/sub");
  fs::create_directory_symlink("/mnt/b", "/mnt/a/tree/sub");
  const Outcome outcome = restore({"nightly", "/mnt/a/tree/sub/deep/file", "--in-place"});
  EXPECT_EQ(outcome.output,
            "qmfi: /mnt/a/tree/sub, where files are to be restored, cannot be entered: Not a directory\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(snapshotBefore(), "");
}

TEST_F(RestoreTest, PathGoesIntoADirectoryWithTheDirectoriesAboveIt) {
  takeSnapshot();
  const Outcome outcome = restore({"nightly", "/mnt/a/tree/sub/deep/file", "/mnt/b", "--to", "/mnt/c/restored"});
  EXPECT_EQ(outcome.output,
            "/mnt/a/tree/sub/deep/file restored to /mnt/c/restored/mnt/a/tree/sub/deep/file\n"
            "/mnt/b restored to /mnt/c/restored/mnt/b\n");
  EXPECT_EQ(treeAt("/mnt/c/restored/mnt/a/tree/sub/deep"), treeAt("/mnt/a/tree/sub/deep"));
  EXPECT_EQ(std::distance(fs::directory_iterator("/mnt/c/restored/mnt/a/tree"), {}), 1);
}

TEST_F(RestoreTest, NamesThatAreNoTextArePaths) {
  takeSnapshot({"/mnt/a"});
  for (const std::string& name : oddNames()) {
    const std::string path = "/mnt/a/tree/" + name;
    const std::string before = treeAt(path);
    fs::remove(path);
    EXPECT_EQ(restore({"nightly", "--in-place", path}).status, 0) << name;
    EXPECT_EQ(treeAt(path), before);
    EXPECT_EQ(restore({"nightly", path, "--to", "/mnt/c/" + name}).status, 0) << name;
    EXPECT_EQ(textOf("/mnt/c/" + name + path), "odd " + name);
    EXPECT_EQ(qmfiHere({"snapshot", "delete", snapshotBefore()}).status, 0);
  }
}

TEST_F(RestoreTest, SnapshotThatIsNotMountedIsMountedForTheTime) {
  const std::string tree = treeAt("/mnt/a");
  takeSnapshot();
  ASSERT_EQ(qmfiHere({"snapshot", "unmount", "nightly"}).status, 0);
  EXPECT_EQ(restore({"nightly", "--to", "/mnt/c/restored"}).status, 0);
  EXPECT_EQ(treeAt("/mnt/c/restored/mnt/a"), tree);
  EXPECT_EQ(stateOfNightly(), "nightly  unmounted\n");
  spoil("/mnt/a/tree");
  EXPECT_EQ(restore({"nightly", "--in-place", "--dry-run"}).status, 0);
  EXPECT_EQ(stateOfNightly(), "nightly  unmounted\n");
  EXPECT_EQ(restore({"nightly", "/mnt/a", "--in-place"}).status, 0);
  EXPECT_EQ(treeAt("/mnt/a"), tree);
  EXPECT_THAT(stateOfNightly(), StartsWith("nightly                           unmounted\n"));
  EXPECT_EQ(restore({"nightly", "/mnt/a/none", "--in-place"}).status, 4);
  EXPECT_THAT(stateOfNightly(), StartsWith("nightly                           unmounted\n"));
}

TEST_F(RestoreTest, WhatTheSnapshotDoesNotHaveIsNotFoundAndNothingIsDone) {
  takeSnapshot({"/mnt/a"});
  write("/mnt/a/tree/later", "new");
  for (const std::string path :
       {"/mnt/a/tree/later", "/mnt/a/tree/file/x", "/mnt/a/tree/link/file", "/mnt/b", "/mnt"}) {
    for (const std::vector<std::string>& way :
         {std::vector<std::string>{"--in-place"}, std::vector<std::string>{"--to", restored}}) {
      std::vector<std::string> words = {"nightly", "/mnt/a/tree/file", path};
      words.insert(words.end(), way.begin(), way.end());
      const Outcome outcome = restore(words);
      EXPECT_EQ(outcome.output, "qmfi: the snapshot nightly has no " + path + "\n");
      EXPECT_EQ(outcome.status, 4);
    }
  }
  EXPECT_FALSE(fs::exists(restored));
  EXPECT_EQ(namesOfSnapshots().size(), 1U);
  EXPECT_EQ(restore({"none", "--in-place"}).output, "qmfi: there is no snapshot \"none\"\n");
  EXPECT_EQ(restore({"none", "--in-place"}).status, 4);
}

TEST_F(RestoreTest, WordsThatMakeNoSenseAreRefused) {
  takeSnapshot({"/mnt/a"});
  const struct {
    std::vector<std::string> words;
    std::string output;
  } cases[] = {
      {{"nightly"}, "qmfi: either --to DIR or --in-place says where files go\n"},
      {{"nightly", "--to", restored, "--in-place"}, "qmfi: either --to DIR or --in-place says where files go\n"},
      {{"nightly", "mnt/a", "--in-place"}, "qmfi: \"mnt/a\" is no absolute path; what is restored is named by one\n"},
      {{"nightly", "/mnt/a/../b", "--in-place"}, "qmfi: \"/mnt/a/../b\" has \"..\" in it; name the path without\n"},
      {{"nightly", "/mnt/a", "/mnt/a/", "--in-place"}, "qmfi: /mnt/a is given twice\n"},
      {{"--in-place"}, "qmfi: SNAPSHOT is required\nRun with --help for more information.\n"},
  };
  for (const auto& one : cases) {
    const Outcome outcome = restore(one.words);
    EXPECT_EQ(outcome.output, one.output);
    EXPECT_EQ(outcome.status, 2) << testing::PrintToString(one.words);
  }
}

TEST_F(RestoreTest, DirectoryThatOthersChangeOrThatHoldsSomethingIsRefused) {
  takeSnapshot({"/mnt/a"});
  fs::create_directories(std::string(restored) + "/full/something");
  fs::create_directory(std::string(restored) + "/of-user");
  fs::create_directory(std::string(restored) + "/of-all");
  write(std::string(restored) + "/file", "");
  ASSERT_EQ(chown("/run/restored/of-user", 1001, 0), 0);
  ASSERT_EQ(chmod("/run/restored/of-all", 01777), 0);
  const std::string way = "; use a place that belongs to root and that nobody else can write to\n";
  const struct {
    std::string directory;
    int status;
    std::string output;
  } cases[] = {
      {"/run/restored/full", 1,
       "qmfi: /run/restored/full is not empty; --force restores into it all the same, and replaces what has the names "
       "of restored files\n"},
      {"/run/restored/of-user/new", 8,
       "qmfi: /run/restored/of-user/new cannot be trusted: /run/restored/of-user belongs to user 1001" + way},
      {"/run/restored/of-all", 8,
       "qmfi: /run/restored/of-all cannot be trusted: everybody can write to /run/restored/of-all" + way},
      {"/run/restored/none/new", 4, "qmfi: /run/restored/none is no directory, so nothing can be restored into it\n"},
      {"/run/restored/file", 4, "qmfi: /run/restored/file is no directory, so nothing can be restored into it\n"},
  };
  for (const auto& one : cases) {
    const Outcome outcome = restore({"nightly", "--to", one.directory});
    EXPECT_EQ(outcome.output, one.output);
    EXPECT_EQ(outcome.status, one.status);
  }
  EXPECT_FALSE(fs::exists("/run/restored/full/mnt"));
}

TEST_F(RestoreTest, DirectoryInASnapshotIsRefused) {
  takeSnapshot({"/mnt/a"});
  ASSERT_EQ(qmfiHere({"snapshot", "create", "/mnt/b", "--name", "another"}).status, 0);
  for (const std::string directory : {"/run/qmfi/snapshots/nightly/mnt/a/tree", "/run/qmfi/snapshots/another/mnt/b/new",
                                      "/run/qmfi/snapshots/nightly/new"}) {
    const Outcome outcome = restore({"nightly", "--to", directory});
    EXPECT_THAT(outcome.output,
                MatchesRegex("qmfi: /run/qmfi/snapshots/[a-z/]* is part of the snapshot (nightly|another), which stays "
                             "as it is; \"qmfi snapshot unmount\" and \"delete\" take it away\n"));
    EXPECT_EQ(outcome.status, 1);
  }
}

TEST_F(RestoreTest, DirectoryThatIsNotEmptyIsTakenByForce) {
  takeSnapshot({"/mnt/a"});
  const std::string tree = treeAt("/mnt/a");
  ASSERT_EQ(restore({"nightly", "--to", "/mnt/c/restored"}).status, 0);
  write("/mnt/c/restored/mnt/a/tree/file", "other");
  write("/mnt/c/restored/kept", "kept");
  EXPECT_EQ(restore({"nightly", "--to", "/mnt/c/restored", "--force"}).output,
            "/mnt/a restored to /mnt/c/restored/mnt/a\n");
  EXPECT_EQ(treeAt("/mnt/c/restored/mnt/a"), tree);
  EXPECT_EQ(textOf("/mnt/c/restored/kept"), "kept");
}

TEST_F(RestoreTest, WhatIsMountedInADirectoryIsNotTakenByForceEither) {
  takeSnapshot({"/mnt/a"});
  const Outcome outcome = restore({"nightly", "--to", "/", "--force"});
  EXPECT_EQ(outcome.status, 5);
  EXPECT_THAT(outcome.output,
              MatchesRegex("qmfi: something else is mounted on /mnt(/a)?, where files are to be restored; "
                           "unmount it; the same command with --force goes on from there\n"));
}

TEST_F(RestoreTest, UsersAreNamedUnlessByForce) {
  takeSnapshot({"/mnt/a", "/mnt/b"});
  spoil("/mnt/a/tree");
  const std::string spoilt = treeAt("/mnt/a");
  HeldProgram user({"/bin/sh", "-c", "cd /mnt/a && read line"}, HeldProgram::By::input);
  const Outcome refused = restore({"nightly", "--in-place"});
  EXPECT_EQ(refused.status, 5);
  EXPECT_THAT(refused.output,
              MatchesRegex("qmfi: what is to be restored is in use; --force restores it all the same, and changes it "
                           "below its users\n  /mnt/a: process [0-9]+ \\(sh\\)\n"));
  EXPECT_EQ(treeAt("/mnt/a"), spoilt);
  EXPECT_EQ(namesOfSnapshots().size(), 1U);
  EXPECT_EQ(restore({"nightly", "/mnt/b", "--in-place"}).status, 0);
  EXPECT_EQ(restore({"nightly", "--in-place", "--dry-run"}).status, 0);
  EXPECT_EQ(restore({"nightly", "--in-place", "--force"}).status, 0);
  EXPECT_EQ(textOf("/mnt/a/tree/file"), "one");
  user.letGo();
}

TEST_F(RestoreTest, DryRunTellsEachChangeInALineAndChangesNothing) {
  fs::remove_all("/mnt/a/tree");
  for (const char* name : {"/mnt/a/changed", "/mnt/a/gone", "/mnt/a/same"}) write(name, "text");
  age("/mnt/a", 1);
  takeSnapshot({"/mnt/a"});
  fs::remove("/mnt/a/gone");
  write("/mnt/a/changed", "another text");
  write("/mnt/a/new\n\xff", "new");
  age("/mnt/a", 1);
  const std::string spoilt = treeAt("/mnt/a");
  const Outcome outcome = restore({"nightly", "--in-place", "--dry-run"});
  EXPECT_EQ(outcome.output, "*deleting   /mnt/a/new\\x0a\xff\n>f.st...... /mnt/a/changed\n>f+++++++++ /mnt/a/gone\n");
  EXPECT_EQ(outcome.status, 0);
  const Json document = Json::parse(restore({"nightly", "/mnt/a", "--in-place", "--dry-run", "--json"}).output);
  EXPECT_EQ(document[0]["changes"][0]["path_bytes"], "/mnt/a/new%0A%FF");
  EXPECT_EQ(document[0]["outcome"], "would be restored");
  EXPECT_EQ(treeAt("/mnt/a"), spoilt);
  const Outcome elsewhere = restore({"nightly", "/mnt/a/same", "--to", "/run/restored", "--dry-run"});
  EXPECT_EQ(elsewhere.output, ">f+++++++++ /run/restored/mnt/a/same\n");
  EXPECT_FALSE(fs::exists(restored));
  EXPECT_EQ(namesOfSnapshots().size(), 1U);
}

TEST_F(RestoreTest, ContentsAreComparedByChecksumOnlyWhereThatIsAskedFor) {
  takeSnapshot({"/mnt/a"});
  write("/mnt/a/tree/file", "two");
  age("/mnt/a/tree/file", 123456789);
  EXPECT_EQ(restore({"nightly", "--in-place"}).status, 0);
  EXPECT_EQ(textOf("/mnt/a/tree/file"), "two");
  EXPECT_EQ(restore({"nightly", "--in-place", "--checksum"}).status, 0);
  EXPECT_EQ(textOf("/mnt/a/tree/file"), "one");
}

TEST_F(RestoreTest, FileSystemThatIsNotThereOrCannotBeWrittenToIsRefused) {
  takeSnapshot({"/mnt/a", "/mnt/b"});
  const auto inPlace = [] { return restore({"nightly", "--in-place"}); };
  ASSERT_EQ(mount(nullptr, "/mnt/b", nullptr, MS_REMOUNT | MS_RDONLY | MS_BIND, nullptr), 0);
  Outcome outcome = inPlace();
  EXPECT_EQ(mount(nullptr, "/mnt/b", nullptr, MS_REMOUNT | MS_BIND, nullptr), 0);
  EXPECT_EQ(outcome.output, "qmfi: /mnt/b is mounted read-only; \"mount -o remount,rw /mnt/b\" makes it writable\n");
  EXPECT_EQ(outcome.status, 1);
  const std::string isAnother =
      "qmfi: the file system of /dev/qm/dsk/dg1/b, of which the snapshot was taken, is not mounted on /mnt/b as a "
      "whole; "
      "\"findmnt --target /mnt/b\" shows what is there\n";
  fs::create_directory("/mnt/b/part");
  for (const char* source : {"/mnt/c", "/mnt/b/part"}) {
    ASSERT_EQ(mount(source, "/mnt/b", nullptr, MS_BIND, nullptr), 0);
    outcome = inPlace();
    EXPECT_EQ(umount2("/mnt/b", 0), 0);
    EXPECT_EQ(outcome.output, isAnother);
    EXPECT_EQ(outcome.status, 1);
  }
  EXPECT_EQ(namesOfSnapshots().size(), 1U);
}

TEST_F(RestoreTest, WhatIsMountedInTheWayIsRefused) {
  fs::create_directory("/mnt/a/tree/inner");
  takeSnapshot({"/mnt/a"});
  ASSERT_EQ(mount("/mnt/c", "/mnt/a/tree/inner", nullptr, MS_BIND, nullptr), 0);
  for (const char* path : {"/mnt/a", "/mnt/a/tree", "/mnt/a/tree/inner"}) {
    const Outcome outcome = restore({"nightly", path, "--in-place"});
    EXPECT_EQ(outcome.output,
              "qmfi: something else is mounted on /mnt/a/tree/inner, where files are to be restored; unmount it\n");
    EXPECT_EQ(outcome.status, 5);
  }
  EXPECT_EQ(restore({"nightly", "/mnt/a/tree/file", "--in-place"}).status, 0);
  EXPECT_EQ(umount2("/mnt/a/tree/inner", 0), 0);
}

TEST_F(RestoreTest, FileSystemsWithinOneAnotherAreRestoredEach) {
  fs::create_directory("/mnt/a/inner");
  mountVolume("/dev/qm/dsk/dg1/c", "/mnt/a/inner");
  write("/mnt/a/inner/file", "inner one");
  const std::string tree = treeAt("/mnt/a");
  takeSnapshot({"/mnt/a/inner", "/mnt/a"});
  spoil("/mnt/a/tree");
  write("/mnt/a/inner/file", "inner two");
  write("/mnt/a/inner/new", "new");
  EXPECT_EQ(restore({"nightly", "--in-place"}).output,
            std::string(keptBefore) + "/mnt/a restored\n/mnt/a/inner restored\n");
  EXPECT_EQ(treeAt("/mnt/a"), tree);
  EXPECT_EQ(restore({"nightly", "--to", "/mnt/b/restored"}).status, 0);
  EXPECT_EQ(treeAt("/mnt/b/restored/mnt/a"), tree);
  for (const std::string& name : namesOfSnapshots()) EXPECT_EQ(qmfiHere({"snapshot", "delete", name}).status, 0);
  EXPECT_EQ(run({"/bin/umount", "/mnt/a/inner"}).status, 0);
}

TEST_F(RestoreTest, RsyncThatIsMissingIsToldBeforeAnythingIsDone) {
  takeSnapshot({"/mnt/a"});
  fs::rename("/usr/bin/rsync", "/usr/bin/rsync-aside");
  const Outcome outcome = restore({"nightly", "--in-place"});
  const Outcome json = qmfiHere({"snapshot", "restore", "nightly", "--in-place", "--json"});
  const Outcome doctor = qmfiHere({"doctor"});
  fs::rename("/usr/bin/rsync-aside", "/usr/bin/rsync");
  EXPECT_EQ(
      outcome.output,
      "qmfi: files are copied by means of /usr/bin/rsync, which cannot be run: No such file or directory; install the "
      "package rsync\n");
  EXPECT_EQ(outcome.status, 127);
  EXPECT_EQ(json.status, 127);
  EXPECT_THAT(doctor.output,
              testing::HasSubstr("notice   restore     files of snapshots cannot be copied back: files are "
                                 "copied by means of /usr/bin/rsync, which cannot be run: No such file "
                                 "or directory; install the package rsync\n"));
  EXPECT_EQ(namesOfSnapshots().size(), 1U);
}

TEST_F(RestoreTest, TargetThatIsFullIsToldAndTheSnapshotUnmountedAgain) {
  fs::remove_all("/mnt/a/tree");
  write("/mnt/a/big", std::string(2 << 20, 'x'));
  takeSnapshot({"/mnt/a"});
  ASSERT_EQ(qmfiHere({"snapshot", "unmount", "nightly"}).status, 0);
  fs::create_directory(restored);
  ASSERT_EQ(mount("none", restored, "tmpfs", 0, "size=1m,mode=700"), 0);
  const Outcome outcome = restore({"nightly", "/mnt/a/big", "--to", restored});
  const Outcome json = restore({"nightly", "/mnt/a/big", "--to", restored, "--force", "--json"});
  EXPECT_EQ(umount2(restored, 0), 0);
  EXPECT_EQ(outcome.output,
            "qmfi: /mnt/a/big could not be restored: rsync: [receiver] write failed on \"/run/restored/mnt/a/big\": No "
            "space left on device (28); the same command with --force goes on from there\n");
  EXPECT_EQ(outcome.status, 1);
  const testbed_test::JsonOutput parts = testbed_test::jsonOutputOf(json.output);
  EXPECT_EQ(Json::parse(parts.document)[0]["error"]["id"], "storage_full");
  EXPECT_EQ(stateOfNightly(), "nightly  unmounted\n");
}

TEST_F(RestoreTest, FilesThatCannotBeRestoredAreToldEachAndTheOthersAreRestored) {
  takeSnapshot({"/mnt/a", "/mnt/b"});
  spoil("/mnt/a/tree");
  write("/mnt/b/file", "b two");
  ASSERT_EQ(run({"/usr/bin/chattr", "+i", "/mnt/a/tree/file"}).status, 0);
  const Outcome outcome = restore({"nightly", "--in-place"});
  EXPECT_EQ(run({"/usr/bin/chattr", "-i", "/mnt/a/tree/file"}).status, 0);
  EXPECT_EQ(outcome.status, 3);
  EXPECT_THAT(
      outcome.output,
      MatchesRegex(std::string(keptBefore) +
                   "qmfi: /mnt/a could be restored only in part; the same command goes on from there, and \"qmfi "
                   "snapshot restore BEFORE /mnt/a --in-place\" brings back what was there before\n"
                   "(  rsync: .*/mnt/a/tree/.*Operation not permitted \\(1\\)\n)+"
                   "/mnt/b restored\n"));
  EXPECT_FALSE(fs::exists("/mnt/a/tree/new"));
  EXPECT_EQ(textOf("/mnt/b/file"), "b one");
}

TEST_F(RestoreTest, JsonTellsWhereEachWentAndWhatHoldsTheStateBefore) {
  takeSnapshot();
  const auto json = [](std::vector<std::string> words) {
    words.emplace_back("--json");
    return Json::parse(restore(words).output);
  };
  EXPECT_EQ(json({"nightly", "/mnt/a/tree/file", "--in-place"}), Json::parse(R"([
    {"path": "/mnt/a/tree/file", "to": "/mnt/a/tree/file", "before": "BEFORE", "outcome": "restored",
     "error": null}])"));
  EXPECT_EQ(json({"nightly", "/mnt/b", "--to", "/run/restored"}), Json::parse(R"([
    {"path": "/mnt/b", "to": "/run/restored/mnt/b", "before": null, "outcome": "restored", "error": null}])"));
}

TEST_F(RestoreTest, StepsAreTold) {
  takeSnapshot({"/mnt/b"});
  const Outcome outcome = restore({"nightly", "--to", restored, "--progress=json"});
  EXPECT_THAT(outcome.output, MatchesRegex("\\{\"event\":\"step\",\"step\":\"restore\",\"object\":\"/mnt/b\","
                                           "\"elapsed_ms\":[0-9]+\\}\n/mnt/b restored to /run/restored/mnt/b\n"));
}

// A restore of /mnt/a that would take minutes.
class SlowRestoreTest : public RestoreTest {
 protected:
  void SetUp() override {
    RestoreTest::SetUp();
    write("/mnt/a/tree/zz", std::string(64 << 20, 'x'));
    m_tree = treeAt("/mnt/a");
    takeSnapshot({"/mnt/a", "/mnt/b"});
    spoil("/mnt/a/tree");
    fs::remove("/mnt/a/tree/zz");
    fs::copy_file("/usr/bin/rsync", slowRsync);
    m_slowness.emplace("/usr/bin/rsync", "exec " + std::string(slowRsync) + " --bwlimit=1M \"$@\"\n");
  }

  void TearDown() override {
    m_slowness.reset();
    RestoreTest::TearDown();
  }

  void begin(const std::string& words) {
    m_restoring.emplace(std::vector<std::string>{
        "/bin/sh", "-c", "exec /usr/bin/qmfi snapshot restore nightly " + words + " >" + errors + " 2>&1"});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!isUnderWay() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    ASSERT_TRUE(isUnderWay()) << textOf(errors);
  }

  // rsync writes a file under another name, and renames it. Before qmfi has told of its snapshot, who looks into what
  // is to be restored in place is a user of it.
  static bool isUnderWay() {
    std::error_code error;
    std::vector<std::string> directories = {"/mnt/c/restored/mnt/a/tree"};
    if (!textOf(errors).empty()) directories.emplace_back("/mnt/a/tree");
    for (const std::string& directory : directories) {
      for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
           entry.increment(error)) {
        if (entry->path().filename().string().starts_with(".zz.")) return true;
      }
    }
    return false;
  }

  // Whether no rsync of ours works any more, in a minute at the latest.
  static bool waitForEndOfRsync() {
    const auto isAtWork = [] {
      for (const auto& entry : fs::directory_iterator("/proc")) {
        if (textOf(entry.path() / "cmdline").starts_with(slowRsync)) return true;
      }
      return false;
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (isAtWork() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    return !isAtWork();
  }

  std::string m_tree;
  std::optional<ScriptInPlaceOf> m_slowness;
  std::optional<testbed_test::RunningProgram> m_restoring;
};

TEST_F(SlowRestoreTest, CtrlCEndsItAndSaysWhatIsRestoredOnlyInPartAndHowToGoOn) {
  begin("--in-place");
  m_restoring->send(SIGINT);
  EXPECT_EQ(m_restoring->wait(), 128 + SIGINT);
  EXPECT_EQ(withoutDates(textOf(errors)),
            std::string(keptBefore) +
                "qmfi: /mnt/a is restored only in part; the same command goes on from there, and "
                "\"qmfi snapshot restore BEFORE /mnt/a --in-place\" brings back what was there before\n"
                "  /mnt/b: not begun\nqmfi: interrupted by SIGINT\n");
  EXPECT_FALSE(isUnderWay());
  m_slowness.reset();
  EXPECT_EQ(restore({"nightly", "--in-place"}).status, 0);
  EXPECT_EQ(treeAt("/mnt/a"), m_tree);
}

TEST_F(SlowRestoreTest, CtrlCUnmountsASnapshotThatWasMountedForTheTime) {
  ASSERT_EQ(qmfiHere({"snapshot", "unmount", "nightly"}).status, 0);
  begin("--to /mnt/c/restored");
  EXPECT_EQ(stateOfNightly(), "nightly  working\n");
  m_restoring->send(SIGTERM);
  EXPECT_EQ(m_restoring->wait(), 128 + SIGTERM);
  EXPECT_EQ(textOf(errors),
            "qmfi: /mnt/a is restored only in part; the same command with --force goes on from "
            "there\n  /mnt/b: not begun\nqmfi: interrupted by SIGTERM\n");
  EXPECT_EQ(stateOfNightly(), "nightly  unmounted\n");
  EXPECT_FALSE(isUnderWay());
  m_slowness.reset();
  EXPECT_EQ(restore({"nightly", "--to", "/mnt/c/restored", "--force"}).status, 0);
  EXPECT_EQ(treeAt("/mnt/c/restored/mnt/a"), m_tree);
}

TEST_F(SlowRestoreTest, WhatAKilledQmfiLeavesIsMendedByRecoverAndASecondRestoreFinishesTheJob) {
  ASSERT_EQ(qmfiHere({"snapshot", "unmount", "nightly"}).status, 0);
  begin("/mnt/a --in-place");
  m_restoring->send(SIGKILL);
  EXPECT_EQ(m_restoring->wait(), 128 + SIGKILL);
  EXPECT_TRUE(waitForEndOfRsync());
  EXPECT_FALSE(isUnderWay());
  EXPECT_THAT(stateOfNightly(), StartsWith("nightly                           interrupted\n"));
  EXPECT_THAT(qmfiHere({"recover"}).output, MatchesRegex("snapshot [0-9a-f]{8} unmounted\n"));
  m_slowness.reset();
  EXPECT_EQ(restore({"nightly", "--in-place"}).status, 0);
  EXPECT_EQ(treeAt("/mnt/a"), m_tree);
}

TEST_F(SlowRestoreTest, OthersUseTheStateMeanwhileButNeitherTheSnapshotNorTheFileSystem) {
  begin("/mnt/a --in-place");
  for (const std::vector<std::string>& words : {std::vector<std::string>{"snapshot", "delete", "--force", "nightly"},
                                                {"snapshot", "unmount", "nightly"},
                                                {"snapshot", "restore", snapshotBefore(), "/mnt/a", "--in-place"},
                                                {"access", "disable", "/mnt/a"}}) {
    std::vector<std::string> impatient = {"--lock-wait", "0"};
    impatient.insert(impatient.end(), words.begin(), words.end());
    EXPECT_EQ(qmfiHere(impatient).status, 9) << testing::PrintToString(words);
  }
  ASSERT_EQ(qmfiHere({"snapshot", "create", "/mnt/b", "--name", "another"}).status, 0);
  EXPECT_EQ(qmfiHere({"snapshot", "delete", "another"}).status, 0);
  EXPECT_EQ(qmfiHere({"recover"}).status, 0);
  m_restoring->send(SIGINT);
  EXPECT_EQ(m_restoring->wait(), 128 + SIGINT);
  EXPECT_EQ(qmfiHere({"snapshot", "delete", "nightly"}).status, 0);
}

}  // namespace
}  // namespace host_test
