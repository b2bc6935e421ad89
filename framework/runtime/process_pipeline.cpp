// Running of pipelines.
#include "process_pipeline.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <list>
#include <memory>
#include <utility>

#include "kept_program.h"
#include "leftover_children.h"
#include "system/pipe.h"
#include "system/poll_until.h"
#include "system/thread_cancellation.h"

namespace qmfi_runtime {

namespace {

using namespace qmfi_pdk_4_4;
using namespace qmfi_system;
using Clock = std::chrono::steady_clock;

// As much as a pipe holds.
constexpr std::size_t bufferSize = 65536;

// A relative name is never looked up: nothing that the host's directory or environment says may choose a program.
bool isMissing(const ProgramWords& program) {
  if (program.front().front() != '/') return true;
  struct stat status;
  return stat(program.front().c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

class Pipeline {
 public:
  Pipeline(const std::vector<ProgramWords>& programs, const PipelineLimits& limits)
      : m_programs(programs),
        m_limits(limits),
        m_deadline(Clock::now() + limits.time),
        m_buffer(std::make_unique_for_overwrite<char[]>(bufferSize)) {}
  ~Pipeline() { endAll(); }
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  PipelineResult run();

 private:
  void start();
  bool startProgram(const ProgramWords& program, const ProgramStreams& streams);
  bool waitForEnd(Clock::time_point deadline);
  std::size_t capture(std::size_t limit);
  void captureRest();
  void reapAll();
  void endAll() noexcept;
  void fail(CFiExecPipeCode code, const ProgramWords& program, const std::string& reason);
  const ProgramWords& firstRunning() const;

  const std::vector<ProgramWords>& m_programs;
  const PipelineLimits m_limits;
  const Clock::time_point m_deadline;
  Descriptor m_captured;
  const std::unique_ptr<char[]> m_buffer;  // not on the stack: a host's thread may have a small one
  std::vector<pollfd> m_watched;           // the captured stream, then the children; -1 for those that have ended
  std::list<KeptProgram> m_children;       // in the order of the programs; not yet reaped
  PipelineResult m_result;
};

PipelineResult Pipeline::run() {
  start();
  if (m_result.code == KFI_EXEC_PIPE_SUCCESS) {
    const bool ended = waitForEnd(m_deadline);
    captureRest();
    if (ended) {
      reapAll();
    } else if (Clock::now() >= m_deadline) {
      fail(KFI_EXEC_PIPE_READ_TIMEOUT, firstRunning(), "did not end in time");
    } else {
      fail(KFI_EXEC_PIPE_ERROR_UNEXPECTED, firstRunning(), "cannot be waited for");
    }
  }
  endAll();
  return std::move(m_result);
}

void Pipeline::start() {
  const auto missing = std::find_if(m_programs.begin(), m_programs.end(), isMissing);
  if (missing != m_programs.end()) return fail(KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST, *missing, "no such program");

  Descriptor input = aboveStandardStreams(Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)));
  Pipe captured = makePipe();
  if (!input.valid() || !captured.valid()) {
    return fail(KFI_EXEC_PIPE_CREATE_PIPE_FAILED, m_programs.front(), "no descriptors for its streams");
  }
  m_captured = std::move(captured.readEnd);
  // All memory is there before the first child, so that none is ever forgotten.
  m_watched.reserve(m_programs.size() + 1);
  m_watched.push_back({m_captured.get(), POLLIN, 0});

  const int errors = captured.writeEnd.get();
  for (const ProgramWords& program : m_programs) {
    const bool last = &program == &m_programs.back();
    Pipe next = last ? Pipe{} : makePipe();
    if (!last && !next.valid()) {
      return fail(KFI_EXEC_PIPE_CREATE_PIPE_FAILED, program, "no descriptors for its streams");
    }
    if (!startProgram(program, {input.get(), last ? errors : next.writeEnd.get(), errors})) return;
    input = std::move(next.readEnd);
  }
}

bool Pipeline::startProgram(const ProgramWords& program, const ProgramStreams& streams) {
  KeptProgram& child = m_children.emplace_back();
  int error = 0;
  const auto started = child.start(m_limits.statusKeeper, program, streams, error);
  m_watched.push_back({child.watchFd(), POLLIN, 0});
  if (!child.started()) m_children.pop_back();
  switch (started) {
    case KeptProgram::StartResult::started:
      return true;
    case KeptProgram::StartResult::noResources:
      fail(KFI_EXEC_PIPE_CREATE_PIPE_FAILED, program, strerrordesc_np(error));
      break;
    case KeptProgram::StartResult::notStarted:
      fail(KFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED, program, strerrordesc_np(error));
      break;
  }
  return false;
}

// Captures until every program has ended; false when the deadline comes first. A program that had ended by then is seen
// also by a host that was stopped and comes to look after the deadline, and one that prints for ever does not keep it.
bool Pipeline::waitForEnd(Clock::time_point deadline) {
  const auto captured = m_watched.begin();
  const auto children = captured + 1;
  const auto runs = [](const pollfd& watched) { return watched.fd >= 0; };
  for (bool late = false; !late && std::any_of(children, m_watched.end(), runs);) {
    late = Clock::now() >= deadline;
    if (!pollUntil(m_watched, deadline)) return false;
    for (auto child = children; child != m_watched.end(); ++child) {
      if (child->revents != 0) child->fd = -1;
    }
    if (captured->revents != 0 && capture(SIZE_MAX) == 0) captured->fd = -1;
  }
  return std::none_of(children, m_watched.end(), runs);
}

// Reads once from the captured stream, at most `limit` bytes. Returns how many there were, 0 at its end.
std::size_t Pipeline::capture(std::size_t limit) {
  const ssize_t count = TEMP_FAILURE_RETRY(read(m_captured.get(), m_buffer.get(), std::min(limit, bufferSize)));
  if (count <= 0) return 0;
  const auto size = static_cast<std::size_t>(count);
  m_result.output.append(m_buffer.get(), std::min(size, m_limits.outputBytes - m_result.output.size()));
  return size;
}

// Takes what is in the pipe now. Its end is not waited for: a daemon may keep it open, or go on printing for ever.
void Pipeline::captureRest() {
  int available = 0;
  if (ioctl(m_captured.get(), FIONREAD, &available) != 0) return;
  for (std::size_t rest = static_cast<std::size_t>(available); rest > 0;) {
    const std::size_t size = capture(rest);
    if (size == 0) return;
    rest -= size;
  }
}

// Collects the programs, all of which have ended; the last one decides.
void Pipeline::reapAll() {
  ChildEnd end = ChildEnd::lost;
  int status = 0;
  while (!m_children.empty()) {
    end = m_children.front().waitAndReap(status);
    m_children.pop_front();
  }
  switch (end) {
    case ChildEnd::exited:
      m_result.exitStatus = status;
      if (status != 0) m_result.code = KFI_EXEC_PIPE_CMD_FAILED;
      return;
    case ChildEnd::killed:
      m_result.code = KFI_EXEC_PIPE_CMD_KILLED;
      return;
    case ChildEnd::running:
    case ChildEnd::lost:
      return fail(KFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED, m_programs.back(), "its exit status was lost");
  }
}

// Kills and reaps what has been started and not been reaped; what hangs in the kernel is reaped later.
void Pipeline::endAll() noexcept {
  if (m_children.empty()) return;
  const CancellationDisabled whole;
  for (const KeptProgram& child : m_children) child.kill();
  m_watched.front().fd = -1;
  waitForEnd(Clock::now() + m_limits.grace);
  m_children.remove_if([](KeptProgram& child) {
    int status = 0;
    return child.reap(status) != ChildEnd::running;
  });
  reapLater(m_children);
}

void Pipeline::fail(CFiExecPipeCode code, const ProgramWords& program, const std::string& reason) {
  m_result.code = code;
  m_result.reason = program.front() + ": " + reason;
}

const ProgramWords& Pipeline::firstRunning() const {
  const auto children = m_watched.begin() + 1;
  const auto running = std::find_if(children, m_watched.end(), [](const pollfd& watched) { return watched.fd >= 0; });
  return m_programs[static_cast<std::size_t>(running - children)];
}

}  // namespace

PipelineResult runPipeline(const std::vector<ProgramWords>& programs, const PipelineLimits& limits) {
  reapLeftovers();
  return Pipeline(programs, limits).run();
}

}  // namespace qmfi_runtime
