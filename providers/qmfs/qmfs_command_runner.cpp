// Runs the provider's commands, and traces what came of them.
#include "qmfs_command_runner.h"

#include "cfistringtool.h"
#include "qmfs_log_texts.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr int plainPipe = 1;

}  // namespace

std::string CQmFSCommandRun::message() const {
  return CFiStringTool::vec2str(output, "");
}

CQmFSCommandRunner::CQmFSCommandRunner(const CFiTraceLogSPtr& log) : m_pipe(plainPipe) {
  registerTraceLog(log);
}

EFiExecPipe CQmFSCommandRunner::runPiped(const std::string& command, std::vector<std::string>& output,
                                         int timeoutSeconds) {
  const int code = m_pipe.Exec(command, output, "", timeoutSeconds, "", "", "");
  const EFiExecPipe& record = m_pipe.getLastError();
  return EFiExecPipe(record.getText(), code, record.getExitStatus());
}

EFiExecPipe CQmFSCommandRunner::execute(const std::string& command, std::vector<std::string>& output,
                                        int timeoutSeconds) {
  const auto scope = traceScope("executeCommand");
  trace(CFI_TRACE_DETAIL, qmfs_log::executeCommand, command.c_str());
  EFiExecPipe error = runPiped(command, output, timeoutSeconds);
  const int code = error.getCode();
  if (code == KFI_EXEC_PIPE_SUCCESS) return error;
  const std::string message = CFiStringTool::vec2str(output, "");
  trace(CFI_TRACE_WARNING, qmfs_log::executePipeFailed, code, message.c_str());
  if (code == KFI_EXEC_PIPE_CMD_FAILED) {
    trace(CFI_TRACE_WARNING, qmfs_log::executeCommandFailed, command.c_str(), error.getExitStatus(), message.c_str());
  } else if (code == KFI_EXEC_PIPE_READ_TIMEOUT) {
    trace(CFI_TRACE_WARNING, qmfs_log::executeTimedOut, command.c_str());
  }
  return error;
}

CQmFSCommandRun CQmFSCommandRunner::run(const std::string& command) {
  CQmFSCommandRun made;
  made.command = command;
  made.error = runPiped(command, made.output, QMFS_COMMAND_TIMEOUT);
  return made;
}

CQmFSCommandRun CQmFSCommandRunner::runTraced(const std::string& command) {
  trace(CFI_TRACE_PROGRESS, qmfs_log::command, command.c_str());
  return run(command);
}

void CQmFSCommandRunner::throwFailed(const CQmFSCommandRun& failed) const {
  trace(CFI_TRACE_ERROR, qmfs_log::commandFailed, failed.command.c_str(), failed.message().c_str());
  throw EFiExecPipe(failed.error);
}

void CQmFSCommandRunner::runOrThrow(const std::string& command) {
  const CQmFSCommandRun made = runTraced(command);
  if (!made.succeeded()) throwFailed(made);
}
