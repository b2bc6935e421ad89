// Runs programs with all their children under supervision of their system calls: counts them, makes one fail, ends the
// program at one.
#ifndef TRACER_H
#define TRACER_H

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct __ptrace_syscall_info;

namespace faults {

struct SystemCall {
  int process;          // 0 for the program itself, then its descendants in the order of their creation
  pid_t pid;            // of the process
  std::string program;  // the file that the process has executed last
  int place;            // how many calls the process has made before, from its program's start
  long number;
  std::array<std::uint64_t, 6> arguments;
};

struct Decision {
  enum class Kind { proceed, fail, endProgram, lookAway } kind = Kind::proceed;
  int error = 0;          // errno value that the call fails with
  bool tellMore = false;  // of calls that follow
};

// Is told of every call. After a decision that is not to proceed, looking away for one, nobody is told of calls any
// more, unless it says so.
class CallWatcher {
 public:
  virtual ~CallWatcher() = default;
  virtual Decision before(const SystemCall& call) = 0;
  virtual void after(const SystemCall& /*call*/, std::int64_t /*result*/) {}
};

// How a program ended.
struct Ended {
  int status = 0;  // as a shell reports it
  bool inTime = true;
  std::string output;
  std::string errors;
  std::vector<std::string> crashes;  // processes that got the signal of a programming error
};

// One per process; one thread only. The watched call is not executed when it fails, except for close, which always
// closes.
class Tracer {
 public:
  Tracer();
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;
  ~Tracer() { killAll(); }

  // Runs words[0] (an absolute path) until it ends. Its children may still run then, but stand still until the next
  // call of this object. watcher may be null. When the time is over the program still runs; see killAll.
  Ended run(const std::vector<std::string>& words, CallWatcher* watcher, std::chrono::seconds limit);

  // Waits until nothing that was started is left; the programs that still run when the time is over.
  std::vector<std::string> waitForAll(std::chrono::seconds limit);

  // Ends everything that was started. Nothing may be frozen, or it cannot be waited for.
  void killAll();

 private:
  struct Process {
    int number = 0;
    bool started = false;  // it executes a program that was asked for, not the code before that
    bool failing = false;  // its call is made to fail
    SystemCall call;
    int error = 0;
  };

  pid_t start(const std::vector<std::string>& words, int output, int errors);
  bool handleNext(std::chrono::steady_clock::time_point deadline);
  void handle(pid_t pid, int status);
  void handleEnd(pid_t pid, int status);
  int handleStop(pid_t pid, int status, Process& process);
  void handleCall(pid_t pid, Process& process);
  void enter(pid_t pid, Process& process, const __ptrace_syscall_info& info);
  void leave(pid_t pid, Process& process, std::int64_t result);
  void makeFail(pid_t pid, Process& process, int error);
  void resume(pid_t pid, int signal);
  Process& processOf(pid_t pid);

  std::map<pid_t, Process> m_processes;
  int m_created = 0;  // processes since the program's start
  pid_t m_program = 0;
  bool m_programEnded = false;
  CallWatcher* m_watcher = nullptr;
  Ended m_ended;
};

}  // namespace faults

#endif
