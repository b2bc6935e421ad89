// Supervision by ptrace.
#include "support/supervision/tracer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/reg.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <system_error>

namespace faults {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int callStop = SIGTRAP | 0x80;
constexpr long noCall = -1;
constexpr std::array crashSignals = {SIGSEGV, SIGABRT, SIGBUS, SIGILL, SIGFPE, SIGSYS};
constexpr std::array jobControlSignals = {SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU};

int options() {
  return PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
         PTRACE_O_TRACEEXEC;
}

long request(enum __ptrace_request name, pid_t pid, std::uintptr_t address, std::uintptr_t data) {
  // The two are typed pointers and are numbers.
  return ptrace(name, pid, reinterpret_cast<void*>(address), reinterpret_cast<void*>(data));
}

sigset_t childSignal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  return signals;
}

int memoryFile(const char* name) {
  const int file = memfd_create(name, MFD_CLOEXEC);
  if (file < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
  return file;
}

std::string takeText(int file) {
  std::string text(static_cast<std::size_t>(std::max<off_t>(lseek(file, 0, SEEK_END), 0)), '\0');
  const ssize_t count = pread(file, text.data(), text.size(), 0);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  close(file);
  return text;
}

std::string programOf(pid_t pid) {
  std::array<char, 4096> path{};
  const ssize_t size = readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), path.data(), path.size());
  return size > 0 ? std::string(path.data(), static_cast<std::size_t>(size)) : "?";
}

template <std::size_t count>
bool isOneOf(const std::array<int, count>& signals, int signal) {
  return std::find(signals.begin(), signals.end(), signal) != signals.end();
}

// Becomes the program once the supervisor has seized this process.
[[noreturn]] void becomeProgram(const std::vector<std::string>& words, int go, int output, int errors) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  const sigset_t blocked = childSignal();
  sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  char byte = 0;
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (read(go, &byte, 1) == 1 && dup2(nothing, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
      dup2(errors, STDERR_FILENO) >= 0) {
    execv(pointers.front(), pointers.data());
  }
  _exit(127);
}

}  // namespace

Tracer::Tracer() {
  const sigset_t blocked = childSignal();
  sigprocmask(SIG_BLOCK, &blocked, nullptr);
  // Whatever a program leaves behind becomes a child of this process, and can be waited for.
  prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
}

Ended Tracer::run(const std::vector<std::string>& words, CallWatcher* watcher, std::chrono::seconds limit) {
  const int output = memoryFile("output");
  const int errors = memoryFile("errors");
  m_watcher = watcher;
  m_ended = {};
  m_created = 0;
  m_programEnded = false;
  m_program = start(words, output, errors);
  const auto deadline = Clock::now() + limit;
  while (!m_programEnded && m_ended.inTime) m_ended.inTime = handleNext(deadline);
  m_watcher = nullptr;
  m_ended.output = takeText(output);
  m_ended.errors = takeText(errors);
  return m_ended;
}

