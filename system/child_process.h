// One child process: started, watched, killed with its group, and reaped.
#ifndef SYSTEM_CHILD_PROCESS_H
#define SYSTEM_CHILD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "system/descriptor.h"

namespace qmfi_system {

// The descriptors that become a program's own; each stays the caller's. None may have the number of another one's
// place.
struct ProgramStreams {
  int input = -1;   // becomes 0; where negative the program has the caller's
  int output = -1;  // becomes 1; the same
  int errors = -1;  // becomes 2; the same
  int fourth = -1;  // becomes 3; where negative the program has none
};

// The process group that a program runs in.
enum class ProcessGroup {
  callers,  // the caller's: a terminal's signals reach both; signals that the caller ignores are ignored
  own,      // a new one, with the default action for every signal
};

// How a child ended, if it has.
enum class ChildEnd {
  running,
  exited,  // by itself, with a status
  killed,  // by a signal
  lost,    // ended, but the status went to somebody else: the host reaps any child or ignores SIGCHLD
};

// What a program is started with by default: nothing of the caller's environment, and what it prints is never
// translated. "NAME=VALUE" texts, ended by a null pointer.
extern const char* const plainEnvironment[];

// Pointers to the texts, ended by a null pointer, as the exec family wants arguments and environments. Valid as long as
// the texts, which stay the caller's and are not written to. Throws std::bad_alloc.
std::vector<char*> pointersTo(const std::vector<std::string>& texts);

// A program in a process of its own. Its owner reaps it or keeps it: a child that is just destroyed stays a zombie.
// Movable only; one object is not to be used by two threads at the same time.
class ChildProcess {
 public:
  // How a start went.
  enum class StartResult {
    started,
    noResources,  // file actions or a descriptor to watch the child could not be had
    notStarted,   // the program cannot be run
  };

  // Starts the program named by the absolute path in the first word; no shell, no search. It gets the streams and no
  // other descriptor, the environment and nothing of the caller's, and no signal blocked.
  // `words`: at least one. `environment`: as plainEnvironment or pointersTo() has it. `error`: receives an errno value
  // unless the child was started. Throws std::bad_alloc, with no child. May be called once. After noResources there may
  // be a child nevertheless, to be killed.
  StartResult start(const std::vector<std::string>& words, const char* const* environment,
                    const ProgramStreams& streams, ProcessGroup group, int& error);

  // Whether there is a child, or was one that has been reaped by somebody else.
  bool started() const { return m_pid > 0; }

  // The child's process number; -1 when there was none.
  pid_t pid() const { return m_pid; }

  // Readable as soon as the child has ended; negative when there is none to watch.
  int watchFd() const { return m_pidfd.get(); }

  // Kills the child and, in a group of its own, everything that it left there. Only for a child that has not been
  // reaped.
  void kill() const;

  // Reaps the child when it has ended; does not wait. `status`: receives the exit status, or the signal that killed it.
  // Anything but running is final.
  ChildEnd reap(int& status);

  // Waits for the child's end and reaps it; as reap(), but never running. Once watchFd() tells of the end it waits only
  // for a debugger of the host, which gets to know of it first.
  ChildEnd waitAndReap(int& status);

 private:
  ChildEnd reapWith(int options, int& status);

  pid_t m_pid = -1;
  ProcessGroup m_group = ProcessGroup::own;
  Descriptor m_pidfd;
};

}  // namespace qmfi_system

#endif
