// The question that "qmfi resource format" asks at a terminal.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c, "spare" of the file system's type or blank.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "host_fixture.h"

namespace host_test {
namespace {

constexpr const char* spare = "/dev/qm/dsk/dg1/spare";

using FormatTest = HostTest;

// The beginning of the device, where a file system has an identifier of its own.
std::string beginningOfSpare() {
  std::array<char, 4096> block{};
  const int device = open(spare, O_RDONLY | O_CLOEXEC);
  const auto length = pread(device, block.data(), block.size(), 0);
  close(device);
  return {block.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

// A "qmfi resource format" at a terminal of its own.
class FormatAtTerminal {
 public:
  FormatAtTerminal() : m_process(forkpty(&m_terminal, nullptr, nullptr, nullptr)) {
    if (m_process != 0) return;
    execl("/usr/bin/qmfi", "qmfi", "resource", "format", spare, nullptr);
    _exit(127);
  }
  FormatAtTerminal(const FormatAtTerminal&) = delete;
  FormatAtTerminal& operator=(const FormatAtTerminal&) = delete;
  ~FormatAtTerminal() { close(m_terminal); }

  // Reads until the question; false when it does not come.
  bool waitForQuestion() {
    constexpr int patienceMilliseconds = 30000;
    std::string shown;
    pollfd readable{m_terminal, POLLIN, 0};
    std::array<char, 256> part{};
    while (shown.find("to go on: ") == std::string::npos) {
      const auto length =
          poll(&readable, 1, patienceMilliseconds) == 1 ? read(m_terminal, part.data(), part.size()) : 0;
      if (length <= 0) return false;
      shown.append(part.data(), static_cast<std::size_t>(length));
    }
    return true;
  }

  void type(const std::string& text) const {
    EXPECT_EQ(write(m_terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  // The status as waitpid gives it.
  int wait() const {
    int status = -1;
    waitpid(m_process, &status, 0);
    return status;
  }

 private:
  int m_terminal = -1;
  pid_t m_process;
};

TEST_F(FormatTest, IsDoneWhenTheAnswerIsYesAndNotOtherwise) {
  const struct {
    const char* answer;
    int status;
  } cases[] = {{"no\n", 1}, {"\n", 1}, {"yes please\n", 1}, {"yes\n", 0}};
  for (const auto& one : cases) {
    const std::string before = beginningOfSpare();
    FormatAtTerminal format;
    ASSERT_TRUE(format.waitForQuestion());
    format.type(one.answer);
    const int status = format.wait();
    EXPECT_TRUE(WIFEXITED(status)) << one.answer;
    EXPECT_EQ(WEXITSTATUS(status), one.status) << one.answer;
    EXPECT_EQ(beginningOfSpare() == before, one.status != 0) << one.answer;
  }
}

TEST_F(FormatTest, IsNotDoneAfterAnInterruptAtTheQuestion) {
  const std::string before = beginningOfSpare();
  FormatAtTerminal format;
  ASSERT_TRUE(format.waitForQuestion());
  format.type("\x03yes\n");
  const int status = format.wait();
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGINT);
  EXPECT_EQ(beginningOfSpare(), before);
}

}  // namespace
}  // namespace host_test
