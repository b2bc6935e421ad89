// One child process: started, watched, killed with its group, and reaped.
#ifndef CHILD_PROCESS_H
#define CHILD_PROCESS_H

#include <sys/types.h>

#include <list>

#include "command_line.h"
#include "unique_fd.h"

namespace qmfi_runtime {

// The descriptors that become a program's standard ones. They must not be 0, 1 or 2 themselves.
struct StandardStreams {
  int input;  // of the program; each stays the caller's
  int output;
  int errors;
};

// How a child ended, if it has.
enum class ChildEnd {
  running,
  exited,  // by itself, with a status
  killed,  // by a signal
  lost,    // ended, but the status went to somebody else: the host reaps any child or ignores SIGCHLD
};

// A program in a process group of its own. Its owner reaps it or hands it to reapLater: a child that is just destroyed
// stays a zombie.
class ChildProcess {
 public:
  // How a start went.
  enum class StartResult {
    started,
    noResources,  // file actions or a descriptor to watch the child could not be had
    notStarted,   // the program cannot be run
  };

  // Starts the program named by the absolute path in the first word. It gets the three streams and no other descriptor,
  // the default action for every signal and none blocked, and a fixed environment. `error` is an errno value unless the
  // child was started. May be called once. After noResources there may be a child nevertheless, to be killed.
  StartResult start(const ProgramWords& words, const StandardStreams& streams, int& error);

  // Whether there is a child, or was one that has been reaped by somebody else.
  bool started() const { return m_pid > 0; }

  // Readable as soon as the child has ended; negative when there is none to watch.
  int watchFd() const { return m_pidfd.get(); }

  // Kills the child and everything that it left in its group. Only for a child that has not been reaped.
  void killGroup() const;

  // Reaps the child when it has ended; does not wait. `status` is set for exited only. Anything but running is final.
  ChildEnd reap(int& status);

  // Reaps a child that has ended, as watchFd tells. Waits for a debugger of the host, which gets to know of it first.
  ChildEnd reapEnded(int& status);

 private:
  ChildEnd reapWith(int options, int& status);

  pid_t m_pid = -1;
  UniqueFd m_pidfd;
};

// Takes over children that have been killed but hang in the kernel. They are reaped by a later call of reapLeftovers.
// Both functions may be called from any thread.
void reapLater(std::list<ChildProcess>& children) noexcept;
void reapLeftovers() noexcept;

}  // namespace qmfi_runtime

#endif
