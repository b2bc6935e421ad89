// Runs the provider's commands, and traces what came of them.
#ifndef QMFS_COMMAND_RUNNER_H
#define QMFS_COMMAND_RUNNER_H

#include <string>
#include <vector>

#include "cfiexecpipe.h"
#include "cfitracelog.h"

// How long any command may take, in seconds.
inline constexpr int QMFS_COMMAND_TIMEOUT = 600;

// A command that was run, and what came of it.
struct CQmFSCommandRun {
  std::string command;
  std::vector<std::string> output;
  qmfi_pdk_4_4::EFiExecPipe error;  // code 0 after a success

  // Whether the last program of the command ended with status 0.
  bool succeeded() const { return error.getCode() == qmfi_pdk_4_4::KFI_EXEC_PIPE_SUCCESS; }
  // The lines that it printed, joined.
  std::string message() const;
};

// Runs commands one after another through one pipe, and so for one thread. What the pipe returns decides; the text and
// the exit status of a failure are those of its record.
class CQmFSCommandRunner : public qmfi_pdk_4_4::CFiTraceable {
 public:
  // log may be empty; then nothing is traced.
  explicit CQmFSCommandRunner(const qmfi_pdk_4_4::CFiTraceLogSPtr& log);

  // Runs a command for the usual time, without a trace of it.
  CQmFSCommandRun run(const std::string& command);
  // Runs a command and appends what it prints to output; the command and every failure are traced, in a scope of their
  // own. Code 0 after a success.
  qmfi_pdk_4_4::EFiExecPipe execute(const std::string& command, std::vector<std::string>& output,
                                    int timeoutSeconds = QMFS_COMMAND_TIMEOUT);

  // Runs a command that changes what is mounted or stored, which the trace shows.
  CQmFSCommandRun runTraced(const std::string& command);
  // The same, and throws EFiExecPipe when it fails.
  void runOrThrow(const std::string& command);
  // Traces the failure of a command that was run, and throws it as EFiExecPipe.
  [[noreturn]] void throwFailed(const CQmFSCommandRun& failed) const;

 private:
  qmfi_pdk_4_4::EFiExecPipe runPiped(const std::string& command, std::vector<std::string>& output, int timeoutSeconds);

  qmfi_pdk_4_4::CFiExecPipePosix m_pipe;
};

#endif
