// A snapshot that one machine makes and another one imports: two testbeds on one storage, seen from outside.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

#include "build_tree.h"
#include "support.h"

namespace provider_test {
namespace {

namespace fs = std::filesystem;
using testbed_test::run;

// A storage that can share blocks, mounted where only this process and its children see it.
class Storage {
 public:
  Storage() {
    std::string directory = fs::temp_directory_path() / "shared-storage.XXXXXX";
    if (mkdtemp(directory.data()) == nullptr) return;
    m_directory = directory;
    fs::create_directory(path());
    const std::string image = m_directory / "image";
    m_ready = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
              run({"/usr/bin/truncate", "-s", "2G", image}).status == 0 &&
              run({"/sbin/mkfs.xfs", "-q", image}).status == 0 &&
              run({"/bin/mount", "-o", "loop", image, path()}).status == 0;
  }
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  ~Storage() {
    if (m_ready) run({"/bin/umount", path()});
    std::error_code ignored;
    fs::remove_all(m_directory, ignored);
  }

  bool ready() const { return m_ready; }
  std::string path() const { return m_directory / "pool"; }

 private:
  fs::path m_directory;
  bool m_ready = false;
};

// A machine that runs beside the test and goes on until its input ends.
class Machine {
 public:
  explicit Machine(std::vector<std::string> words) {
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (auto& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    if (posix_spawn(&m_process, pointers[0], &actions, nullptr, pointers.data(), environ) != 0) m_process = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    m_input = input[1];
    m_output = output[0];
  }
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine() {
    end();
    close(m_output);
  }

  // The first line that it prints; empty when it ends before.
  std::string line() const {
    std::string text;
    for (char next; read(m_output, &next, 1) == 1 && next != '\n';) text += next;
    return text;
  }

  // Ends its input and waits for it; its status as a shell reports it.
  int end() {
    if (m_input >= 0) close(std::exchange(m_input, -1));
    int status = -1;
    if (m_process < 0 || waitpid(std::exchange(m_process, -1), &status, 0) < 0) return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t m_process = -1;
  int m_input = -1;
  int m_output = -1;
};

TEST(OffHost, ASnapshotOfOneMachineIsImportedReadAndDeportedByAnother) {
  const Storage storage;
  ASSERT_TRUE(storage.ready());
  ASSERT_EQ(setenv("QMFS_BUILD_DIR", QMFI_BINARY_DIR, 1), 0);
  const auto machine = [&](const std::string& volume, const std::string& role) {
    return std::vector<std::string>{
        QMFI_SOURCE_DIR "/testbed/qmfs-testbed", "--pool", storage.path(), "--volume", volume, "--",
        QMFI_BINARY_DIR "/bin/off_host_machine", role};
  };
  Machine exporter(machine("data:320M:/mnt/data", "export"));
  ASSERT_EQ(exporter.line(), "ready");
  const testbed_test::Outcome imported = run(machine("snapshot:320M", "import"));
  EXPECT_EQ(imported.status, 0) << imported.output;
  // Nor has the first machine noticed anything.
  EXPECT_EQ(exporter.end(), 0);
}

}  // namespace
}  // namespace provider_test
