// A snapshot that one machine makes and another one imports: two testbeds on one storage, seen from outside.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "build_tree.h"
#include "support/program_run.h"
#include "system/pipe.h"

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
  explicit Machine(const std::vector<std::string>& words)
      : m_program(words, {.input = m_input.readEnd.get(), .output = m_output.writeEnd.get()}) {
    m_input.readEnd.reset();
    m_output.writeEnd.reset();
  }
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine() { end(); }

  // The first line that it prints; empty when it ends before.
  std::string line() const {
    std::string text;
    for (char next; read(m_output.readEnd.get(), &next, 1) == 1 && next != '\n';) text += next;
    return text;
  }

  // Ends its input and waits for it; its status as a shell reports it.
  int end() {
    m_input.writeEnd.reset();
    return m_program.wait();
  }

 private:
  qmfi_system::Pipe m_input = qmfi_system::makePipe();
  qmfi_system::Pipe m_output = qmfi_system::makePipe();
  testbed_test::RunningProgram m_program;
};

TEST(OffHost, ASnapshotOfOneMachineIsImportedReadAndDeportedByAnother) {
  const Storage storage;
  ASSERT_TRUE(storage.ready());
  ASSERT_EQ(setenv("QMFS_BUILD_DIR", QMFI_BINARY_DIR, 1), 0);
  const std::string testbed = QMFI_SOURCE_DIR "/testbed/qmfs-testbed";
  const std::string program = QMFI_BINARY_DIR "/bin/off_host_machine";
  const auto machine = [&](const std::string& volume, const std::string& role) {
    return std::vector<std::string>{testbed, "--pool", storage.path(), "--volume", volume, "--", program, role};
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
