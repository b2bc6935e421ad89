// Hosts that cancel the thread of a run: the process lives on, and of the run nothing is left behind.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <list>
#include <string>
#include <utility>

#include "exec_pipe_fixture.h"
#include "leftover_children.h"
#include "process_pipeline.h"
#include "system/descriptor.h"

// AddressSanitizer does not see a cancelled thread's frames unwound. Where it keeps their variables elsewhere, the
// guards that it has put around these do not stay on the stack.
extern "C" const char* __asan_default_options() {
  return "detect_stack_use_after_return=1";
}

namespace {

using namespace exec_pipe_test;
using namespace std::chrono_literals;
using qmfi_runtime::KeptProgram;
using qmfi_runtime::runPipeline;
using qmfi_system::Descriptor;

// A thread that makes a call in the middle of which it is cancelled.
class CancelledThread {
 public:
  explicit CancelledThread(std::function<void()> call) : m_call(std::move(call)) {
    const auto start = [](void* self) -> void* {
      static_cast<CancelledThread*>(self)->m_call();
      return nullptr;
    };
    EXPECT_EQ(pthread_create(&m_thread, nullptr, start, this), 0);
  }
  CancelledThread(const CancelledThread&) = delete;
  CancelledThread& operator=(const CancelledThread&) = delete;

  void cancel() { pthread_cancel(m_thread); }

  // Waits for the thread; whether its end was the cancellation and not that of the call.
  bool endsCancelled() {
    void* result = nullptr;
    return pthread_join(m_thread, &result) == 0 && result == PTHREAD_CANCELED;
  }

 private:
  const std::function<void()> m_call;
  pthread_t m_thread{};
};

// Leaves a child behind that has ended.
void leaveChildBehind() {
  const Descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
  std::list<KeptProgram> children(1);
  int error = 0;
  ASSERT_EQ(children.front().start("", {"/bin/true"}, {null.get(), null.get(), null.get()}, error),
            KeptProgram::StartResult::started);
  siginfo_t info{};
  ASSERT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOWAIT), 0);
  qmfi_runtime::reapLater(children);
}

TEST_F(ExecPipe, ReapsWhatARunLeftBehindOnAThreadThatHasBeenCancelled) {
  leaveChildBehind();
  CancelledThread thread([] {
    pthread_cancel(pthread_self());
    runPipeline({{"/bin/sleep", "600"}}, {.time = 600s});
  });
  EXPECT_TRUE(thread.endsCancelled());
}

TEST_F(ExecPipe, EndsItsProgramsWhenItsThreadIsCancelled) {
  const std::string fifo = path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const Descriptor reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const std::string program = script("exec 3>" + fifo + "; sleep 600 & echo started >&3; wait");
  CancelledThread thread([&program] { exec(program + " | " + program, 600); });

  pollfd readable{reader.get(), POLLIN, 0};
  EXPECT_EQ(poll(&readable, 1, 60000), 1);
  thread.cancel();
  EXPECT_TRUE(thread.endsCancelled());

  // The last of the processes that hold the writing end has gone.
  std::string text(64, '\0');
  while (read(reader.get(), text.data(), text.size()) > 0) {
  }
  pollfd ended{reader.get(), 0, 0};
  EXPECT_EQ(poll(&ended, 1, 10000), 1);
  EXPECT_EQ(ended.revents, POLLHUP);
}

}  // namespace
