// A piece of work in a process of its own, with a time limit.
#ifndef CASE_PROCESS_H
#define CASE_PROCESS_H

#include <chrono>
#include <functional>
#include <string>

namespace qmfi_host {

// How the process ended.
struct CaseProcessEnd {
  std::string otherwise{};  // how, when it is not by the end of the work: "was killed by SIGSEGV"
  std::string printed{};    // what was written to its two outputs; the first 4096 bytes
};

// Runs the work in a child in a process group of its own, which dies with this process. Whatever is left of the group
// is killed at the end. limit: how long the work may take. checkpoint: called ten times a second; what it throws is
// thrown from here, once the child has been killed. relieve: called before a child is killed for which it would not
// die: one that waits for a frozen file system dies when that is thawed. Throws HostError when no process can be
// started. To be called by a process with one thread.
CaseProcessEnd runCaseProcess(const std::function<void()>& work, std::chrono::milliseconds limit,
                              const std::function<void()>& checkpoint, const std::function<void()>& relieve);

}  // namespace qmfi_host

#endif
