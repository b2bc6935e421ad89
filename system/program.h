// Running another program to its end.
#ifndef SYSTEM_PROGRAM_H
#define SYSTEM_PROGRAM_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace qmfi_system {

// "NAME=VALUE" texts.
using Environment = std::vector<std::string>;

// This process's own environment, for a program that is to have it. Not while another thread changes it. Throws
// std::bad_alloc.
Environment ownEnvironment();

// A program to be run.
struct Program {
  std::vector<std::string> words;                   // at least one; the first is the program's absolute path
  Environment environment;                          // all that it gets
  std::optional<std::chrono::milliseconds> time{};  // how long it may take; without one it may take for ever
};

// How a program ended. Exactly one of the first four tells.
struct ProgramEnd {
  std::optional<int> exitStatus{};  // it ended by itself
  std::optional<int> signal{};      // a signal of this number ended it
  bool timedOut = false;            // it was killed because its time was over
  int error = 0;                    // an errno value: it could not be run, or its end went to somebody else
  std::string output{};             // what was captured, also of a program that was killed

  // The end as a shell reports it: the exit status, 128 + n for signal n, 127 for an error, 124 for what took too long.
  int shellStatus() const;
};

// Run a program and wait for its end. There is no shell and no search for it; it gets none of the caller's descriptors
// but the standard ones, and no signal is blocked. With a time limit it runs in a process group of its own, which is
// killed at the limit; otherwise in the caller's. The caller's handling of signals is neither used nor changed.
// Thread-safe; a thread that is cancelled meanwhile goes on until the program's end. Throw std::bad_alloc, with no
// child left.
//
// runProgram: the program has the caller's standard streams, and `output` stays empty.
// captureProgram: the program reads nothing, and what it prints to its two outputs is captured in the order of
// printing. It returns when nobody holds the outputs open any more, or at the time limit.
ProgramEnd runProgram(const Program& program);
ProgramEnd captureProgram(const Program& program);

// A status as waitpid() stores it, of a process that has ended, as a shell reports it.
int shellStatus(int waitStatus);

}  // namespace qmfi_system

#endif
