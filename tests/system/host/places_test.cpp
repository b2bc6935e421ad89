// From where qmfi takes its files, and what it does with names at a terminal.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <pty.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <optional>

#include "host_fixture.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::Outcome;

constexpr uid_t somebody = 1000;
constexpr const char* advice = "; use a place that belongs to root and that nobody else can write to\n";

void expectRefused(const Outcome& outcome, const std::string& reason) {
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(outcome.output, "qmfi: " + reason + advice);
}

// Gives a file to an ordinary user while it lives.
class GivenAway {
 public:
  explicit GivenAway(fs::path path) : m_path(std::move(path)) { EXPECT_EQ(chown(m_path.c_str(), somebody, 0), 0); }
  GivenAway(const GivenAway&) = delete;
  GivenAway& operator=(const GivenAway&) = delete;
  ~GivenAway() { EXPECT_EQ(chown(m_path.c_str(), 0, 0), 0); }

 private:
  fs::path m_path;
};

using PlacesTest = HostTest;

TEST_F(PlacesTest, OfTheStateThatOthersCanChangeAreRefused) {
  for (const char* command : {"snapshot", "recover"}) {
    std::vector<std::string> words = {"--state-dir", "/tmp/state", command};
    if (words.back() == "snapshot") words.emplace_back("list");
    const std::string asked = words.back() == "list" ? "/tmp/state/state.db" : "/tmp/state";
    expectRefused(qmfi(words), asked + " cannot be trusted: everybody can write to /tmp");
  }
  EXPECT_FALSE(fs::exists("/tmp/state"));
}

TEST_F(PlacesTest, OfProvidersThatOthersCanChangeAreRefused) {
  expectRefused(qmfi({"--provider", "qmfsfi", "--provider-dir", "/tmp/providers", "provider", "show"}),
                "/tmp/providers/libqmfsfi.so cannot be trusted: everybody can write to /tmp");
}

TEST_F(PlacesTest, EveryFileOfAProviderHasToBeRoots) {
  const std::ofstream settings("/etc/qmfi/qmfsfi.conf", std::ios::app);
  for (const std::string file :
       {"/usr/lib/qmfi/providers/libqmfsfi.so", "/usr/lib/qmfi/providers/qmfsfi.provider", "/etc/qmfi/qmfsfi.conf",
        "/usr/share/qmfi/catalogs/qmfsfi/de.res", "/usr/share/qmfi/catalogs/qmfi/de/LC_MESSAGES/qmfi.mo"}) {
    const fs::path path = fs::canonical(file);
    const GivenAway given(path);
    expectRefused(qmfi({"claim", "/mnt/a"}),
                  file + " cannot be trusted: " + path.string() + " belongs to user " + std::to_string(somebody));
  }
  EXPECT_EQ(qmfi({"claim", "/mnt/a"}).status, 0);
}

// Whoever owns a directory above decides what is mounted over, unmounted or remounted.
TEST_F(PlacesTest, OfMountPointsThatOthersCanChangeAreRefused) {
  fs::create_directory("/mnt/theirs");
  fs::create_directory("/mnt/theirs/place");
  fs::create_directory_symlink("/mnt/b", "/mnt/theirs/link");
  fs::create_directory_symlink("/mnt/theirs/place", "/mnt/link");
  fs::create_directory_symlink("/mnt/theirs/link", "/mnt/link-to-link");
  std::optional<GivenAway> given("/mnt/theirs");
  const std::vector<std::string> commands[] = {{"cache", "enable"},
                                               {"cache", "disable"},
                                               {"access", "disable"},
                                               {"access", "enable"},
                                               {"resource", "online", "/dev/qm/dsk/dg1/a"}};
  for (std::vector<std::string> words : commands) {
    for (const char* path : {"/mnt/theirs/link", "/mnt/theirs/place", "/mnt/link", "/mnt/link-to-link"}) {
      words.emplace_back(path);
      expectRefused(qmfi(words), std::string(path) + " cannot be trusted: /mnt/theirs belongs to user 1000");
      words.pop_back();
    }
  }
  EXPECT_EQ(qmfi({"access", "list"}).output, "");
  given.reset();
  fs::remove_all("/mnt/theirs");
  fs::remove("/mnt/link");
  fs::remove("/mnt/link-to-link");
}

