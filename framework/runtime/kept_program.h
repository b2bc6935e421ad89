// A program whose exit status is this library's, whatever the host does about its children.
#ifndef KEPT_PROGRAM_H
#define KEPT_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "system/child_process.h"
#include "system/descriptor.h"

namespace qmfi_runtime {

// A program in a process group of its own, started by a status keeper (system/status_keeper.h) or, without one, by this
// process itself: then a host that reaps any child or ignores SIGCHLD gets the status. Its owner reaps it or keeps it.
// Movable only; one object is not to be used by two threads at the same time.
class KeptProgram {
 public:
  using StartResult = qmfi_system::ChildProcess::StartResult;

  // Starts the program with the plain environment; words, streams, error and result as ChildProcess::start() has them.
  // keeper: the keeper's absolute path; empty for none. Throws std::bad_alloc, with no child. May be called once.
  StartResult start(const std::string& keeper, const std::vector<std::string>& words,
                    const qmfi_system::ProgramStreams& streams, int& error);

  // Whether there is a program, or something of it, that is to be killed or reaped.
  bool started() const { return m_isStarted; }

  // Readable as soon as the program has ended; negative when there is none to watch.
  int watchFd() const { return m_reports.valid() ? m_reports.get() : m_child.watchFd(); }

  // Kills the program and everything that it left in its group. Only before it has been reaped.
  void kill() const;

  // Reaps the program when it has ended, as ChildProcess::reap() does. With a keeper its status is lost only if that is
  // killed.
  qmfi_system::ChildEnd reap(int& status);

  // Waits for the program's end and reaps it, as ChildProcess::waitAndReap() does.
  qmfi_system::ChildEnd waitAndReap(int& status);

 private:
  StartResult startKept(const std::string& keeper, const std::vector<std::string>& words,
                        qmfi_system::ProgramStreams streams, int& error);
  StartResult waitForStart(int& error);
  qmfi_system::ChildEnd reapKept(int flags, int& status);
  void dismissKeeper();

  qmfi_system::ChildProcess m_child;  // the keeper, or the program itself
  qmfi_system::Descriptor m_reports;  // from the keeper
  pid_t m_pid = -1;                   // the program's, when it has a keeper
  bool m_isStarted = false;
};

}  // namespace qmfi_runtime

#endif
