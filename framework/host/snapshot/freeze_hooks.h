// The administrator's programs that run around a freeze, as one that has a database write out what it holds.
#ifndef FREEZE_HOOKS_H
#define FREEZE_HOOKS_H

#include <chrono>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "failure/deferred_signals.h"
#include "failure/host_error.h"
#include "snapshot/progress.h"
#include "state/snapshot.h"
#include "volume/program_dialogue.h"

namespace qmfi_host {

// Hooks that are ready for a freeze: each is one process, which waits for its end. So what a hook has begun it ends
// itself, also when this process is killed: its standard input is at its end then. docs/qmfi.md tells what is said to
// them.
class FreezeHooks {
 public:
  // Starts the programs one after another, each when the one before is ready. time: for each. Throws HostError when one
  // refuses, is late, or a signal has come; those that were ready are told that nothing was taken. signals, progress:
  // must outlive the object.
  FreezeHooks(const std::vector<std::string>& programs, std::chrono::seconds time, const Snapshot& snapshot,
              const DeferredSignals& signals, const Progress& progress = noProgress());
  FreezeHooks(const FreezeHooks&) = delete;
  FreezeHooks& operator=(const FreezeHooks&) = delete;
  // Tells all that nothing was taken, unless they have been told already. What fails is told as a notice.
  ~FreezeHooks();

  // Tells all that the copies are made and the file systems thawed, the last first, each when the one behind has ended.
  // Throws HostError, once all have ended, when one did not end well.
  void taken();

 private:
  class Hook {
   public:
    Hook(std::string program, std::chrono::seconds time, const Snapshot& snapshot);

    void awaitReady(const DeferredSignals& signals);
    void end(const std::string& outcome);
    const std::string& program() const { return m_program; }

   private:
    HostError notReady(int error) const;
    HostError failure(const std::string& text, const std::string& reason) const;

    std::string m_program;
    std::chrono::seconds m_time;
    ProgramDialogue m_dialogue;
  };

  explicit FreezeHooks(const Progress& progress) : m_progress(progress) {}

  std::optional<HostError> endAll(const std::string& outcome);

  const Progress& m_progress;
  std::list<Hook> m_hooks;  // all are ready but the last, while it is waited for
};

}  // namespace qmfi_host

#endif