// Whoever owns a directory above decides what is formatted, or checked and mounted.
TEST_F(PlacesTest, OfDevicesThatOthersCanChangeAreRefused) {
  fs::create_directory("/dev/theirs");
  ASSERT_EQ(mknod("/dev/theirs/node", S_IFBLK | 0600, makedev(7, 255)), 0);
  fs::create_symlink("/dev/qm/dsk/dg1/a", "/dev/theirs/link");
  fs::create_symlink("/dev/theirs/node", "/dev/link");
  fs::create_symlink("/dev/theirs/link", "/dev/qm/dsk/dg1/link");
  std::optional<GivenAway> given("/dev/theirs");
  for (const std::string path :
       {"/dev/theirs/link", "/dev/theirs/node", "/dev/theirs/none", "/dev/link", "/dev/qm/dsk/dg1/link"}) {
    const std::string reason = path + " cannot be trusted: /dev/theirs belongs to user 1000";
    expectRefused(qmfi({"resource", "format", "--force", path}), reason);
    expectRefused(qmfi({"resource", "online", path, "/mnt/new"}), reason);
  }
  EXPECT_FALSE(fs::exists("/mnt/new"));
  given.reset();
  fs::remove_all("/dev/theirs");
  fs::remove("/dev/link");
  fs::remove("/dev/qm/dsk/dg1/link");
}

// The variables would lead to places that are refused.
TEST_F(PlacesTest, AreNotTakenFromTheEnvironmentByASetUserIdProgram) {
  const fs::path program = "/opt/set-user-id-qmfi";
  fs::copy_file("/usr/bin/qmfi", program);
  fs::permissions(program, fs::perms::set_uid, fs::perm_options::add);
  const std::vector<std::string> variables = {"QMFI_STATE_DIR=/tmp/state", "QMFI_PROVIDER_DIR=/tmp/providers"};
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (setuid(somebody) != 0) _exit(99);
    const Outcome outcome = testbed_test::run({program, "snapshot", "list"}, variables);
    [[maybe_unused]] const ssize_t written = write(ends[1], outcome.output.data(), outcome.output.size());
    _exit(outcome.status);
  }
  close(ends[1]);
  std::array<char, 256> text{};
  const ssize_t length = read(ends[0], text.data(), text.size());
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(std::string(text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))), emptyList);
  fs::remove(program);
}

TEST_F(PlacesTest, NamesDoNotCommandATerminal) {
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    execl("/usr/bin/qmfi", "qmfi", "snapshot", "show", "\x1b[31mred", nullptr);
    _exit(127);
  }
  std::string shown;
  std::array<char, 256> part{};
  for (ssize_t length = 0; (length = read(terminal, part.data(), part.size())) > 0;) {
    shown.append(part.data(), static_cast<std::size_t>(length));
  }
  int status = 0;
  waitpid(child, &status, 0);
  close(terminal);
  EXPECT_EQ(WEXITSTATUS(status), 4);
  EXPECT_EQ(shown, "qmfi: there is no snapshot \"\\x1b[31mred\"\r\n");
}

TEST_F(PlacesTest, NamesDoNotLookLikeLines) {
  EXPECT_EQ(qmfi({"claim", "/mnt/a\nqmfi: done"}).output, "/mnt/a\\x0aqmfi: done: not claimed\n");
  EXPECT_EQ(qmfi({"thaw", "/mnt/a\nqmfi: done"}).output,
            "qmfi: /mnt/a\\x0aqmfi: done cannot be opened: No such file or directory\n");
}

}  // namespace
}  // namespace host_test