pid_t Tracer::start(const std::vector<std::string>& words, int output, int errors) {
  int go[2];
  if (pipe2(go, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  const pid_t pid = fork();
  if (pid < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (pid == 0) becomeProgram(words, go[0], output, errors);
  const bool seized = request(PTRACE_SEIZE, pid, 0, static_cast<std::uintptr_t>(options())) == 0;
  const int reason = errno;
  processOf(pid);
  const bool told = write(go[1], "x", 1) == 1;
  close(go[0]);
  close(go[1]);
  if (!seized || !told) throw std::system_error(reason, std::generic_category(), "a program cannot be supervised");
  return pid;
}

// Handles what happens next to any process; false at the deadline and when there is no process.
bool Tracer::handleNext(Clock::time_point deadline) {
  for (;;) {
    int status = 0;
    const pid_t pid = waitpid(-1, &status, __WALL | WNOHANG);
    if (pid > 0) {
      handle(pid, status);
      return true;
    }
    if (pid < 0) return false;
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    const timespec wait{left / 1'000'000'000, left % 1'000'000'000};
    const sigset_t awaited = childSignal();
    sigtimedwait(&awaited, nullptr, &wait);
  }
}

void Tracer::handle(pid_t pid, int status) {
  if (WIFEXITED(status) || WIFSIGNALED(status)) return handleEnd(pid, status);
  if (!WIFSTOPPED(status)) return;
  Process& process = processOf(pid);
  if (WSTOPSIG(status) == callStop) {
    handleCall(pid, process);
    return resume(pid, 0);
  }
  const int signal = handleStop(pid, status, process);
  if (signal >= 0) resume(pid, signal);
}

void Tracer::handleEnd(pid_t pid, int status) {
  m_processes.erase(pid);
  if (pid != m_program) return;
  m_programEnded = true;
  m_ended.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// A stop that is not for a call. Returns the signal that the process is to get; negative when it shall stand still.
int Tracer::handleStop(pid_t pid, int status, Process& process) {
  const int signal = WSTOPSIG(status);
  const int event = status >> 16;
  if (event == PTRACE_EVENT_STOP && isOneOf(jobControlSignals, signal)) {
    request(PTRACE_LISTEN, pid, 0, 0);
    return -1;
  }
  if (event == PTRACE_EVENT_EXEC) {
    process.started = true;
    process.call.program = programOf(pid);
  }
  if (event != 0) return 0;
  if (isOneOf(crashSignals, signal)) {
    m_ended.crashes.push_back(process.call.program + " got SIG" + sigabbrev_np(signal));
  }
  return signal;
}

void Tracer::handleCall(pid_t pid, Process& process) {
  __ptrace_syscall_info info{};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) <= 0) return;
  if (info.op == PTRACE_SYSCALL_INFO_ENTRY) enter(pid, process, info);
  if (info.op == PTRACE_SYSCALL_INFO_EXIT) leave(pid, process, info.exit.rval);
}

void Tracer::enter(pid_t pid, Process& process, const __ptrace_syscall_info& info) {
  if (m_watcher == nullptr || !process.started) return;
  process.call.process = process.number;
  process.call.pid = pid;
  process.call.number = static_cast<long>(info.entry.nr);
  std::copy(std::begin(info.entry.args), std::end(info.entry.args), process.call.arguments.begin());
  const Decision decision = m_watcher->before(process.call);
  ++process.call.place;
  if (decision.kind == Decision::Kind::fail) makeFail(pid, process, decision.error);
  if (decision.kind == Decision::Kind::endProgram) kill(m_program, SIGKILL);
  if (decision.kind != Decision::Kind::proceed && !decision.tellMore) m_watcher = nullptr;
}

void Tracer::makeFail(pid_t pid, Process& process, int error) {
  process.failing = true;
  process.error = error;
  if (process.call.number == SYS_close) return;
  request(PTRACE_POKEUSER, pid, sizeof(long) * ORIG_RAX, static_cast<std::uintptr_t>(noCall));
}

void Tracer::leave(pid_t pid, Process& process, std::int64_t result) {
  if (process.failing) {
    request(PTRACE_POKEUSER, pid, sizeof(long) * RAX, static_cast<std::uintptr_t>(-std::int64_t{process.error}));
    process.failing = false;
  } else if (m_watcher != nullptr && process.started) {
    m_watcher->after(process.call, result);
  }
}

// Calls are stopped at only as long as somebody wants to know of them.
void Tracer::resume(pid_t pid, int signal) {
  const auto process = m_processes.find(pid);
  const bool stopAtCalls = m_watcher != nullptr || (process != m_processes.end() && process->second.failing);
  request(stopAtCalls ? PTRACE_SYSCALL : PTRACE_CONT, pid, 0, static_cast<std::uintptr_t>(signal));
}

Tracer::Process& Tracer::processOf(pid_t pid) {
  const auto [place, isNew] = m_processes.try_emplace(pid);
  Process& process = place->second;
  if (!isNew) return process;
  process.number = m_created++;
  process.call.program = programOf(pid);
  // Only the first one begins as a copy of this process.
  process.started = process.number > 0;
  return process;
}

std::vector<std::string> Tracer::waitForAll(std::chrono::seconds limit) {
  const auto deadline = Clock::now() + limit;
  while (handleNext(deadline)) {
  }
  std::vector<std::string> left;
  for (const auto& [pid, process] : m_processes) left.push_back(process.call.program);
  return left;
}

void Tracer::killAll() {
  for (const auto& [pid, process] : m_processes) kill(pid, SIGKILL);
  waitForAll(std::chrono::seconds(10));
}

}  // namespace faults
